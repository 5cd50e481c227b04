// What the matrix families share: the shape lists from which every routine
// is instantiated, element arithmetic per element type, and matrix references.
//
// A matrix of shape AxB is one flat array of A times B elements; every rule
// is written on that flat index.
#ifndef KAV_MATRIX_MATRIX_H
#define KAV_MATRIX_MATRIX_H

#include <cstdint>
#include <type_traits>

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

// A matrix reference, read whole: the matrix, or nothing when it is absent.
template <class M>
struct Ref {
    bool present;
    M value;
};
template <class M>
Ref<M> pop_matrix() {
    const Place<M> ref = pop_ref<M>();
    return ref ? Ref<M>{true, ref.load()} : Ref<M>{false, M{}};
}

}  // namespace kav::matrix

#endif  // KAV_MATRIX_MATRIX_H
