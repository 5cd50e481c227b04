// mat_mul: a matrix times a scalar, or times a matrix of a matching shape.
//
// Products read matAxB as A groups of B elements (row i is m[i*B] ..
// m[i*B+B-1]). Most shapes follow the regular product; six routines per
// element type follow rules of their own, each named below, and are intended
// as they stand.
#include <utility>

#include "matrix.h"

namespace {

using kav::mat;
using kav::matrix::pop_matrix;

// The working type of a sum of products: float sums run at extended
// precision and are rounded once, when the element is stored; int sums wrap.
template <class T>
struct working {
    using type = T;
};
template <>
struct working<float> {
    using type = long double;
};
template <>
struct working<int32_t> {
    using type = uint32_t;
};

// f.template operator()<I>() for I = 0 .. N-1, unrolled: every index below is
// a constant of its routine, and every read is checked against its array at
// compile time.
template <int N, class F>
void unrolled(const F &f) {
    [&]<int... I>(std::integer_sequence<int, I...>) {
        (f.template operator()<I>(), ...);
    }(std::make_integer_sequence<int, N>{});
}

// a[IA + k*SA] * b[IB + k*SB] summed for k from 0 to N-1, left to right.
template <int N, int IA, int SA, int IB, int SB, class T, int NA, int NB>
T dot(const T (&a)[NA], const T (&b)[NB]) {
    static_assert(IA + (N - 1) * SA < NA && IB + (N - 1) * SB < NB);
    using W = typename working<T>::type;
    W s = W(a[IA]) * W(b[IB]);
    unrolled<N - 1>([&]<int k>() { s = s + W(a[IA + (k + 1) * SA]) * W(b[IB + (k + 1) * SB]); });
    return static_cast<T>(s);
}

// r[i*R + j] = sum over k of a[i*Q + k] * b[k*R + j].
struct Regular {
    template <class T, int P, int Q, int R>
    mat<T, P, R> operator()(const mat<T, P, Q> &a, const mat<T, Q, R> &b) const {
        mat<T, P, R> r;
        unrolled<P>([&]<int i>() {
            unrolled<R>([&]<int j>() { r.m[i * R + j] = dot<Q, i * Q, 1, j, R>(a.m, b.m); });
        });
        return r;
    }
};

// mat2 and mat3 squares: r[i*N + j] = sum over k of a[k*N + i] * b[j*N + k].
struct SquareByGroups {
    template <class T, int N>
    mat<T, N, N> operator()(const mat<T, N, N> &a, const mat<T, N, N> &b) const {
        mat<T, N, N> r;
        unrolled<N>([&]<int i>() {
            unrolled<N>([&]<int j>() { r.m[i * N + j] = dot<N, i, N, j * N, 1>(a.m, b.m); });
        });
        return r;
    }
};

// mat4 square: the same sums as SquareByGroups, stored transposed,
// r[j*4 + i]; so mat4 products follow another convention than mat2 and mat3.
struct Mat4Square {
    template <class T>
    mat<T, 4, 4> operator()(const mat<T, 4, 4> &a, const mat<T, 4, 4> &b) const {
        mat<T, 4, 4> r;
        unrolled<4>([&]<int i>() {
            unrolled<4>([&]<int j>() { r.m[j * 4 + i] = dot<4, i, 4, j * 4, 1>(a.m, b.m); });
        });
        return r;
    }
};

// mat2x3 times mat3x2: the mat2 square of a0..a3 and b0..b3; the other
// elements of both operands are never read.
struct Mat2x3By3x2 {
    template <class T>
    mat<T, 2, 2> operator()(const mat<T, 2, 3> &a, const mat<T, 3, 2> &b) const {
        const mat<T, 2, 2> a2{{a.m[0], a.m[1], a.m[2], a.m[3]}};
        const mat<T, 2, 2> b2{{b.m[0], b.m[1], b.m[2], b.m[3]}};
        return SquareByGroups{}(a2, b2);
    }
};

// mat3x4 times mat4x3: regular, except that r5 reads a7 where a6 belongs and
// the last row repeats the middle one in r6 and r7 (r8 alone is regular).
struct Mat3x4By4x3 {
    template <class T>
    mat<T, 3, 3> operator()(const mat<T, 3, 4> &a, const mat<T, 4, 3> &b) const {
        mat<T, 3, 3> r = Regular{}(a, b);
        const T row[4] = {a.m[4], a.m[5], a.m[7], a.m[7]};
        r.m[5] = dot<4, 0, 1, 2, 3>(row, b.m);
        r.m[6] = r.m[3];
        r.m[7] = r.m[4];
        return r;
    }
};

// mat4x2 times mat2x3: regular, except that the last row reads a6 twice and
// never a7.
struct Mat4x2By2x3 {
    template <class T>
    mat<T, 4, 3> operator()(mat<T, 4, 2> a, const mat<T, 2, 3> &b) const {
        a.m[7] = a.m[6];
        return Regular{}(a, b);
    }
};

// First operand PxQ, second QxR, popped first. An absent reference gives all
// zeros.
template <class T, int P, int Q, int R, class Rule>
void product(const Rule &rule) {
    const auto b = pop_matrix<mat<T, Q, R>>();
    const auto a = pop_matrix<mat<T, P, Q>>();
    kav::ret(a.present && b.present ? rule(a.value, b.value) : mat<T, P, R>{});
}

// r[i] = a[i] * s in the element type.
template <class T, int A, int B>
void scaled() {
    const T s = kav::pop<T>();
    const auto a = pop_matrix<mat<T, A, B>>();
    mat<T, A, B> r{};
    if (a.present)
        for (int i = 0; i < A * B; ++i) r.m[i] = kav::matrix::times(a.value.m[i], s);
    kav::ret(r);
}

}  // namespace

