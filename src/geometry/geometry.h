// What the vector geometry families share: the arithmetic their components
// are carried in, component access for scalars and vectors alike, and the
// routine sets of the vector and box types.
//
// Intermediate precision: float components are widened to double for every
// product, sum and quotient, and the value is rounded to float once, where
// it is set or where it enters a single-precision square root. Double
// components are computed strictly in double. Int components wrap in 32 bits.
// All of it is plain IEEE double (SSE on i386 too), so both targets give the
// same bits.
#ifndef KAV_GEOMETRY_GEOMETRY_H
#define KAV_GEOMETRY_GEOMETRY_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "frame/componentwise.h"

namespace kav::geometry {

// An int component's arithmetic: 32 bits that wrap.
struct wrapping {
    uint32_t bits;
    constexpr wrapping(int32_t x = 0) : bits(static_cast<uint32_t>(x)) {}
    constexpr explicit operator int32_t() const { return static_cast<int32_t>(bits); }
    constexpr int32_t value() const { return static_cast<int32_t>(bits); }

    friend constexpr wrapping operator+(wrapping a, wrapping b) { return int32_t(a.bits + b.bits); }
    friend constexpr wrapping operator-(wrapping a, wrapping b) { return int32_t(a.bits - b.bits); }
    friend constexpr wrapping operator*(wrapping a, wrapping b) { return int32_t(a.bits * b.bits); }
    friend constexpr wrapping operator-(wrapping a) { return int32_t(0u - a.bits); }
    friend constexpr bool operator==(wrapping a, wrapping b) { return a.bits == b.bits; }
    friend constexpr auto operator<=>(wrapping a, wrapping b) { return a.value() <=> b.value(); }
};

template <class T>
struct carried {
    using type = double;
};
template <>
struct carried<int32_t> {
    using type = wrapping;
};

// The type a component of type T is computed in.
template <class T>
using carried_t = typename carried<T>::type;

// V's component type and the type it is computed in.
template <class V>
using C = component_t<V>;
template <class V>
using W = carried_t<component_t<V>>;

// Rounds a carried value to the component type, once; a value already of
// that type stays as it is.
template <class T, class X>
T settle(X x) {
    return static_cast<T>(x);
}

// The square root in the precision of the type: sqrtf for floats.
inline float root(float x) { return strict(sqrtf(x)); }
inline double root(double x) { return std::sqrt(x); }

template <class V>
inline constexpr int count = components<V>::count;

// Arguments come by take<V>() (componentwise.h): a scalar by value, a vector
// or box as the Place where the host holds it, read after the last pop;
// part(v, i) is component i of either (a box's edges are l, b, r, t).

// Component i of V, carried.
template <class A>
inline auto at(const A &v, int i) {
    return carried_t<decltype(part(v, i))>(part(v, i));
}

// -x in the type of x, where it is exact: a float is not widened for a
// negation. Ints wrap.
template <class T>
T negative(T x) {
    if constexpr (std::is_integral_v<T>)
        return neg(x);
    else
        return -x;
}

// f(0), f(1), ... as a pack, written out in line: a loop over the few
// components is not always unrolled, and then keeps its values in memory.
template <class V, class F>
inline decltype(auto) unrolled(const F &f) {
    return [&]<int... I>(std::integer_sequence<int, I...>) -> decltype(auto) {
        return f(std::integral_constant<int, I>{}...);
    }(std::make_integer_sequence<int, count<V>>{});
}

// A V whose component i is f(i), rounded once. Every component is computed
// before the first is stored: a store into the result might alias an
// argument still to be read, and would keep the components from being
// computed two at a time.
template <class V, class F>
inline V build(const F &f) {
    if constexpr (is_scalar<V>) {
        return settle<V>(f(0));
    } else {
        return unrolled<V>([&](auto... i) {
            const C<V> c[] = {settle<C<V>>(f(i))...};
            V v;
            ((v[i] = c[i]), ...);
            return v;
        });
    }
}

// f(0) + f(1) + ... in component order.
template <class V, class F>
inline W<V> sum(const F &f) {
    return unrolled<V>([&](auto... i) { return (... + W<V>(f(i))); });
}

// The smaller and the larger of two values; when they are unordered (a NaN)
// the second is kept.
template <class T>
T lesser(T a, T b) {
    return a < b ? a : b;
}
template <class T>
T greater(T a, T b) {
    return a > b ? a : b;
}

}  // namespace kav::geometry

// One routine KAV_<type>_<name> per vector type, each form<type>(args...).
#define KAV_VECTOR_ROUTINE(type, name, form, ...) \
    KAV_ROUTINE(KAV_##type##_##name) { form<kav::type>(__VA_ARGS__); }

#define KAV_FLOAT_VECTOR_ROUTINES(name, form, ...)       \
    KAV_VECTOR_ROUTINE(vec2, name, form, __VA_ARGS__)    \
    KAV_VECTOR_ROUTINE(vec3, name, form, __VA_ARGS__)    \
    KAV_VECTOR_ROUTINE(vec4, name, form, __VA_ARGS__)
#define KAV_INT_VECTOR_ROUTINES(name, form, ...)         \
    KAV_VECTOR_ROUTINE(ivec2, name, form, __VA_ARGS__)   \
    KAV_VECTOR_ROUTINE(ivec3, name, form, __VA_ARGS__)   \
    KAV_VECTOR_ROUTINE(ivec4, name, form, __VA_ARGS__)
#define KAV_DOUBLE_VECTOR_ROUTINES(name, form, ...)      \
    KAV_VECTOR_ROUTINE(dvec2, name, form, __VA_ARGS__)   \
    KAV_VECTOR_ROUTINE(dvec3, name, form, __VA_ARGS__)   \
    KAV_VECTOR_ROUTINE(dvec4, name, form, __VA_ARGS__)
#define KAV_VECTOR_ROUTINES(name, form, ...)             \
    KAV_FLOAT_VECTOR_ROUTINES(name, form, __VA_ARGS__)   \
    KAV_INT_VECTOR_ROUTINES(name, form, __VA_ARGS__)     \
    KAV_DOUBLE_VECTOR_ROUTINES(name, form, __VA_ARGS__)

// The 2-component forms only: vec2, ivec2, dvec2.
#define KAV_PLANE_ROUTINES(name, form, ...)              \
    KAV_VECTOR_ROUTINE(vec2, name, form, __VA_ARGS__)    \
    KAV_VECTOR_ROUTINE(ivec2, name, form, __VA_ARGS__)   \
    KAV_VECTOR_ROUTINE(dvec2, name, form, __VA_ARGS__)

// One routine KAV_<box>_<name> per box type, each form<element>(args...).
#define KAV_BOX_ROUTINES(name, form, ...)                                      \
    KAV_ROUTINE(KAV_bbox_##name) { form<float>(__VA_ARGS__); }                 \
    KAV_ROUTINE(KAV_ibbox_##name) { form<int32_t>(__VA_ARGS__); }              \
    KAV_ROUTINE(KAV_dbbox_##name) { form<double>(__VA_ARGS__); }

#endif  // KAV_GEOMETRY_GEOMETRY_H
