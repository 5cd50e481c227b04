// sqrt over ints, floats, doubles and their vectors; inversesqrt over floats,
// doubles and their vectors.
#include <cmath>

#include <type_traits>

#include "frame/componentwise.h"

namespace {

// The square root: float forms in single precision (sqrtf).
struct Sqrt {
    float operator()(float x) const { return kav::strict(sqrtf(x)); }
    double operator()(double x) const { return std::sqrt(x); }
};

// 1 / sqrt(x) with the root of the argument's precision. Zero gives +inf, a
// negative argument NaN; nothing is checked. For a float root the quotient
// is taken in single precision: the double quotient of two floats, rounded
// to float, is the float quotient itself (a double carries more than
// 2 x 24 + 2 bits, so the second rounding cannot differ), and so is an x87
// quotient rounded to float.
struct InverseSqrt {
    float operator()(float x) const { return 1.0f / Sqrt{}(x); }
    double operator()(double x) const { return 1.0 / Sqrt{}(x); }
};

// The float scalar form takes the double root, although its vector forms
// take the single one: intended.
template <class V>
void inverse_sqrt_form() {
    if constexpr (std::is_same_v<V, float>)
        kav::unary<float>([](double x) { return InverseSqrt{}(x); });
    else
        kav::unary<V>(InverseSqrt{});
}

// The integer part of the root of |x|.
struct IntSqrt {
    int32_t operator()(int32_t x) const {
        // The largest magnitude answers a fixed 999999999: intended.
        constexpr int32_t LARGEST_ROOT_SENTINEL = 999999999;
        // |-2147483648| wraps to itself; its root is NaN, which converts to
        // -2147483648.
        const int32_t magnitude = x < 0 ? kav::neg(x) : x;
        if (magnitude == INT32_MAX)
            return LARGEST_ROOT_SENTINEL;
        return kav::to_int(std::sqrt(static_cast<double>(magnitude)));
    }
};

}  // namespace

KAV_ROUTINE(KAV_sqrt) { kav::unary<int32_t>(IntSqrt{}); }
KAV_FLOATING_ROUTINES(sqrt, kav::unary, Sqrt{})
KAV_FLOATING_ROUTINES(inversesqrt, inverse_sqrt_form)
