// Component-wise application of a scalar rule, and the routine sets of a
// trigonometry family generated from one form template.
//
// A value of type V is a scalar (int32_t, float, double) or a vec<T, N>; a
// scalar counts as one component. Every family writes its scalar rule once
// and instantiates the int / float / double and 2- / 3- / 4-component
// routines from it.
#ifndef KAV_TRIG_COMPONENTWISE_H
#define KAV_TRIG_COMPONENTWISE_H

#include "frame.h"

namespace kav::trig {

template <class V>
struct components {
    using type = V;
    static constexpr int count = 1;
    static type &at(V &x, int) { return x; }
};
template <class T, int N>
struct components<vec<T, N>> {
    using type = T;
    static constexpr int count = N;
    static type &at(vec<T, N> &v, int i) { return v[i]; }
};

// The component type of V: V itself for a scalar.
template <class V>
using component_t = typename components<V>::type;

template <class V>
inline constexpr bool is_scalar = components<V>::count == 1;

// A library result held exactly in its own type. On i386 the library returns
// floating results in an x87 register that may carry extra precision; the
// store drops it, so both targets go on with the same value.
template <class T>
T strict(T x) {
    volatile T held = x;
    return held;
}

// rule applied to each component in the order x, y, z, w.
template <class V, class Rule>
V each(V x, Rule rule) {
    for (int i = 0; i < components<V>::count; ++i)
        components<V>::at(x, i) = rule(components<V>::at(x, i));
    return x;
}

// rule applied to each pair of components: (a.x, b.x), (a.y, b.y), ...
template <class V, class Rule>
V each(V a, V b, Rule rule) {
    for (int i = 0; i < components<V>::count; ++i)
        components<V>::at(a, i) = rule(components<V>::at(a, i), components<V>::at(b, i));
    return a;
}

// One argument of type V; the result has its type.
template <class V, class Rule>
void unary(Rule rule) {
    ret(each(pop<V>(), rule));
}

// Two arguments of type V: the second is popped first.
template <class V, class Rule>
void binary(Rule rule) {
    const V b = pop<V>();
    const V a = pop<V>();
    ret(each(a, b, rule));
}

}  // namespace kav::trig

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

#endif  // KAV_TRIG_COMPONENTWISE_H
