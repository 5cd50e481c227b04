// clamp: a value into a range (ints, floats, doubles, vectors), a 2-D point
// into a box, and a 2-D vector against a length.
#include <cmath>

#include "forms.h"

namespace {

// The lower bound first, then the upper: crossed bounds give hi, a NaN x
// gives lo (bounded by hi).
struct Clamp {
    template <class T>
    T operator()(T x, T lo, T hi) const {
        const T t = x > lo ? x : lo;
        return hi > t ? t : hi;
    }
};

template <class T>
void box_form() {
    const kav::box<T> b = kav::pop<kav::box<T>>();
    kav::vec<T, 2> p = kav::pop<kav::vec<T, 2>>();
    p[0] = Clamp{}(p[0], b.l, b.r);
    p[1] = Clamp{}(p[1], b.b, b.t);
    kav::ret(p);
}

// Longer than m, the vector comes back divided by the square of its length
// (x*k*k with k = 1/|v|), whatever m is: a vector of length 10 clamped to 5
// has length 0.1 afterwards. Intended, in both forms.
// m is held in its own type across the pop and widened where it is used: an
// extended value held across a call is stored and reloaded whole.
template <class T>
void length_form() {
    using W = long double;
    const T m = kav::pop<T>();
    kav::vec<T, 2> v = kav::pop<kav::vec<T, 2>>();
    const W x = v[0], y = v[1];
    const W s2 = x * x + y * y;
    if (s2 > W(m) * W(m)) {
        const W k = 1 / std::sqrt(s2);
        v[0] = static_cast<T>(x * k * k);
        v[1] = static_cast<T>(y * k * k);
    }
    kav::ret(v);
}

}  // namespace

KAV_ROUTINE(KAV_clamp_vec2LEN) { length_form<float>(); }
KAV_ROUTINE(KAV_clamp_vec2BB) { box_form<float>(); }
KAV_ROUTINE(KAV_clamp_ivec2BB) { box_form<int32_t>(); }
KAV_ROUTINE(KAV_clamp_dvec2LEN) { length_form<double>(); }
KAV_ROUTINE(KAV_clamp_dvec2BB) { box_form<double>(); }
KAV_INT_ROUTINES(KAV_clampI, clamp, kav::ternary, Clamp{})
KAV_FLOATING_ROUTINES(clamp, kav::ternary, Clamp{})
