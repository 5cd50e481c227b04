// The integer plane functions: direction, distance and movement on a plane of
// int coordinates whose y axis points down, and turning one angle toward
// another. Angles are milli-degrees; the angle unit is not read.
#include "geometry/geometry.h"

namespace {

using namespace kav;

// |x| in wrapping arithmetic: |-2147483648| stays -2147483648.
int32_t magnitude(int32_t x) { return x < 0 ? neg(x) : x; }

// The coordinate differences of two points, halved together while their
// wrapping sum exceeds 45999, and the factor of the halvings. The low bits
// the halvings drop are lost from the result, as intended. Only two
// non-negative differences can stay above the threshold, so at most 16
// halvings are made.
struct Reduced {
    int32_t ax, ay, scale;
};

inline Reduced reduced(int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    constexpr int32_t THRESHOLD = 45999;
    Reduced r{magnitude(sub(x2, x1)), magnitude(sub(y2, y1)), 1};
    while (add(r.ax, r.ay) > THRESHOLD) {
        r.ax >>= 1;
        r.ay >>= 1;
        r.scale = mul(r.scale, 2);
    }
    return r;
}

// The four coordinates x1, y1, x2, y2, popped last first.
struct Points {
    int32_t x1, y1, x2, y2;
};

inline Points pop_points() {
    Points p;
    p.y2 = pop<int32_t>();
    p.x2 = pop<int32_t>();
    p.y1 = pop<int32_t>();
    p.x1 = pop<int32_t>();
    return p;
}

// A library result rounded to float, then scaled in double and truncated.
int32_t scaled(double library_result, double factor) {
    const float rounded = static_cast<float>(strict(library_result));
    return to_int(static_cast<double>(rounded) * factor);
}

// Arguments angle, length.
template <double (*Library)(double)>
int32_t movement() {
    const int32_t length = pop<int32_t>();
    const int32_t angle = pop<int32_t>();
    return scaled(Library(static_cast<double>(angle) / MILLIDEG_PER_RAD), length);
}

// ---- near_angle -------------------------------------------------------------
//
// The adjusting loops "while current < target - 180000, add 360000" and
// "while current > target + 180000, subtract 360000" run in wrapping 32-bit
// arithmetic. Near the int limits they wrap and may take tens of millions of
// turns, or never end. Their outcome is computed here in a few steps instead:
// the number of turns after which a wrapping sequence of turns first lands in
// the interval that ends a loop.

constexpr uint64_t TURN = 360000;
constexpr uint64_t WORD = uint64_t(1) << 32;

// The smallest k >= 0 with lo <= (a k) mod m <= hi, for 0 <= lo <= hi < m and
// 0 <= a < m, or -1 if there is none. Euclid's descent on (a, m): when no
// multiple of a lies in [lo, hi], the smallest k follows from the smallest y
// for which [lo + m y, hi + m y] holds one, a search of the same kind mod a.
int64_t first_multiple_within(uint64_t a, uint64_t m, uint64_t lo, uint64_t hi) {
    if (lo == 0)
        return 0;
    if (a == 0)
        return -1;
    const uint64_t k = (lo + a - 1) / a;
    if (a * k <= hi)
        return static_cast<int64_t>(k);
    const int64_t y = first_multiple_within(m % a, a, a - hi % a, a - lo % a);
    if (y < 0)
        return -1;
    return static_cast<int64_t>((lo + m * static_cast<uint64_t>(y) + a - 1) / a);
}

// The turns after which offset + TURN k, taken mod 2^32, first falls below
// width; -1 if it never does. offset is the distance, mod 2^32, from the start
// of the loop's end interval (width values) to the value.
int64_t turns_to_reach(uint32_t offset, uint64_t width) {
    if (offset < width)
        return 0;
    return first_multiple_within(TURN, WORD, WORD - offset, WORD - offset + width - 1);
}

uint32_t turns(int64_t k) { return static_cast<uint32_t>(static_cast<uint64_t>(k) * TURN); }

// Arguments current, target, step. When an adjusting loop would never end,
// the answer is target.
int32_t near_angle(int32_t current, int32_t target, int32_t step) {
    const int32_t s = magnitude(step);
    const int32_t low = sub(target, 180000);
    const int32_t high = add(target, 180000);

    // Up while below low: ends in [low, INT32_MAX].
    const int64_t up =
        turns_to_reach(uint32_t(current) - uint32_t(low), int64_t(INT32_MAX) - low + 1);
    if (up < 0)
        return target;
    current = wrap(uint32_t(current) + turns(up));

    // Down while above high: ends in [INT32_MIN, high].
    const int64_t down =
        turns_to_reach(uint32_t(high) - uint32_t(current), int64_t(high) - INT32_MIN + 1);
    if (down < 0)
        return target;
    current = wrap(uint32_t(current) - turns(down));

    if (target > current) {
        const int32_t next = add(current, s);
        return next > target ? target : next;
    }
    const int32_t next = sub(current, s);
    return next < target ? target : next;
}

}  // namespace

// Arguments x1, y1, x2, y2. Upward on the screen (y2 < y1) is a positive
// angle; the result lies in -180000..180000.
KAV_ROUTINE(KAV_fget_angle) {
    const Points p = pop_points();
    const int32_t dy = sub(p.y1, p.y2);
    const int32_t dx = sub(p.x2, p.x1);
    if (dx == 0 && dy == 0) {
        ret(int32_t{0});
        return;
    }
    ret(scaled(std::atan2(static_cast<double>(dy), static_cast<double>(dx)), MILLIDEG_PER_RAD));
}

KAV_ROUTINE(KAV_fget_dist) {
    const Points p = pop_points();
    const Reduced r = reduced(p.x1, p.y1, p.x2, p.y2);
    const double ax = r.ax, ay = r.ay;
    ret(to_int(std::sqrt(ax * ax + ay * ay) * r.scale));
}

// The reduced squared distance times scale, once (not scale squared): an
// under-estimate beyond the threshold, as intended.
KAV_ROUTINE(KAV_fget_distsq) {
    const Points p = pop_points();
    const Reduced r = reduced(p.x1, p.y1, p.x2, p.y2);
    ret(mul(add(mul(r.ax, r.ax), mul(r.ay, r.ay)), r.scale));
}

KAV_ROUTINE(KAV_get_distx) { ret(movement<::cos>()); }

// y points down: the truncated movement is negated.
KAV_ROUTINE(KAV_get_disty) { ret(neg(movement<::sin>())); }

KAV_ROUTINE(KAV_near_angle) {
    const int32_t step = pop<int32_t>();
    const int32_t target = pop<int32_t>();
    const int32_t current = pop<int32_t>();
    ret(near_angle(current, target, step));
}
