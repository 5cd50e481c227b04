// Component-wise application of a scalar rule, and the routine sets of a
// family generated from one form template.
//
// A value of type V is a scalar (int32_t, float, double) or a vec<T, N>; a
// scalar counts as one component. A family writes its scalar rule once and
// instantiates the int / float / double and 2- / 3- / 4-component routines
// from it: KAV_FLOATING_ROUTINES(sqrt, unary, Sqrt{}) defines KAV_sqrtF,
// KAV_sqrt_vec2 .. KAV_sqrt_dvec4, each one form<V>(rule).
#ifndef KAV_FRAME_COMPONENTWISE_H
#define KAV_FRAME_COMPONENTWISE_H

#include <type_traits>

#include "frame.h"

namespace kav {

template <class V>
struct components {
    using type = V;
    static constexpr int count = 1;
    static type &at(V &x, int) { return x; }
    static const type &at(const V &x, int) { return x; }
};
template <class T, int N>
struct components<vec<T, N>> {
    using type = T;
    static constexpr int count = N;
    static type &at(vec<T, N> &v, int i) { return v[i]; }
    static const type &at(const vec<T, N> &v, int i) { return v[i]; }
};

// The component type of V: V itself for a scalar.
template <class V>
using component_t = typename components<V>::type;

template <class V>
inline constexpr bool is_scalar = components<V>::count == 1;

// A value held exactly in its own type. On i386 the library returns floating
// results in an x87 register that may carry extra precision; the store drops
// it, so both targets go on with the same value (every single-precision
// library result goes through here: clang at -O0 widens the register's value
// to double unrounded otherwise). On x86-64 float and double
// results come back in SSE registers, which hold exactly the type's bits:
// nothing to drop, and the empty asm only keeps the optimiser from looking
// through the value (g++ 12 drops a float rounding between two double steps,
// as abs(T(dvec2)) has, when it vectorises them).
template <class T>
T strict(T x) {
#if defined(__x86_64__)
    if constexpr (!std::is_same_v<T, long double>)
        asm("" : "+x"(x));
    return x;
#else
    volatile T held = x;
    return held;
#endif
}

// The rule's result, taken at the rule's own type and then rounded once to
// the component type.
template <class C, class R>
C component_result(R r) {
    if constexpr (std::is_floating_point_v<R>)
        return static_cast<C>(strict(r));
    else
        return static_cast<C>(r);
}

// An argument as each() reads it: a scalar by value; a vector in place, each
// component copied out of the host's memory when the rule takes it (a copy
// of the whole vector first cost up to a tenth more on rows of a few library
// calls, exp(T(vec4)) among them).
template <class V>
auto pop_arg() {
    if constexpr (is_scalar<V>)
        return pop<V>();
    else
        return pop_place<V>();
}

template <class X>
struct value_of {
    using type = X;
};
template <class V>
struct value_of<Place<V>> {
    using type = V;
};

// Component i of a value, or of a vector in place (no alignment assumed).
template <class V>
const component_t<V> &component(const V &x, int i) {
    return components<V>::at(x, i);
}
template <class V>
component_t<V> component(const Place<V> &x, int i) {
    component_t<V> c;
    std::memcpy(&c, static_cast<const char *>(x.p) + i * sizeof c, sizeof c);
    return c;
}

// rule applied to each component in the order x, y, z, w. The result is a
// value of its own, built where the caller takes it: overwriting a copy of
// the argument and returning that made one more copy, whose wide loads of
// the narrow component stores stalled.
template <class X, class Rule>
auto each(const X &x, const Rule &rule) {
    using V = typename value_of<X>::type;
    using C = component_t<V>;
    V r;
    for (int i = 0; i < components<V>::count; ++i)
        components<V>::at(r, i) = component_result<C>(rule(component(x, i)));
    return r;
}

// rule applied to each pair of components: (a.x, b.x), (a.y, b.y), ...
template <class X, class Y, class Rule>
auto each(const X &a, const Y &b, const Rule &rule) {
    using V = typename value_of<X>::type;
    using C = component_t<V>;
    V r;
    for (int i = 0; i < components<V>::count; ++i)
        components<V>::at(r, i) = component_result<C>(rule(component(a, i), component(b, i)));
    return r;
}

// rule applied to each component with the one value s. A rule may prepare s
// once for the whole value through rule.with(s).
template <class X, class S, class Rule>
auto each_with(const X &a, S s, const Rule &rule) {
    if constexpr (requires { rule.with(s); })
        return each(a, rule.with(s));
    else
        return each(a, [&](auto c) { return rule(c, s); });
}

// One argument; the result has its type.
template <class V, class Rule>
void unary(const Rule &rule) {
    ret(each(pop_arg<V>(), rule));
}

// Two arguments, the second popped first; the result has the first's type.
// Two values of one type pair their components; otherwise every component of
// the first meets the one second value.
template <class A, class B = A, class Rule>
void binary(const Rule &rule) {
    const auto b = pop_arg<B>();
    const auto a = pop_arg<A>();
    if constexpr (std::is_same_v<A, B>)
        ret(each(a, b, rule));
    else
        ret(each_with(a, b, rule));
}

}  // namespace kav

// The int and ivec2..ivec4 routines of a family, each form<V>(args...).
#define KAV_INT_ROUTINES(int_routine, name, form, ...)                      \
    KAV_ROUTINE(int_routine) { form<int32_t>(__VA_ARGS__); }                \
    KAV_ROUTINE(KAV_##name##_ivec2) { form<kav::ivec2>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_ivec3) { form<kav::ivec3>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_ivec4) { form<kav::ivec4>(__VA_ARGS__); }

// The F, vec2..vec4, D and dvec2..dvec4 routines of a family.
#define KAV_FLOATING_ROUTINES(name, form, ...)                              \
    KAV_ROUTINE(KAV_##name##F) { form<float>(__VA_ARGS__); }                \
    KAV_ROUTINE(KAV_##name##_vec2) { form<kav::vec2>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_vec3) { form<kav::vec3>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_vec4) { form<kav::vec4>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##D) { form<double>(__VA_ARGS__); }               \
    KAV_ROUTINE(KAV_##name##_dvec2) { form<kav::dvec2>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_dvec3) { form<kav::dvec3>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_dvec4) { form<kav::dvec4>(__VA_ARGS__); }

// The vecN-with-F and dvecN-with-D routines of a family,
// form<vector, scalar>(args...).
#define KAV_VECTOR_SCALAR_ROUTINES(name, form, ...)                                 \
    KAV_ROUTINE(KAV_##name##_vec2F) { form<kav::vec2, float>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_vec3F) { form<kav::vec3, float>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_vec4F) { form<kav::vec4, float>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_dvec2D) { form<kav::dvec2, double>(__VA_ARGS__); }     \
    KAV_ROUTINE(KAV_##name##_dvec3D) { form<kav::dvec3, double>(__VA_ARGS__); }     \
    KAV_ROUTINE(KAV_##name##_dvec4D) { form<kav::dvec4, double>(__VA_ARGS__); }

#endif  // KAV_FRAME_COMPONENTWISE_H
