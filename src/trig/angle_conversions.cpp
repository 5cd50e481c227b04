// Conversions between degrees, milli-degrees and radians. Fixed scales: the
// angle unit plays no part here.
#include "frame/componentwise.h"

namespace {

using namespace kav;

// Within one turn either way, both ends included. Ints: one unsigned test.
bool within_turn(int32_t v, int32_t bound) {
    return uint32_t(v) + uint32_t(bound) <= 2u * uint32_t(bound);
}

// Floating values: two tests, which a NaN fails both, so it passes through.
template <class T>
bool within_turn(T v, T bound) {
    if (v < -bound) return false;
    if (v > bound) return false;
    return true;
}

// An angle beyond one turn either way becomes 0: it is not wrapped, clamped
// or reported. Intended.
struct DegreesToMillidegrees {
    template <class T>
    T operator()(T v) const {
        return within_turn(v, T(360)) ? v * T(1000) : T(0);
    }
};

// A true division, truncating toward zero for ints (-1999 gives -1).
struct MillidegreesToDegrees {
    template <class T>
    T operator()(T v) const {
        return within_turn(v, T(360000)) ? v / T(1000) : T(0);
    }
};

// A plain product carried at extended precision, rounded once to the
// component type when it is set; no range test. For a float the double
// product rounds to the same float: each of the 2^32 floats was checked with
// both factors. Not so for doubles. The factor is part of the type, so that
// each routine has its own copy of the form with the factor a constant (one
// form shared by both factors took it through a pointer, after a jump).
template <class Factor>
struct Scale {
    static constexpr bool rolled = true;  // the x87 products: as for library calls
    double operator()(float v) const { return double{v} * Factor::value; }
    long double operator()(double v) const { return static_cast<long double>(v) * Factor::value; }
};
struct RadiansPerDegree {
    static constexpr double value = 0.017453292519943295;
};
struct DegreesPerRadian {
    static constexpr double value = 57.29577951308232;
};

}  // namespace

KAV_INT_ROUTINES(KAV_degtomilI, degtomil, unary, DegreesToMillidegrees{})
KAV_FLOATING_ROUTINES(degtomil, unary, DegreesToMillidegrees{})
KAV_INT_ROUTINES(KAV_miltodegI, miltodeg, unary, MillidegreesToDegrees{})
KAV_FLOATING_ROUTINES(miltodeg, unary, MillidegreesToDegrees{})
KAV_FLOATING_ROUTINES(degtorad, unary, Scale<RadiansPerDegree>{})
KAV_FLOATING_ROUTINES(radtodeg, unary, Scale<DegreesPerRadian>{})
