// The vec_ family: construction, component-wise arithmetic, comparisons and
// the 2-D operations (perpendiculars, projection, rotation by a direction
// vector, direction and angle, nearness).
#include <functional>
#include <type_traits>

#include "geometry/geometry.h"

namespace {

using namespace kav;
using namespace kav::geometry;

// The components in argument order: the last argument, popped first, is the
// last component.
template <class V>
void new_form() {
    V v;
    unrolled<V>([&](auto... i) { ((v[count<V> - 1 - i] = pop<C<V>>()), ...); });
    ret(v);
}

template <class V>
void negation_form() {
    const auto a = take<V>();
    ret(build<V>([&](int i) { return negative(part(a, i)); }));
}

// op on each component of a with the component of b of the same place, or
// with the scalar b itself.
template <class V, class B = V, class Op>
void binary_form(const Op &op) {
    const auto b = take<B>();
    const auto a = take<V>();
    ret(build<V>([&](int i) { return op(at(a, i), at(b, i)); }));
}

// 1 when every pair of components passes the test, tested in the order x, y,
// z, w up to the first that fails. A NaN fails every ordered test and the
// equality, and passes "differs".
template <class V, class Test>
void comparison_form(const Test &test) {
    const auto b = take<V>();
    const auto a = take<V>();
    ret(int32_t{unrolled<V>([&](auto... i) { return (test(a[i], b[i]) && ...); })});
}

// vec_ne answers 1 only when every component differs, so it is not the
// negation of vec_eq: intended.
struct Differs {
    template <class T>
    bool operator()(T a, T b) const { return !(a == b); }
};

// Arguments a, b, r. The second difference is b.x - b.y, not a.y - b.y: the
// test is kept as it stands.
template <class V>
void near_form() {
    const W<V> r = pop<C<V>>();
    const auto b = take<V>();
    const auto a = take<V>();
    const W<V> dx = at(a, 0) - at(b, 0);
    const W<V> dy = at(b, 0) - at(b, 1);
    ret(int32_t{r * r > dx * dx + dy * dy});
}

// A quarter turn counter-clockwise, (-a.y, a.x); clockwise its negation,
// (a.y, -a.x).
template <class V, bool clockwise>
void perp_form(std::bool_constant<clockwise>) {
    const auto a = take<V>();
    const C<V> turned[2] = {negative(a[1]), a[0]};
    ret(build<V>([&](int c) { return clockwise ? negative(turned[c]) : turned[c]; }));
}

// a.b / b.b, in the int form by truncating division. A zero divisor (b =
// (0, 0), or a b.b that wraps to 0) gives k = 0 and so the zero vector. b.b
// is a sum of two squares, never -1 modulo 2^32, so no quotient leaves the
// int range.
template <class T>
carried_t<T> quotient(carried_t<T> n, carried_t<T> d) {
    if constexpr (std::is_same_v<T, int32_t>)
        return d == 0 ? 0 : n.value() / d.value();
    else
        return n / d;
}

template <class V>
void project_form() {
    const auto b = take<V>();
    const auto a = take<V>();
    const W<V> k = quotient<C<V>>(at(a, 0) * at(b, 0) + at(a, 1) * at(b, 1),
                                  at(b, 0) * at(b, 0) + at(b, 1) * at(b, 1));
    ret(build<V>([&](int c) { return at(b, c) * k; }));
}

// a times b as complex numbers, (a.x b.x - a.y b.y, a.x b.y + a.y b.x), or
// times b's conjugate, (a.x b.x + a.y b.y, a.y b.x - a.x b.y); b is not
// normalised and the int forms are not scaled.
template <class V, bool conjugate>
void rotate_form(std::bool_constant<conjugate>) {
    const auto b = take<V>();
    const auto a = take<V>();
    const W<V> ax = at(a, 0), ay = at(a, 1), bx = at(b, 0), by = at(b, 1);
    if constexpr (conjugate)
        ret(build<V>([&](int c) { return c == 0 ? ax * bx + ay * by : ay * bx - ax * by; }));
    else
        ret(build<V>([&](int c) { return c == 0 ? ax * bx - ay * by : ax * by + ay * bx; }));
}

// Radians whatever the angle unit, in the argument's precision.
template <class T>
void toangle_form() {
    const auto a = take<vec<T, 2>>();
    ret(strict<T>(std::atan2(a[1], a[0])));
}

inline void sine_cosine(float t, float *s, float *c) { sincosf(t, s, c); }
inline void sine_cosine(double t, double *s, double *c) { sincos(t, s, c); }

template <class T>
void forangle_form() {
    const T t = pop<T>();
    vec<T, 2> v;
    sine_cosine(t, &v[1], &v[0]);
    ret(v);
}

}  // namespace

