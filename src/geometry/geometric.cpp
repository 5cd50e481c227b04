// dot, cross, length, lengthsq, distance, distancesq, normalize, faceforward,
// reflect and refract over scalars and vectors. Sums run over the components
// in the order x, y, z, w (precision: see geometry.h).
#include "geometry/geometry.h"

namespace {

using namespace kav;
using namespace kav::geometry;

// In line, as the vectors' helpers below: each is a few operations, and
// called out of line it would take its arguments through memory.
template <class V, class A>
inline W<V> dot(A a, A b) {
    return sum<V>([&](int i) { return at(a, i) * at(b, i); });
}

template <class V, class A>
inline C<V> length_of(A v) {
    return root(settle<C<V>>(dot<V>(v, v)));
}

template <class V, class A>
inline W<V> distance_squared(A a, A b) {
    return sum<V>([&](int i) {
        const W<V> d = at(a, i) - at(b, i);
        return d * d;
    });
}

template <class V>
void dot_form() {
    const auto b = take<V>();
    const auto a = take<V>();
    ret(settle<C<V>>(dot<V>(a, b)));
}

template <class V>
void length_form() {
    ret(length_of<V>(take<V>()));
}

template <class V>
void lengthsq_form() {
    const auto v = take<V>();
    ret(settle<C<V>>(dot<V>(v, v)));
}

// The vec4 form is also the row "distance(T(vec4),T(vec3))": it reads a
// fourth float past the vec3 argument, as intended.
template <class V>
void distance_form() {
    const auto b = take<V>();
    const auto a = take<V>();
    ret(root(settle<C<V>>(distance_squared<V>(a, b))));
}

template <class V>
void distancesq_form() {
    const auto b = take<V>();
    const auto a = take<V>();
    ret(settle<C<V>>(distance_squared<V>(a, b)));
}

// The reciprocal of the length, then one multiplication per component. A
// zero length is not guarded: 0 times infinity gives NaN, as intended.
template <class V>
void normalize_form() {
    const auto v = take<V>();
    const W<V> r = W<V>(1.0) / W<V>(length_of<V>(v));
    ret(build<V>([&](int i) { return at(v, i) * r; }));
}

// faceforward keeps N when d < 0. For a NaN d the scalar forms answer -N and
// the vector forms N: the difference is intended.
template <class V>
bool keeps_n(W<V> d) {
    if constexpr (is_scalar<V>)
        return d < W<V>(0);
    else
        return !(d >= W<V>(0));
}

// Arguments N, I, Nref.
template <class V>
void faceforward_form() {
    const auto nref = take<V>();
    const auto i = take<V>();
    const auto n = take<V>();
    if (keeps_n<V>(dot<V>(nref, i)))
        ret(n);
    else
        ret(build<V>([&](int c) { return negative(part(n, c)); }));
}

// Arguments I, N: I - 2 dot(N, I) N.
template <class V>
void reflect_form() {
    const auto n = take<V>();
    const auto i = take<V>();
    const W<V> d = dot<V>(n, i);
    const W<V> t = d + d;
    ret(build<V>([&](int c) { return at(i, c) - t * at(n, c); }));
}

// Arguments I, N, eta. A negative k (total internal reflection) gives zero;
// a NaN k is not negative and goes on to give NaN.
template <class V>
void refract_form() {
    const W<V> eta = pop<C<V>>();
    const auto n = take<V>();
    const auto i = take<V>();
    const W<V> d = dot<V>(n, i);
    const W<V> k = W<V>(1.0) - eta * eta * (W<V>(1.0) - d * d);
    if (k < W<V>(0)) {
        ret(V{});
        return;
    }
    const W<V> t = eta * d + W<V>(root(settle<C<V>>(k)));
    ret(build<V>([&](int c) { return eta * at(i, c) - t * at(n, c); }));
}

// The cross product in two dimensions is a scalar.
template <class T>
void cross_plane() {
    const auto b = take<vec<T, 2>>();
    const auto a = take<vec<T, 2>>();
    ret(settle<T>(at(a, 0) * at(b, 1) - at(a, 1) * at(b, 0)));
}

// cross(v, s) = (s v.y, -s v.x), and cross(s, v) is its negation: the two
// mixed forms have opposite signs, as intended. The products are rounded
// once and then negated, which is exact: the same bits as rounding the
// negated product.
template <class T, bool scalar_first>
vec<T, 2> cross_mixed(T s, Place<vec<T, 2>> v, std::bool_constant<scalar_first>) {
    const T c[2] = {settle<T>(W<T>(s) * at(v, 1)), negative(settle<T>(W<T>(s) * at(v, 0)))};
    return build<vec<T, 2>>([&](int i) { return scalar_first ? negative(c[i]) : c[i]; });
}

template <class T>
void cross_vector_scalar() {
    const T s = pop<T>();
    const auto v = take<vec<T, 2>>();
    ret(cross_mixed<T>(s, v, std::false_type{}));
}

template <class T>
void cross_scalar_vector() {
    const auto v = take<vec<T, 2>>();
    const T s = pop<T>();
    ret(cross_mixed<T>(s, v, std::true_type{}));
}

template <class T>
void cross_space() {
    const auto b = take<vec<T, 3>>();
    const auto a = take<vec<T, 3>>();
    ret(build<vec<T, 3>>([&](int c) {
        const int p = (c + 1) % 3, q = (c + 2) % 3;
        return at(a, p) * at(b, q) - at(a, q) * at(b, p);
    }));
}

}  // namespace

KAV_FLOATING_ROUTINES(dot, dot_form)
KAV_INT_ROUTINES(KAV_dotI, dot, dot_form)
KAV_FLOATING_ROUTINES(length, length_form)
KAV_FLOATING_ROUTINES(lengthsq, lengthsq_form)
KAV_FLOATING_ROUTINES(distance, distance_form)
KAV_FLOATING_ROUTINES(distancesq, distancesq_form)
KAV_FLOATING_ROUTINES(normalize, normalize_form)
KAV_FLOATING_ROUTINES(faceforward, faceforward_form)
KAV_INT_ROUTINES(KAV_faceforwardI, faceforward, faceforward_form)
KAV_FLOATING_ROUTINES(reflect, reflect_form)
KAV_FLOATING_ROUTINES(refract, refract_form)

#define KAV_CROSS_ROUTINES(T, v2, v3, S)                                  \
    KAV_ROUTINE(KAV_cross_##v2) { cross_plane<T>(); }                     \
    KAV_ROUTINE(KAV_cross_##v2##S) { cross_vector_scalar<T>(); }          \
    KAV_ROUTINE(KAV_cross_##S##v2) { cross_scalar_vector<T>(); }          \
    KAV_ROUTINE(KAV_cross_##v3) { cross_space<T>(); }

KAV_CROSS_ROUTINES(float, vec2, vec3, F)
KAV_CROSS_ROUTINES(int32_t, ivec2, ivec3, I)
KAV_CROSS_ROUTINES(double, dvec2, dvec3, D)
