// The shapes the exponential families share: a scalar rule applied to a
// scalar or to each component of a vector, and the routine forms built on it.
//
// A rule returns its result at its own working precision (double for most);
// the form rounds it to the argument's type once, when the result is set.
#ifndef KAV_EXPONENTIAL_ELEMENTWISE_H
#define KAV_EXPONENTIAL_ELEMENTWISE_H

#include <type_traits>

#include "frame.h"

namespace kav::exponential {

// ln 2 as each precision class uses it in exp2 and log2. The float forms take
// the single-precision value even where they compute in double.
inline constexpr float LN2_SINGLE = 0.693147182464599609375f;
inline constexpr double LN2_DOUBLE = 0.6931471805599453;

template <class T>
concept scalar = std::is_arithmetic_v<T>;

template <scalar T, class Rule>
T each(T x, Rule rule) {
    return static_cast<T>(rule(x));
}

template <class T, int N, class Rule>
vec<T, N> each(vec<T, N> v, Rule rule) {
    for (int i = 0; i < N; ++i)
        v[i] = each(v[i], rule);
    return v;
}

template <scalar T, scalar U, class Rule>
T each(T a, U b, Rule rule) {
    return static_cast<T>(rule(a, b));
}

// Two vectors: components paired.
template <class T, int N, class Rule>
vec<T, N> each(vec<T, N> a, const vec<T, N> &b, Rule rule) {
    for (int i = 0; i < N; ++i)
        a[i] = each(a[i], b[i], rule);
    return a;
}

// A vector and one scalar: every component with the same scalar. A rule may
// prepare the scalar once for the whole vector through with(s).
template <class T, int N, class Rule>
vec<T, N> each(const vec<T, N> &a, T s, Rule rule) {
    if constexpr (requires { rule.with(s); })
        return each(a, rule.with(s));
    else
        return each(a, [rule, s](T x) { return rule(x, s); });
}

// Pops the argument and sets the rule's result.
template <class A, class Rule>
void unary() {
    ret(each(pop<A>(), Rule{}));
}

// Pops the second argument first, then the first; sets the rule's result.
template <class A, class B, class Rule>
void binary() {
    const B b = pop<B>();
    const A a = pop<A>();
    ret(each(a, b, Rule{}));
}

}  // namespace kav::exponential

// The vector forms of a one-argument family for one size N: vecN and dvecN.
#define KAV_UNARY_VECTOR_FORMS_OF_SIZE(name, Rule, N)                                         \
    KAV_ROUTINE(KAV_##name##_vec##N) { kav::exponential::unary<kav::vec##N, Rule>(); }       \
    KAV_ROUTINE(KAV_##name##_dvec##N) { kav::exponential::unary<kav::dvec##N, Rule>(); }

// The vector forms of a one-argument family: vec2..vec4, dvec2..dvec4.
#define KAV_UNARY_VECTOR_FORMS(name, Rule)                                                    \
    KAV_UNARY_VECTOR_FORMS_OF_SIZE(name, Rule, 2)                                             \
    KAV_UNARY_VECTOR_FORMS_OF_SIZE(name, Rule, 3)                                             \
    KAV_UNARY_VECTOR_FORMS_OF_SIZE(name, Rule, 4)

// Every form of a one-argument family: F, D and the vectors.
#define KAV_UNARY_FORMS(name, Rule)                                                           \
    KAV_ROUTINE(KAV_##name##F) { kav::exponential::unary<float, Rule>(); }                    \
    KAV_ROUTINE(KAV_##name##D) { kav::exponential::unary<double, Rule>(); }                   \
    KAV_UNARY_VECTOR_FORMS(name, Rule)

// The forms of a two-argument family for one size N: (vecN,F), (vecN,vecN),
// (dvecN,D), (dvecN,dvecN).
#define KAV_BINARY_VECTOR_FORMS_OF_SIZE(name, Rule, N)                                        \
    KAV_ROUTINE(KAV_##name##_vec##N##F) {                                                     \
        kav::exponential::binary<kav::vec##N, float, Rule>();                                 \
    }                                                                                         \
    KAV_ROUTINE(KAV_##name##_vec##N) {                                                        \
        kav::exponential::binary<kav::vec##N, kav::vec##N, Rule>();                           \
    }                                                                                         \
    KAV_ROUTINE(KAV_##name##_dvec##N##D) {                                                    \
        kav::exponential::binary<kav::dvec##N, double, Rule>();                               \
    }                                                                                         \
    KAV_ROUTINE(KAV_##name##_dvec##N) {                                                       \
        kav::exponential::binary<kav::dvec##N, kav::dvec##N, Rule>();                         \
    }

// Every floating form of a two-argument family: (F,F), (D,D) and the vectors.
#define KAV_BINARY_FORMS(name, Rule)                                                          \
    KAV_ROUTINE(KAV_##name##F) { kav::exponential::binary<float, float, Rule>(); }            \
    KAV_ROUTINE(KAV_##name##D) { kav::exponential::binary<double, double, Rule>(); }          \
    KAV_BINARY_VECTOR_FORMS_OF_SIZE(name, Rule, 2)                                            \
    KAV_BINARY_VECTOR_FORMS_OF_SIZE(name, Rule, 3)                                            \
    KAV_BINARY_VECTOR_FORMS_OF_SIZE(name, Rule, 4)

#endif  // KAV_EXPONENTIAL_ELEMENTWISE_H
