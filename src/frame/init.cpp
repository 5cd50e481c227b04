// The module's state and its initialisation: the runtime interface, the
// random seeds, the integer trigonometry tables and the angle unit; and the
// two script functions that read and set the unit.
#include <bit>
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "frame.h"

extern "C" {
RuntimeInterface *kavre = nullptr;
int32_t sin_tab[KAV_SIN_TAB_SIZE];
int32_t cos_tab[KAV_SIN_TAB_SIZE];
int32_t asin_tab[KAV_ASIN_TAB_SIZE];
int32_t acos_tab[KAV_ASIN_TAB_SIZE];
int32_t math_angle_unit = kav::DEGREE_UNIT;
uint32_t m_z = 362436069;
uint32_t m_w = 521288629;

// Every exported object of the export list, under its exported name.
#define KAV_UNBOUND(fn, ...)
#define KAV_ENTRY(fn)
#define KAV_DATA(name) KAV_EXPORT_STATE(name)
#include "exports.def"
#undef KAV_UNBOUND
#undef KAV_ENTRY
#undef KAV_DATA
}

namespace {

// rand() % 0x7FFFFFFF: a signed remainder of a never-negative value.
uint32_t seed_word() { return static_cast<uint32_t>(std::rand() % 2147483647); }

// The tables hold, entry by entry, what these direct formulas give with the
// system library. Init reaches the same values with about 1,000 library calls
// instead of 94,000: the sine and cosine tables are runs of one value between
// about 2,000 steps, and each step is placed from the arcsine of its value,
// computed once for the arcsine tables too. Where the place of a step or the
// rounding of an arc value is too close to call, the direct formula decides.

// The angle of table index i in radians: the quotient formed at extended
// precision, then rounded to double.
double radians_at(int32_t i) {
    return static_cast<double>(static_cast<long double>(i) / kav::MILLIDEG_PER_RAD);
}

// A double times 1000 is exact at extended precision: no rounding before the
// truncation.
int32_t thousandths(double v) { return kav::to_int(static_cast<long double>(v) * 1000.0L); }

int32_t direct_sin(int32_t i) {
    double s, c;
    sincos(radians_at(i), &s, &c);
    return thousandths(s);
}

int32_t direct_cos(int32_t i) {
    double s, c;
    sincos(radians_at(i), &s, &c);
    return thousandths(c);
}

// An extended value of magnitude below 2^31 truncated toward zero. The
// integer is found at extended precision and only then converted, from
// double, because the processor's conversion of an extended value switches
// the rounding mode each time, which would dominate init.
int32_t truncated(long double x) {
    constexpr long double ROUNDER = 0x1.8p63L;  // its ulp is 1: the sum rounds x to an integer
    long double r = (x + ROUNDER) - ROUNDER;
    if (x >= 0 && r > x) r -= 1;
    if (x < 0 && r < x) r += 1;
    return kav::to_int(static_cast<double>(r));
}

// The library result is rounded to single before scaling; that moves some
// entries by one and is part of the tables' values.
int32_t millidegrees_via_single(float radians) {
    return truncated(static_cast<long double>(radians) * kav::MILLIDEG_PER_RAD);
}

// Steps closer than this (in table indices) to an integer, and arc values
// closer than this (relative) to a rounding boundary of single precision, are
// decided by the direct formula. Both are far above the library's error.
constexpr double STEP_MARGIN = 1e-4;
constexpr double ROUNDING_MARGIN = 0x1p-36;

// The first index of [lo, hi] where at(i) >= v, for at non-decreasing; hi + 1
// if none.
template <class At>
int32_t first_reaching(int32_t lo, int32_t hi, int32_t v, At at) {
    while (lo <= hi && at(lo) < v) ++lo;
    return lo;
}

// The first index in 1..89999 whose sine entry reaches v, given the angle
// asin(v / 1000) in radians.
int32_t sine_step(int32_t v, double angle) {
    const double at = angle * kav::MILLIDEG_PER_RAD;  // to far better than the margin
    const int32_t lo = kav::to_int(at - STEP_MARGIN), hi = kav::to_int(at + STEP_MARGIN);
    if (lo == hi) return hi + 1;  // no index near the step
    return first_reaching(lo < 1 ? 1 : lo, hi + 1, v, direct_sin);
}

// The last index in 0..89999 whose cosine entry still reaches v, given the
// angle acos(v / 1000) in radians.
int32_t cosine_step(int32_t v, double angle) {
    const double at = angle * kav::MILLIDEG_PER_RAD;  // to far better than the margin
    const int32_t lo = kav::to_int(at - STEP_MARGIN), hi = kav::to_int(at + STEP_MARGIN);
    if (lo == hi) return lo;
    // The cosine entries fall: the first index below v, less one.
    return first_reaching(lo, hi + 1, -v + 1, [](int32_t i) { return -direct_cos(i); }) - 1;
}

// x rounded to single, where x approximates exact(); exact() decides when x
// lies too close to a rounding boundary for the approximation to tell.
template <class Exact>
float single_of(double x, Exact exact) {
    // Rounding is symmetric: look at |x|, whose neighbours are one bit apart.
    const float f = static_cast<float>(std::fabs(x));
    const uint32_t bits = std::bit_cast<uint32_t>(f);
    const double up = (static_cast<double>(f) + std::bit_cast<float>(bits + 1)) / 2;
    const double down = (static_cast<double>(f) + std::bit_cast<float>(bits - 1)) / 2;
    const double margin = std::fabs(x) * ROUNDING_MARGIN;
    if (bits == 0 || std::fabs(std::fabs(x) - up) <= margin || std::fabs(std::fabs(x) - down) <= margin)
        return static_cast<float>(exact());
    return std::copysign(f, static_cast<float>(x));
}

// Sets tab[from..to-1] to v; answers where the run ends.
int32_t fill_run(int32_t *tab, int32_t from, int32_t to, int32_t v) {
    // Four entries a store, whatever the optimisation level.
    const int32_t quad[4] = {v, v, v, v};
    int32_t k = from;
    for (; k + 4 <= to; k += 4) std::memcpy(tab + k, quad, sizeof quad);
    for (; k < to; ++k) tab[k] = v;
    return to > from ? to : from;
}

void fill_tables() {
    constexpr double HALF_PI = 1.57079632679489661923;
    // Runs of equal sine and cosine entries end at these steps: sine reaches
    // v at sine_from[v]; cosine holds v or more up to cosine_to[v].
    int32_t sine_from[1001], cosine_to[1000];
    for (int32_t x = 0; x <= 1000; ++x) {
        const double v = x / 1000.0;
        // The one library call per sine value; the library's arcsine is odd
        // and acos is pi/2 - asin, both up to far less than a single's
        // rounding, so the other three values follow except near a boundary.
        const double asin_v = std::asin(v);
        const double acos_v = HALF_PI - asin_v, acos_minus_v = HALF_PI + asin_v;
        const float a = single_of(asin_v, [&] { return asin_v; });
        const float minus_a = single_of(-asin_v, [&] { return std::asin(-v); });
        asin_tab[1000 + x] = millidegrees_via_single(a);
        asin_tab[1000 - x] = millidegrees_via_single(minus_a);
        acos_tab[1000 + x] = millidegrees_via_single(single_of(acos_v, [&] { return std::acos(v); }));
        acos_tab[1000 - x] =
            millidegrees_via_single(single_of(acos_minus_v, [&] { return std::acos(-v); }));
        if (x >= 1 && x <= 999) {
            sine_from[x] = sine_step(x, asin_v);
            cosine_to[x] = cosine_step(x, acos_v);
        }
    }
    // Every entry is truncated, so cos_tab holds 1000 only at 0 and sin_tab
    // reaches 1000 only at 90000, where it is set explicitly.
    sine_from[1000] = KAV_QUARTER_TURN;
    int32_t i = 0;
    for (int32_t v = 0; v < 1000; ++v)
        i = fill_run(sin_tab, i, sine_from[v + 1], v);
    sin_tab[KAV_QUARTER_TURN] = 1000;
    cos_tab[0] = 1000;
    i = 1;
    for (int32_t v = 999; v >= 0; --v)
        i = fill_run(cos_tab, i, (v ? cosine_to[v] : KAV_QUARTER_TURN - 1) + 1, v);
    cos_tab[KAV_QUARTER_TURN] = 0;
}

}  // namespace

extern "C" void KAV_mod_math_init(void) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    m_z = seed_word();
    m_w = seed_word();
    fill_tables();
    math_angle_unit = kav::DEGREE_UNIT;
}

KAV_ROUTINE(KAV_mathlib_get_angleunit) { kav::ret(math_angle_unit); }

KAV_ROUTINE(KAV_mathlib_set_angleunit) {
    const int32_t unit = kav::pop<int32_t>();
    // One unsigned test: every negative value is rejected too.
    if (static_cast<uint32_t>(unit) <= kav::RADIAN_UNIT) {
        math_angle_unit = unit;
        kav::ret(int32_t{1});
    } else {
        kav::ret(kav::INT_INDEFINITE);
    }
}
