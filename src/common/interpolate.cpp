// Moving between two values: lerp, lerpconst (a bounded step, scalar and
// 2-D) and near_value. The float forms compute at extended precision and
// round once; the double forms compute in double.
#include <cmath>

#include "forms.h"

namespace {

using kav::float_wide_t;

// a*(1 - t) + b*t; t is not clamped, so it extrapolates.
struct Lerp {
    template <class T>
    float_wide_t<T> operator()(T a, T b, T t) const {
        using W = float_wide_t<T>;
        return W(a) * (1 - W(t)) + W(b) * W(t);
    }
};

// a + (b - a) clamped to [-d, d], lower bound first: a negative d moves by d.
struct BoundedStep {
    template <class T>
    float_wide_t<T> operator()(T a, T b, T d) const {
        using W = float_wide_t<T>;
        W c = W(b) - W(a);
        c = c > -W(d) ? c : -W(d);
        c = W(d) > c ? c : W(d);
        return W(a) + c;
    }
};

// In 2-D the step bounds the length of the move. The float form rounds each
// difference to float first. d is held in its own type across the pops (an
// extended value held across a call is stored and reloaded whole) and the
// vectors are read after the last pop.
template <class T>
void bounded_step_2d() {
    using W = float_wide_t<T>;
    const T d = kav::pop<T>();
    const auto b = kav::take<kav::vec<T, 2>>();
    const auto a = kav::take<kav::vec<T, 2>>();
    W c[2];
    for (int i = 0; i < 2; ++i)
        c[i] = static_cast<T>(W(kav::part(b, i)) - W(kav::part(a, i)));
    const W length2 = c[0] * c[0] + c[1] * c[1];
    if (length2 > W(d) * W(d)) {
        const W inverse = 1 / std::sqrt(length2);
        for (W &ci : c)
            ci = ci * inverse * W(d);
    }
    kav::vec<T, 2> r;
    for (int i = 0; i < 2; ++i)
        r[i] = static_cast<T>(W(kav::part(a, i)) + c[i]);
    kav::ret(r);
}

// Toward b by |d|, never past it: unlike lerpconst the sign of d is ignored.
struct Approach {
    int32_t operator()(int32_t a, int32_t b, int32_t d) const {
        const int32_t m = kav::magnitude(d);
        if (b > a) {
            const int32_t r = kav::add(a, m);
            return r < b ? r : b;
        }
        const int32_t r = kav::sub(a, m);
        return r > b ? r : b;
    }
    template <class T>
    float_wide_t<T> operator()(T a, T b, T d) const {
        using W = float_wide_t<T>;
        const W m = std::fabs(W(d));
        if (W(b) > W(a)) {
            const W r = W(a) + m;
            return r > W(b) ? W(b) : r;
        }
        const W r = W(a) - m;
        return W(b) > r ? W(b) : r;
    }
};

}  // namespace

KAV_FLOATING_ROUTINES(lerp, kav::pair_with_scalar, Lerp{})

KAV_ROUTINE(KAV_lerpconstF) { kav::ternary<float>(BoundedStep{}); }
KAV_ROUTINE(KAV_lerpconst_vec2) { bounded_step_2d<float>(); }
KAV_ROUTINE(KAV_lerpconstD) { kav::ternary<double>(BoundedStep{}); }
KAV_ROUTINE(KAV_lerpconst_dvec2) { bounded_step_2d<double>(); }

KAV_ROUTINE(KAV_near_valueI) { kav::ternary<int32_t>(Approach{}); }
KAV_ROUTINE(KAV_near_valueF) { kav::ternary<float>(Approach{}); }
KAV_ROUTINE(KAV_near_valueD) { kav::ternary<double>(Approach{}); }
