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

// The box and the point are read after the last pop, where the host holds
// them (as the component-wise forms read theirs); the box's fields l, b, r, t
// are read as the components of a 4-vector, which has the same layout.
template <class T>
void box_form() {
    static_assert(sizeof(kav::box<T>) == sizeof(kav::vec<T, 4>));
    enum { LEFT, BOTTOM, RIGHT, TOP };
    const auto box = kav::take<kav::vec<T, 4>>();
    const auto p = kav::take<kav::vec<T, 2>>();
    kav::vec<T, 2> r;
    r[0] = Clamp{}(kav::part(p, 0), kav::part(box, LEFT), kav::part(box, RIGHT));
    r[1] = Clamp{}(kav::part(p, 1), kav::part(box, BOTTOM), kav::part(box, TOP));
    kav::ret(r);
}

// Longer than m, the vector comes back divided by the square of its length
// (x*k*k with k = 1/|v|), whatever m is: a vector of length 10 clamped to 5
// has length 0.1 afterwards. Intended, in both forms.
// m is held in its own type across the pop and widened where it is used: an
// extended value held across a call is stored and reloaded whole. A vector
// within the length goes back as the host holds it.
template <class T>
void length_form() {
    using W = long double;
    const T m = kav::pop<T>();
    const auto v = kav::take<kav::vec<T, 2>>();
    const W x = kav::part(v, 0), y = kav::part(v, 1);
    const W s2 = x * x + y * y;
    if (!(s2 > W(m) * W(m)))
        return kav::ret(v);
    const W k = 1 / std::sqrt(s2);
    kav::vec<T, 2> r;
    r[0] = static_cast<T>(x * k * k);
    r[1] = static_cast<T>(y * k * k);
    kav::ret(r);
}

}  // namespace

KAV_ROUTINE(KAV_clamp_vec2LEN) { length_form<float>(); }
KAV_ROUTINE(KAV_clamp_vec2BB) { box_form<float>(); }
KAV_ROUTINE(KAV_clamp_ivec2BB) { box_form<int32_t>(); }
KAV_ROUTINE(KAV_clamp_dvec2LEN) { length_form<double>(); }
KAV_ROUTINE(KAV_clamp_dvec2BB) { box_form<double>(); }
KAV_INT_ROUTINES(KAV_clampI, clamp, kav::ternary, Clamp{})
KAV_FLOATING_ROUTINES(clamp, kav::ternary, Clamp{})
