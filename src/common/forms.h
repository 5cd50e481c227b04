// The common functions' shared forms: three-argument and mixed scalar/vector
// routines, the working precision of a form, and the routine sets whose names
// the frame's macros do not cover (a bare double routine, ivecN-with-I,
// scalar-then-vector).
#ifndef KAV_COMMON_FORMS_H
#define KAV_COMMON_FORMS_H

#include <type_traits>

#include "frame/componentwise.h"

namespace kav {

// Where a form computes "at extended precision" only in its float forms: the
// float forms carry long double, the double and int forms their own type.
template <class T>
using float_wide_t = std::conditional_t<std::is_same_v<T, float>, long double, T>;

// |x| for ints by the sign mask, exclusive or and subtraction: -2147483648
// wraps to itself. Written so rather than as a choice, the vector forms
// compute all components at once.
inline int32_t magnitude(int32_t x) {
    const uint32_t mask = 0u - (uint32_t(x) >> 31);
    return wrap((uint32_t(x) ^ mask) - mask);
}

// Three arguments of one type, the last popped first.
template <class V, class Rule>
void ternary(const Rule &rule) {
    const auto c = take<V>();
    const auto b = take<V>();
    const auto a = take<V>();
    ret(each(a, b, c, rule));
}

// (scalar, vector): every component of the vector, the last argument,
// meets the one scalar before it.
template <class S, class V, class Rule>
void scalar_then_vector(const Rule &rule) {
    const auto x = take<V>();
    const S s = pop<S>();
    ret(each(x, [&](auto c) { return rule(s, c); }));
}

// (scalar, scalar, vector), likewise.
template <class S, class V, class Rule>
void scalars_then_vector(const Rule &rule) {
    const auto x = take<V>();
    const S s1 = pop<S>();
    const S s0 = pop<S>();
    ret(each(x, [&](auto c) { return rule(s0, s1, c); }));
}

// (vector, vector, scalar): component pairs with the one last scalar.
template <class V, class Rule>
void pair_with_scalar(const Rule &rule) {
    using S = component_t<V>;
    const S s = pop<S>();
    const auto b = take<V>();
    const auto a = take<V>();
    ret(each(a, b, [&](auto p, auto q) { return rule(p, q, s); }));
}

// An int answer about one value: the classification tests.
template <class T, class Rule>
void predicate(const Rule &rule) {
    ret(static_cast<int32_t>(rule(pop<T>())));
}

}  // namespace kav

// The F and vec2..vec4 routines of a family, each form<V>(args...).
#define KAV_SINGLE_ROUTINES(float_routine, name, form, ...)                 \
    KAV_ROUTINE(float_routine) { form<float>(__VA_ARGS__); }                \
    KAV_ROUTINE(KAV_##name##_vec2) { form<kav::vec2>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_vec3) { form<kav::vec3>(__VA_ARGS__); }        \
    KAV_ROUTINE(KAV_##name##_vec4) { form<kav::vec4>(__VA_ARGS__); }

// The D and dvec2..dvec4 routines of a family.
#define KAV_DOUBLE_ROUTINES(double_routine, name, form, ...)                \
    KAV_ROUTINE(double_routine) { form<double>(__VA_ARGS__); }              \
    KAV_ROUTINE(KAV_##name##_dvec2) { form<kav::dvec2>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_dvec3) { form<kav::dvec3>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_dvec4) { form<kav::dvec4>(__VA_ARGS__); }

// The ivecN-with-I routines, form<vector, int32_t>(args...).
#define KAV_INT_VECTOR_SCALAR_ROUTINES(name, form, ...)                               \
    KAV_ROUTINE(KAV_##name##_ivec2I) { form<kav::ivec2, int32_t>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_ivec3I) { form<kav::ivec3, int32_t>(__VA_ARGS__); }      \
    KAV_ROUTINE(KAV_##name##_ivec4I) { form<kav::ivec4, int32_t>(__VA_ARGS__); }

// The F-then-vecN and D-then-dvecN routines, form<scalar, vector>(args...).
#define KAV_SCALAR_VECTOR_ROUTINES(name, form, ...)                                   \
    KAV_ROUTINE(KAV_##name##_Fvec2) { form<float, kav::vec2>(__VA_ARGS__); }          \
    KAV_ROUTINE(KAV_##name##_Fvec3) { form<float, kav::vec3>(__VA_ARGS__); }          \
    KAV_ROUTINE(KAV_##name##_Fvec4) { form<float, kav::vec4>(__VA_ARGS__); }          \
    KAV_ROUTINE(KAV_##name##_Ddvec2) { form<double, kav::dvec2>(__VA_ARGS__); }       \
    KAV_ROUTINE(KAV_##name##_Ddvec3) { form<double, kav::dvec3>(__VA_ARGS__); }       \
    KAV_ROUTINE(KAV_##name##_Ddvec4) { form<double, kav::dvec4>(__VA_ARGS__); }

#endif  // KAV_COMMON_FORMS_H
