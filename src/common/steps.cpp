// The step functions over floats, doubles and their vectors: normalstep (the
// shading languages' step) and smoothstep.
#include "forms.h"

namespace {

using kav::float_wide_t;

// 1 where edge <= x, and also where the comparison is unordered.
struct Step {
    template <class T>
    T operator()(T edge, T x) const { return edge > x ? T(0) : T(1); }
};

// The Hermite curve between the edges. Equal edges are not guarded: x beyond
// them gives 1 or 0 through the infinite t, x on them NaN and so 0.
struct SmoothStep {
    template <class T>
    float_wide_t<T> operator()(T edge0, T edge1, T x) const {
        using W = float_wide_t<T>;
        const W t = (W(x) - W(edge0)) / (W(edge1) - W(edge0));
        if (!(t > 0))
            return 0;
        if (t >= 1)
            return 1;
        return t * t * (3 - 2 * t);
    }
};

}  // namespace

KAV_FLOATING_ROUTINES(normalstep, kav::binary, Step{})
KAV_SCALAR_VECTOR_ROUTINES(normalstep, kav::scalar_then_vector, Step{})
KAV_FLOATING_ROUTINES(smoothstep, kav::ternary, SmoothStep{})
KAV_SCALAR_VECTOR_ROUTINES(smoothstep, kav::scalars_then_vector, SmoothStep{})