KAV_FLOAT_VECTOR_ROUTINES(new, new_form)
KAV_INT_VECTOR_ROUTINES(new, new_form)
KAV_DOUBLE_VECTOR_ROUTINES(new, new_form)
KAV_VECTOR_ROUTINES(add, binary_form, std::plus<>{})
KAV_VECTOR_ROUTINES(sub, binary_form, std::minus<>{})
KAV_VECTOR_ROUTINES(neg, negation_form)

// vec_mul: every component times the one scalar.
#define KAV_MUL_ROUTINE(type, S)                                       \
    KAV_ROUTINE(KAV_##type##_mul##S) {                                 \
        binary_form<kav::type, kav::component_t<kav::type>>(std::multiplies<>{}); \
    }
KAV_MUL_ROUTINE(vec2, F)
KAV_MUL_ROUTINE(vec3, F)
KAV_MUL_ROUTINE(vec4, F)
KAV_MUL_ROUTINE(ivec2, I)
KAV_MUL_ROUTINE(ivec3, I)
KAV_MUL_ROUTINE(ivec4, I)
KAV_MUL_ROUTINE(dvec2, D)
KAV_MUL_ROUTINE(dvec3, D)
KAV_MUL_ROUTINE(dvec4, D)

// The table binds every comparison row to the float routine of its size; the
// int and double routines are exported unbound.
KAV_VECTOR_ROUTINES(eq, comparison_form, std::equal_to<>{})
KAV_VECTOR_ROUTINES(ne, comparison_form, Differs{})
KAV_VECTOR_ROUTINES(lt, comparison_form, std::less<>{})
KAV_VECTOR_ROUTINES(gt, comparison_form, std::greater<>{})
KAV_VECTOR_ROUTINES(ge, comparison_form, std::greater_equal<>{})
KAV_FLOAT_VECTOR_ROUTINES(le, comparison_form, std::less_equal<>{})
KAV_DOUBLE_VECTOR_ROUTINES(le, comparison_form, std::less_equal<>{})
KAV_VECTOR_ROUTINE(ivec2, le, comparison_form, std::less_equal<>{})
KAV_VECTOR_ROUTINE(ivec3, le, comparison_form, std::less_equal<>{})
// The ivec4 less-or-equal routine is exported under this name, intended.
KAV_ROUTINE(KAV_ivec4_e) { comparison_form<kav::ivec4>(std::less_equal<>{}); }

KAV_PLANE_ROUTINES(near, near_form)
KAV_PLANE_ROUTINES(perp, perp_form, std::false_type{})
KAV_PLANE_ROUTINES(rperp, perp_form, std::true_type{})
KAV_PLANE_ROUTINES(project, project_form)
KAV_PLANE_ROUTINES(rotate, rotate_form, std::false_type{})
KAV_PLANE_ROUTINES(unrotate, rotate_form, std::true_type{})

KAV_ROUTINE(KAV_vec2_toangle) { toangle_form<float>(); }
KAV_ROUTINE(KAV_dvec2_toangle) { toangle_form<double>(); }
KAV_ROUTINE(KAV_vec_forangleF) { forangle_form<float>(); }
KAV_ROUTINE(KAV_vec_forangleD) { forangle_form<double>(); }
