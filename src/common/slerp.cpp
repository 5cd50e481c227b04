// Spherical interpolation of 2-D directions: slerp by a fraction, slerpconst
// by a bounded angle in radians (whatever the angle unit). The float forms
// carry extended precision between the single-precision library calls
// (acosf, sinf) and round once; the double forms use acos and sin.
#include <cmath>

#include "forms.h"

namespace {

template <class T>
using Wide = kav::float_wide_t<T>;

template <class T>
struct Circle;
template <>
struct Circle<float> {
    static constexpr float PI = 3.1415927f;
    static float acos(float x) { return kav::strict(acosf(x)); }
    static float sin(float x) { return kav::strict(sinf(x)); }
};
template <>
struct Circle<double> {
    static constexpr double PI = 3.141592653589793;
    static double acos(double x) { return kav::strict(std::acos(x)); }
    static double sin(double x) { return kav::strict(std::sin(x)); }
};

// Below this angle the arc is taken as straight.
constexpr double STRAIGHT = 0.001;

// The cosine of the angle between a and b, through their normalised forms.
template <class T>
Wide<T> cosine(const kav::vec<T, 2> &a, const kav::vec<T, 2> &b) {
    using W = Wide<T>;
    const W ia = 1 / std::sqrt(W(a[0]) * a[0] + W(a[1]) * a[1]);
    const W ib = 1 / std::sqrt(W(b[0]) * b[0] + W(b[1]) * b[1]);
    return (a[0] * ia) * (b[0] * ib) + (a[1] * ia) * (b[1] * ib);
}

// a*wa + b*wb on the inputs as given, so lengths blend with the direction.
template <class T>
kav::vec<T, 2> blend(kav::vec<T, 2> a, const kav::vec<T, 2> &b, Wide<T> wa, Wide<T> wb) {
    for (int i = 0; i < 2; ++i)
        a[i] = static_cast<T>(a[i] * wa + b[i] * wb);
    return a;
}

// The way along the arc of angle theta at fraction f. Opposite directions
// divide by sin(pi), tiny but not zero: huge weights, not guarded. Intended.
// slerp forms its weights sin(...)*k first; slerpconst's rule is written
// a*sin(...)*k + b*sin(...)*k, each input times its sine and then times k,
// which rounds (and, near the smallest normal double, underflows) otherwise.
template <class T, bool Weights>
kav::vec<T, 2> arc(kav::vec<T, 2> a, const kav::vec<T, 2> &b, Wide<T> theta, Wide<T> f) {
    using C = Circle<T>;
    const Wide<T> k = 1 / Wide<T>(C::sin(static_cast<T>(theta)));
    const Wide<T> sa = C::sin(static_cast<T>((1 - f) * theta));
    const Wide<T> sb = C::sin(static_cast<T>(f * theta));
    if constexpr (Weights)
        return blend(a, b, sa * k, sb * k);
    for (int i = 0; i < 2; ++i)
        a[i] = static_cast<T>(a[i] * sa * k + b[i] * sb * k);
    return a;
}

template <class T>
kav::vec<T, 2> slerp(const kav::vec<T, 2> &a, const kav::vec<T, 2> &b, T t) {
    const Wide<T> d = cosine(a, b);
    Wide<T> theta = Circle<T>::PI;  // opposite, or a NaN cosine
    if (d > -1) {
        if (d < 1)
            theta = Circle<T>::acos(static_cast<T>(d));
        if (!(d < 1) || theta < STRAIGHT)
            return blend(a, b, 1 - Wide<T>(t), Wide<T>(t));
    }
    return arc<T, true>(a, b, theta, Wide<T>(t));
}

// Turns toward b by at most step. Equal directions give theta 0 and a NaN
// fraction, so a NaN result: intended.
template <class T>
kav::vec<T, 2> slerp_bounded(const kav::vec<T, 2> &a, const kav::vec<T, 2> &b, T step) {
    Wide<T> d = cosine(a, b);
    d = d > -1 ? d : -1;
    d = 1 > d ? d : 1;
    const Wide<T> theta = Circle<T>::acos(static_cast<T>(d));
    const Wide<T> f = (theta > step ? Wide<T>(step) : theta) / theta;
    if (theta < STRAIGHT)
        return blend(a, b, 1 - f, f);
    return arc<T, false>(a, b, theta, f);
}

template <class T, kav::vec<T, 2> (*Rule)(const kav::vec<T, 2> &, const kav::vec<T, 2> &, T)>
void slerp_form() {
    const T t = kav::pop<T>();
    const kav::vec<T, 2> b = kav::pop<kav::vec<T, 2>>();
    const kav::vec<T, 2> a = kav::pop<kav::vec<T, 2>>();
    kav::ret(Rule(a, b, t));
}

}  // namespace

KAV_ROUTINE(KAV_slerp_vec2) { slerp_form<float, slerp<float>>(); }
KAV_ROUTINE(KAV_slerp_dvec2) { slerp_form<double, slerp<double>>(); }
KAV_ROUTINE(KAV_slerpconst_vec2) { slerp_form<float, slerp_bounded<float>>(); }
KAV_ROUTINE(KAV_slerpconst_dvec2) { slerp_form<double, slerp_bounded<double>>(); }
