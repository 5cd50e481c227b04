// abs over ints, floats, doubles and their vectors; copysign over I, F, D.
#include <cmath>

#include "forms.h"

namespace {

struct Abs {
    // Two's complement: |-2147483648| wraps to itself.
    int32_t operator()(int32_t x) const { return kav::magnitude(x); }
    float operator()(float x) const { return std::fabs(x); }
    // The double forms pass the magnitude through single precision, so
    // abs(0.1) is 0.100000001490116: intended.
    float operator()(double x) const { return static_cast<float>(std::fabs(x)); }
};

// |a| with the sign of b: for ints, negative b alone counts.
struct CopySign {
    int32_t operator()(int32_t a, int32_t b) const {
        const int32_t m = kav::magnitude(a);
        return b < 0 ? kav::neg(m) : m;
    }
    template <class T>
    T operator()(T a, T b) const { return std::copysign(a, b); }
};

}  // namespace

KAV_INT_ROUTINES(KAV_abs, abs, kav::unary, Abs{})
KAV_FLOATING_ROUTINES(abs, kav::unary, Abs{})

KAV_ROUTINE(KAV_copysignI) { kav::binary<int32_t>(CopySign{}); }
KAV_ROUTINE(KAV_copysignF) { kav::binary<float>(CopySign{}); }
KAV_ROUTINE(KAV_copysign) { kav::binary<double>(CopySign{}); }