#define KAV_SCALED_ROUTINE(p, T, shape, A, B) \
    KAV_ROUTINE(KAV_##p##shape##S_mul) { scaled<T, A, B>(); }

// Every matrix product of one element type: X(prefix, element, name, P, Q, R,
// rule), the routine KAV_<prefix><name>_mul multiplying PxQ by QxR.
#define KAV_MAT_PRODUCTS(X, p, T)                                                             \
    X(p, T, 2, 2, 2, 2, SquareByGroups) X(p, T, 22x3, 2, 2, 3, Regular)                       \
    X(p, T, 22x4, 2, 2, 4, Regular)                                                           \
    X(p, T, 2x3, 2, 3, 2, Mat2x3By3x2) X(p, T, 2x33x3, 2, 3, 3, Regular)                      \
    X(p, T, 2x33x4, 2, 3, 4, Regular)                                                         \
    X(p, T, 2x4, 2, 4, 2, Regular) X(p, T, 2x44x3, 2, 4, 3, Regular)                          \
    X(p, T, 2x44x4, 2, 4, 4, Regular)                                                         \
    X(p, T, 3x22x2, 3, 2, 2, Regular) X(p, T, 3x2, 3, 2, 3, Regular)                          \
    X(p, T, 3x22x4, 3, 2, 4, Regular)                                                         \
    X(p, T, 33x2, 3, 3, 2, Regular) X(p, T, 3, 3, 3, 3, SquareByGroups)                       \
    X(p, T, 33x4, 3, 3, 4, Regular)                                                           \
    X(p, T, 3x44x2, 3, 4, 2, Regular) X(p, T, 3x4, 3, 4, 3, Mat3x4By4x3)                      \
    X(p, T, 3x44x4, 3, 4, 4, Regular)                                                         \
    X(p, T, 4x22x2, 4, 2, 2, Regular) X(p, T, 4x22x3, 4, 2, 3, Mat4x2By2x3)                   \
    X(p, T, 4x2, 4, 2, 4, Regular)                                                            \
    X(p, T, 4x33x2, 4, 3, 2, Regular) X(p, T, 4x33x3, 4, 3, 3, Regular)                       \
    X(p, T, 4x3, 4, 3, 4, Regular)                                                            \
    X(p, T, 44x2, 4, 4, 2, Regular) X(p, T, 44x3, 4, 4, 3, Regular)                           \
    X(p, T, 4, 4, 4, 4, Mat4Square)

#define KAV_PRODUCT_ROUTINE(p, T, name, P, Q, R, rule) \
    KAV_ROUTINE(KAV_##p##name##_mul) { product<T, P, Q, R>(rule{}); }

KAV_MAT_TYPES(KAV_MAT_SHAPES, KAV_SCALED_ROUTINE)
KAV_MAT_TYPES(KAV_MAT_PRODUCTS, KAV_PRODUCT_ROUTINE)
