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
// the component type. On x86-64 a result already of the component type is
// stored as it is: there is no excess precision to drop and no conversion
// for the optimiser to look through, and the components may then be
// computed together.
template <class C, class R>
C component_result(R r) {
#if defined(__x86_64__)
    if constexpr (std::is_same_v<R, C>)
        return r;
#endif
    if constexpr (std::is_floating_point_v<R>)
        return static_cast<C>(strict(r));
    else
        return static_cast<C>(r);
}

// The next argument of a form: a scalar by value; a vector as the place
// where the host holds it, its components read where the rule uses them,
// after the last pop (the host keeps its arguments until the call returns).
// A vector copied out before the next pop cost a store and a reload of every
// component, and reloads that span two stores do not forward.
template <class V>
auto take() {
    if constexpr (std::is_arithmetic_v<V>)
        return pop<V>();
    else
        return pop_place<V>();
}

// The value type of what a form holds: V for a V or for a Place<V>.
template <class X>
struct held {
    using type = X;
};
template <class V>
struct held<Place<V>> {
    using type = V;
};
template <class X>
using value_t = typename held<X>::type;

// Component i of a value, or of a vector where the host holds it.
template <class V>
component_t<V> part(const V &v, int i) {
    return components<V>::at(v, i);
}
template <class V>
element_t<V> part(const Place<V> &v, int i) {
    return v[i];
}

// f(i) for each component index in the order x, y, z, w. Unrolled, so that
// the components stay in registers; kept Rolled for rules that call the
// library, where the unrolled calls measured about a nanosecond a component
// slower (the next component's x87 steps were scheduled around each call).
template <bool Rolled, int N, class F>
void over_components(const F &f) {
    if constexpr (Rolled) {
#pragma GCC unroll 1
        for (int i = 0; i < N; ++i) f(i);
    } else {
#pragma GCC unroll 4
        for (int i = 0; i < N; ++i) f(i);
    }
}

// Whether a rule asks for the rolled loop (Rule::rolled).
template <class Rule>
inline constexpr bool rolled = requires { requires Rule::rolled; };

// rule applied to each component. The result is a value of its own,
// returned in place: overwriting the argument and returning it made a copy
// whose wide loads of the narrow component stores stall.
template <bool Rolled = false, class X, class Rule>
value_t<X> each(const X &x, const Rule &rule) {
    using V = value_t<X>;
    V r;
    over_components<Rolled, components<V>::count>([&](int i) {
        components<V>::at(r, i) = component_result<component_t<V>>(rule(part(x, i)));
    });
    return r;
}

// rule applied to each pair of components: (a.x, b.x), (a.y, b.y), ...
template <bool Rolled = false, class X, class Y, class Rule>
value_t<X> each(const X &a, const Y &b, const Rule &rule) {
    using V = value_t<X>;
    V r;
    over_components<Rolled, components<V>::count>([&](int i) {
        components<V>::at(r, i) = component_result<component_t<V>>(rule(part(a, i), part(b, i)));
    });
    return r;
}

// rule applied to each triple of components.
template <bool Rolled = false, class X, class Y, class Z, class Rule>
value_t<X> each(const X &a, const Y &b, const Z &c, const Rule &rule) {
    using V = value_t<X>;
    V r;
    over_components<Rolled, components<V>::count>([&](int i) {
        components<V>::at(r, i) =
            component_result<component_t<V>>(rule(part(a, i), part(b, i), part(c, i)));
    });
    return r;
}

// rule applied to each component with the one value s. A rule may prepare s
// once for the whole value through rule.with(s).
template <class X, class S, class Rule>
value_t<X> each_with(const X &a, S s, const Rule &rule) {
    if constexpr (requires { rule.with(s); })
        return each(a, rule.with(s));
    else
        return each(a, [&](auto c) { return rule(c, s); });
}

// One argument; the result has its type.
template <class V, class Rule>
void unary(const Rule &rule) {
    ret(each<rolled<Rule>>(take<V>(), rule));
}

// Two arguments, the second popped first; the result has the first's type.
// Two values of one type pair their components; otherwise every component of
// the first meets the one second value.
template <class A, class B = A, class Rule>
void binary(const Rule &rule) {
    const auto b = take<B>();
    const auto a = take<A>();
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
