// The roundings over floats, doubles and their vectors: ceil, floor, trunc,
// round, roundeven, and fract.
#include <cmath>
#include <type_traits>

#include "forms.h"

namespace {

// The float forms take the single-precision library routine; the double
// forms round exactly in double.
struct Ceil {
    float operator()(float x) const { return ceilf(x); }
    double operator()(double x) const { return std::ceil(x); }
};
struct Floor {
    float operator()(float x) const { return floorf(x); }
    double operator()(double x) const { return std::floor(x); }
};

// Toward zero through the double floor; no int conversion, so large values
// survive.
struct Trunc {
    double operator()(double x) const { return x < 0 ? -std::floor(-x) : std::floor(x); }
};

// Halves away from zero: x -/+ 0.5 at extended precision, then the int
// conversion, whose -2147483648 for NaN and out-of-range values is the
// answer there too (round(3.0e9) = -2147483648.0): intended. Inline, so
// that every routine keeps the conversion in line rather than calling it.
inline int32_t round_half_away(long double x) {
    constexpr float HALF = 0.5f;
    return kav::to_int(x < 0 ? x - HALF : x + HALF);
}

struct Round {
    int32_t operator()(long double x) const { return round_half_away(x); }
};

// Halves to even. The fraction is x - floor(x) in double, rounded to float
// in the float forms; only an exact half (or NaN) takes the even rule.
struct RoundEven {
    template <class T>
    int32_t operator()(T x) const {
        const double diff = double{x} - std::floor(double{x});
        const T f = static_cast<T>(kav::strict(diff));
        if (!(f < 0.5 || f > 0.5)) {
            const int32_t i = kav::to_int(x);
            if (i % 2 == 0)
                return i;
            return x > 0 ? kav::add(i, 1) : kav::sub(i, 1);
        }
        return round_half_away(x);
    }
};

// x - floor(x) in double, rounded to the result type: a tiny negative float
// comes out as 1.0. The rounding is inside the rule: the float form's
// difference of two floats, rounded once from double, is the float
// difference (double has more than twice float's precision plus two bits),
// and the compiler may compute it so only when it sees both steps.
struct Fract {
    template <class T>
    T operator()(T x) const {
        const double d = x;
        return static_cast<T>(d - std::floor(d));
    }
};

}  // namespace

KAV_SINGLE_ROUTINES(KAV_ceilF, ceil, kav::unary, Ceil{})
KAV_DOUBLE_ROUTINES(KAV_ceil, ceil, kav::unary, Ceil{})
KAV_SINGLE_ROUTINES(KAV_floorF, floor, kav::unary, Floor{})
KAV_DOUBLE_ROUTINES(KAV_floor, floor, kav::unary, Floor{})
KAV_FLOATING_ROUTINES(trunc, kav::unary, Trunc{})
KAV_FLOATING_ROUTINES(round, kav::unary, Round{})
KAV_FLOATING_ROUTINES(roundeven, kav::unary, RoundEven{})
KAV_FLOATING_ROUTINES(fract, kav::unary, Fract{})
