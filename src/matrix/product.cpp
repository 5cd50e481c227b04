// mat_mul: a matrix times a scalar, or times a matrix of a matching shape.
//
// Products read matAxB as A groups of B elements (row i is m[i*B] ..
// m[i*B+B-1]). Most shapes follow the regular product; six routines per
// element type follow rules of their own, each named below, and are intended
// as they stand.
#include "matrix.h"

namespace {

using kav::mat;
using kav::matrix::pop_matrix;
using kav::matrix::ret_or_zeros;
using kav::matrix::unrolled;

// The working type of a sum of products: float sums run in double and are
// rounded once, when the element is stored (double is more than float
// precision, and the product of two floats is exact in it; double steps are
// strict on both targets, SSE2 on i386 too); int sums wrap.
template <class T>
struct working {
    using type = T;
};
template <>
struct working<float> {
    using type = double;
};
template <>
struct working<int32_t> {
    using type = uint32_t;
};

// An operand read as it stands, except that index From reads index To.
template <class S, int From, int To>
struct Substituted {
    static constexpr int size = S::size;
    S operand;
    auto operator[](int i) const { return operand[i == From ? To : i]; }
};

// Sums that advance side by side: L lanes of W, or W itself for one lane.
template <class W, int L>
struct lanes {
    using type [[gnu::vector_size(L * sizeof(W))]] = W;
};
template <class W>
struct lanes<W, 1> {
    using type = W;
};

// How many sums of float elements run side by side, in doubles, when N of
// them are independent: two where N is even (each lane rounds as a lone
// double would). Other element types: one.
template <class T, int N>
inline constexpr int lane_count = std::is_same_v<T, float> && N % 2 == 0 ? 2 : 1;

// Lane l stored at r.m[I + l*S], rounded to the element type.
template <int I, int S, int L, class M, class WL>
void store_lanes(M &__restrict r, const WL &s) {
    using T = std::remove_reference_t<decltype(r.m[0])>;
    if constexpr (L == 1) {
        r.m[I] = static_cast<T>(s);
    } else {
        const auto t = __builtin_convertvector(s, typename lanes<T, L>::type);
        unrolled<L>([&]<int l>() { r.m[I + l * S] = t[l]; });
    }
}

// a[IA + k*SA] * b[IB + k*SB] summed for k from 0 to N-1, left to right, in
// the working type; lane l of L reads a and b l*LA and l*LB elements further
// on. a and b are matrix operands (or Substituted ones), read element by
// element.
template <int N, int IA, int SA, int IB, int SB, int L = 1, int LA = 0, int LB = 0, class SrcA, class SrcB>
auto dot_lanes(const SrcA &a, const SrcB &b) {
    static_assert(IA + (N - 1) * SA + (L - 1) * LA < SrcA::size);
    static_assert(IB + (N - 1) * SB + (L - 1) * LB < SrcB::size);
    using W = typename working<decltype(a[0])>::type;
    using WL = typename lanes<W, L>::type;
    auto term = [&]<int k>() -> WL {
        if constexpr (L == 1)
            return W(a[IA + k * SA]) * W(b[IB + k * SB]);
        else
            return WL{W(a[IA + k * SA]), W(a[IA + k * SA + LA])} * WL{W(b[IB + k * SB]), W(b[IB + k * SB + LB])};
    };
    WL s = term.template operator()<0>();
    unrolled<N - 1>([&]<int k>() { s = s + term.template operator()<k + 1>(); });
    return s;
}

// The same sum of one lane, rounded to the element type.
template <int N, int IA, int SA, int IB, int SB, class SrcA, class SrcB>
auto dot(const SrcA &a, const SrcB &b) {
    return static_cast<decltype(a[0])>(dot_lanes<N, IA, SA, IB, SB>(a, b));
}

// r[i*R + j] = sum over k of a[i*Q + k] * b[k*R + j]. The R sums of a row
// advance together, each still left to right: a[i*Q + k] times row k of b.
// Float b is widened once, before any element is stored, and float sums run
// two side by side where R is even; int and double b are read where they
// stand (a copy of an int operand was spilled: imat4x3 times imat3 cost 1.1
// times the plain loops).
struct Regular {
    template <int P, int Q, int R, class M, class SrcA, class SrcB>
    static void apply(M &__restrict r, const SrcA &a, const SrcB &b) {
        static_assert(P * Q <= SrcA::size && Q * R <= SrcB::size);
        using T = decltype(a[0]);
        using W = typename working<T>::type;
        constexpr bool widen = std::is_same_v<T, float>;
        constexpr int L = lane_count<T, R>;
        using WL = typename lanes<W, L>::type;
        W wb[widen ? Q * R : 1];
        if constexpr (widen) unrolled<Q * R>([&]<int e>() { wb[e] = W(b[e]); });
        // Elements e .. e+L-1 of b, in the working type.
        auto row_part = [&]<int e>() -> WL {
            if constexpr (L == 2) return WL{wb[e], wb[e + 1]};
            else if constexpr (widen) return wb[e];
            else return W(b[e]);
        };
        unrolled<P>([&]<int i>() {
            WL s[R / L];
            unrolled<R / L>([&]<int h>() { s[h] = W(a[i * Q]) * row_part.template operator()<L * h>(); });
            unrolled<Q - 1>([&]<int k>() {
                unrolled<R / L>([&]<int h>() {
                    s[h] = s[h] + W(a[i * Q + k + 1]) * row_part.template operator()<(k + 1) * R + L * h>();
                });
            });
            unrolled<R / L>([&]<int h>() { store_lanes<i * R + L * h, 1, L>(r, s[h]); });
        });
    }
};

// mat2 and mat3 squares: r[i*N + j] = sum over k of a[k*N + i] * b[j*N + k].
// mat2x3 times mat3x2 is the mat2 formula over a0..a3 and b0..b3; the other
// elements of both operands are never read. Consecutive i side by side.
struct SquareByGroups {
    template <int N, int, int, class M, class SrcA, class SrcB>
    static void apply(M &__restrict r, const SrcA &a, const SrcB &b) {
        constexpr int L = lane_count<decltype(a[0]), N>;
        unrolled<N / L>([&]<int h>() {
            unrolled<N>([&]<int j>() {
                store_lanes<L * h * N + j, N, L>(r, dot_lanes<N, L * h, N, j * N, 1, L, 1, 0>(a, b));
            });
        });
    }
};

// mat4 square: the same sums as SquareByGroups, stored transposed,
// r[j*4 + i]; so mat4 products follow another convention than mat2 and mat3.
struct Mat4Square {
    template <int, int, int, class M, class SrcA, class SrcB>
    static void apply(M &__restrict r, const SrcA &a, const SrcB &b) {
        unrolled<4>([&]<int i>() {
            unrolled<4>([&]<int j>() { r.m[j * 4 + i] = dot<4, i, 4, j * 4, 1>(a, b); });
        });
    }
};

// mat3x4 times mat4x3: regular, except that r5 reads a7 where a6 belongs and
// the last row repeats the middle one in r6 and r7 (r8 alone is regular).
struct Mat3x4By4x3 {
    template <int, int, int, class M, class SrcA, class SrcB>
    static void apply(M &__restrict r, const SrcA &a, const SrcB &b) {
        Regular::apply<3, 4, 3>(r, a, b);
        r.m[5] = dot<4, 4, 1, 2, 3>(Substituted<SrcA, 6, 7>{a}, b);
        r.m[6] = r.m[3];
        r.m[7] = r.m[4];
    }
};

// mat4x2 times mat2x3: regular, except that the last row reads a6 twice and
// never a7.
struct Mat4x2By2x3 {
    template <int, int, int, class M, class SrcA, class SrcB>
    static void apply(M &__restrict r, const SrcA &a, const SrcB &b) {
        Regular::apply<4, 2, 3>(r, Substituted<SrcA, 7, 6>{a}, b);
    }
};

// Each rule's apply<P, Q, R>(r, a, b) writes every element of r from the
// operands a (PxQ) and b (QxR).
//
// First operand PxQ, second QxR, popped first. An absent reference gives all
// zeros.
template <class T, int P, int Q, int R, class Rule>
void product() {
    const auto b = pop_matrix<mat<T, Q, R>>();
    const auto a = pop_matrix<mat<T, P, Q>>();
    ret_or_zeros<mat<T, P, R>>(a && b, [&](auto &__restrict r) { Rule::template apply<P, Q, R>(r, a, b); });
}

// r[i] = a[i] * s in the element type.
template <class T, int A, int B>
void scaled() {
    const T s = kav::pop<T>();
    const auto a = pop_matrix<mat<T, A, B>>();
    ret_or_zeros<mat<T, A, B>>(bool(a), [&](auto &__restrict r) {
        for (int i = 0; i < A * B; ++i) r.m[i] = kav::matrix::times(a[i], s);
    });
}

}  // namespace

#define KAV_SCALED_ROUTINE(p, T, shape, A, B) \
    KAV_ROUTINE(KAV_##p##shape##S_mul) { scaled<T, A, B>(); }

// Every matrix product of one element type: X(prefix, element, name, P, Q, R,
// rule), the routine KAV_<prefix><name>_mul multiplying PxQ by QxR.
#define KAV_MAT_PRODUCTS(X, p, T)                                                             \
    X(p, T, 2, 2, 2, 2, SquareByGroups) X(p, T, 22x3, 2, 2, 3, Regular)                       \
    X(p, T, 22x4, 2, 2, 4, Regular)                                                           \
    X(p, T, 2x3, 2, 3, 2, SquareByGroups) X(p, T, 2x33x3, 2, 3, 3, Regular)                   \
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
    KAV_ROUTINE(KAV_##p##name##_mul) { product<T, P, Q, R, rule>(); }

KAV_MAT_TYPES(KAV_MAT_SHAPES, KAV_SCALED_ROUTINE)
KAV_MAT_TYPES(KAV_MAT_PRODUCTS, KAV_PRODUCT_ROUTINE)
