// min and max of two and of three values, and mid of three, over ints,
// floats, doubles and their vectors. Every comparison is exact, so the float
// forms need no wider type: the answer is one of the arguments.
#include <cmath>
#include <type_traits>

#include "forms.h"

namespace {

// Two values: the second wins every comparison that does not strictly favour
// the first, so a NaN second argument comes back and a NaN first argument
// does not; max(0, -0) is -0. Intended.
struct Min {
    template <class T>
    T operator()(T a, T b) const { return a < b ? a : b; }
};
struct Max {
    template <class T>
    T operator()(T a, T b) const { return a > b ? a : b; }
};

// Three values, folded left: an earlier value stays unless a later one is
// strictly better, so here a NaN first argument survives. The reverse of the
// two-value preference, intended.
struct Min3 {
    template <class T>
    T operator()(T a, T b, T c) const {
        const T t = a > b ? b : a;
        return t > c ? c : t;
    }
};
struct Max3 {
    template <class T>
    T operator()(T a, T b, T c) const {
        const T t = b > a ? b : a;
        return c > t ? c : t;
    }
};

// The median of three distinct values. When two are equal the answer is the
// smallest of the three, not the repeated one: mid(1, 1, 0) = 0. A NaN
// anywhere gives the first argument. Both intended.
struct Mid {
    template <class T>
    T operator()(T a, T b, T c) const {
        if constexpr (std::is_floating_point_v<T>)
            if (std::isnan(a) || std::isnan(b) || std::isnan(c))
                return a;
        if (a == b || b == c || a == c)
            return Min3{}(a, b, c);
        return Max{}(Min{}(a, b), Min{}(Max{}(a, b), c));
    }
};

}  // namespace

KAV_INT_ROUTINES(KAV_min, min, kav::binary, Min{})
KAV_INT_VECTOR_SCALAR_ROUTINES(min, kav::binary, Min{})
KAV_FLOATING_ROUTINES(min, kav::binary, Min{})
KAV_VECTOR_SCALAR_ROUTINES(min, kav::binary, Min{})
KAV_INT_ROUTINES(KAV_min3, min3, kav::ternary, Min3{})
KAV_FLOATING_ROUTINES(min3, kav::ternary, Min3{})

KAV_INT_ROUTINES(KAV_max, max, kav::binary, Max{})
KAV_INT_VECTOR_SCALAR_ROUTINES(max, kav::binary, Max{})
KAV_FLOATING_ROUTINES(max, kav::binary, Max{})
KAV_VECTOR_SCALAR_ROUTINES(max, kav::binary, Max{})
KAV_INT_ROUTINES(KAV_max3, max3, kav::ternary, Max3{})
KAV_FLOATING_ROUTINES(max3, kav::ternary, Max3{})

KAV_INT_ROUTINES(KAV_mid, mid, kav::ternary, Mid{})
KAV_FLOATING_ROUTINES(mid, kav::ternary, Mid{})
