// What the matrix families share: the shape lists from which every routine
// is instantiated, element arithmetic per element type, and matrix references.
//
// A matrix of shape AxB is one flat array of A times B elements; every rule
// is written on that flat index.
#ifndef KAV_MATRIX_MATRIX_H
#define KAV_MATRIX_MATRIX_H

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "frame/frame.h"

// The nine shapes of one element type: X(prefix, element, shape, A, B), where
// the routine names read KAV_<prefix><shape>... (KAV_imat2x3_add).
#define KAV_MAT_SHAPES(X, p, T)                                              \
    X(p, T, 2, 2, 2) X(p, T, 2x3, 2, 3) X(p, T, 2x4, 2, 4)                   \
    X(p, T, 3x2, 3, 2) X(p, T, 3, 3, 3) X(p, T, 3x4, 3, 4)                   \
    X(p, T, 4x2, 4, 2) X(p, T, 4x3, 4, 3) X(p, T, 4, 4, 4)

// The three square shapes: X(prefix, element, shape, N).
#define KAV_MAT_SQUARES(X, p, T) X(p, T, 2, 2) X(p, T, 3, 3) X(p, T, 4, 4)

// Every shape of every element type: float, int, double.
#define KAV_MAT_TYPES(LIST, X)                                               \
    LIST(X, mat, float) LIST(X, imat, int32_t) LIST(X, dmat, double)

namespace kav::matrix {

template <class T>
inline constexpr bool is_int = std::is_same_v<T, int32_t>;

// Element arithmetic in the element type: int wraps, floating is IEEE. Function
// objects, so that the element-wise forms inline them.
struct Plus {
    template <class T>
    T operator()(T a, T b) const {
        if constexpr (is_int<T>) return kav::add(a, b);
        else return a + b;
    }
};
inline constexpr Plus plus{};
struct Minus {
    template <class T>
    T operator()(T a, T b) const {
        if constexpr (is_int<T>) return kav::sub(a, b);
        else return a - b;
    }
};
inline constexpr Minus minus{};
struct Times {
    template <class T>
    T operator()(T a, T b) const {
        if constexpr (is_int<T>) return kav::mul(a, b);
        else return a * b;
    }
};
inline constexpr Times times{};
struct Negated {
    template <class T>
    T operator()(T a) const {
        if constexpr (is_int<T>) return kav::neg(a);
        else return -a;
    }
};
inline constexpr Negated negated{};

// A matrix reference or a vector argument, read element by element where a
// rule reads it rather than copied whole first (a comparison may stop at its
// first element). Each element is read by copy, so no alignment is assumed of
// the host. A reference may be absent.
template <class T, int N>
struct Elements {
    static constexpr int size = N;
    const unsigned char *p;
    explicit operator bool() const { return p != nullptr; }
    T operator[](int i) const {
        T v;
        std::memcpy(&v, p + i * sizeof(T), sizeof v);
        return v;
    }
};
template <class M>
struct Operand;
template <class T, int A, int B>
struct Operand<mat<T, A, B>> : Elements<T, A * B> {};
template <class T, int N>
struct Operand<vec<T, N>> : Elements<T, N> {};

template <class M>
Operand<M> pop_matrix() {
    return {{static_cast<const unsigned char *>(pop_ref<M>().p)}};
}

// A vector argument (T(vecN)), read the same way.
template <class V>
Operand<V> pop_vector() {
    return {{static_cast<const unsigned char *>(pop_place<V>().p)}};
}

// f.template operator()<I>() for I = 0 .. N-1, unrolled: straight-line code,
// every index a constant of its routine (the products check each read
// against its operand at compile time).
template <int N, class F>
void unrolled(const F &f) {
    [&]<int... I>(std::integer_sequence<int, I...>) {
        (f.template operator()<I>(), ...);
    }(std::make_integer_sequence<int, N>{});
}

// Sets the call's result: the matrix that fill(r) writes whole. The fills
// take r as a restrict reference (auto &__restrict r): the operands are host
// memory, never r, and knowing it lets the compiler run the element loops on
// whole vectors.
template <class M, class Fill>
void ret_filled(const Fill &fill) {
    M r;
    fill(r);
    ret(r);
}

// The same, or all zeros when an operand is absent (present false).
template <class M, class Fill>
void ret_or_zeros(bool present, const Fill &fill) {
    if (present)
        ret_filled<M>(fill);
    else
        ret(M{});
}

}  // namespace kav::matrix

#endif  // KAV_MATRIX_MATRIX_H
