// mat_add, mat_sub, mat_compmult, mat_neg, mat_eq, mat_ne and mat_transpose
// over every shape and element type.
#include "matrix.h"

namespace {

using kav::mat;
using kav::matrix::pop_matrix;
using kav::matrix::ret_or_zeros;
using kav::matrix::unrolled;

// r[i] = op(a[i], b[i]); a is the first argument, popped second. An absent
// reference gives all zeros.
template <class T, int A, int B, class Op>
void pairwise(const Op &op) {
    const auto b = pop_matrix<mat<T, A, B>>();
    const auto a = pop_matrix<mat<T, A, B>>();
    ret_or_zeros<mat<T, A, B>>(a && b, [&](auto &__restrict r) {
        for (int i = 0; i < A * B; ++i) r.m[i] = op(a[i], b[i]);
    });
}

template <class T, int A, int B>
void negate() {
    const auto a = pop_matrix<mat<T, A, B>>();
    ret_or_zeros<mat<T, A, B>>(bool(a), [&](auto &__restrict r) {
        for (int i = 0; i < A * B; ++i) r.m[i] = kav::matrix::negated(a[i]);
    });
}

// 1 when every pair of elements compares equal in the element type (a NaN
// never does), 0 otherwise; mat_ne answers the opposite. An absent reference
// makes both answer 0. The first unequal pair decides: no element after it
// is read. Inlined into each routine: the compiler would otherwise merge the
// identical bodies of two shapes (mat2x4, mat4x2) and reach one through a
// jump, a tenth of so short a call.
template <class T, int A, int B, bool answer_when_equal>
[[gnu::always_inline]] inline void compare() {
    const auto b = pop_matrix<mat<T, A, B>>();
    const auto a = pop_matrix<mat<T, A, B>>();
    if (!a || !b) {
        kav::ret(int32_t{0});
        return;
    }
    for (int i = 0; i < A * B; ++i)
        if (!(a[i] == b[i])) {
            kav::ret(int32_t{!answer_when_equal});
            return;
        }
    kav::ret(int32_t{answer_when_equal});
}

// matAxB read as B groups of A elements; group g becomes the g-th element of
// every group of the matBxA result.
template <class T, int A, int B>
void transpose() {
    const auto a = pop_matrix<mat<T, A, B>>();
    ret_or_zeros<mat<T, B, A>>(bool(a), [&](auto &__restrict r) {
        unrolled<B>([&]<int g>() { unrolled<A>([&]<int k>() { r.m[k * B + g] = a[g * A + k]; }); });
    });
}

}  // namespace

#define KAV_ELEMENTWISE_ROUTINES(p, T, shape, A, B)                                            \
    KAV_ROUTINE(KAV_##p##shape##_add) { pairwise<T, A, B>(kav::matrix::plus); }             \
    KAV_ROUTINE(KAV_##p##shape##_sub) { pairwise<T, A, B>(kav::matrix::minus); }            \
    KAV_ROUTINE(KAV_##p##shape##_compmult) { pairwise<T, A, B>(kav::matrix::times); }       \
    KAV_ROUTINE(KAV_##p##shape##_neg) { negate<T, A, B>(); }                                   \
    KAV_ROUTINE(KAV_##p##shape##_eq) { compare<T, A, B, true>(); }                               \
    KAV_ROUTINE(KAV_##p##shape##_ne) { compare<T, A, B, false>(); }                              \
    KAV_ROUTINE(KAV_##p##shape##_transpose) { transpose<T, A, B>(); }

KAV_MAT_TYPES(KAV_MAT_SHAPES, KAV_ELEMENTWISE_ROUTINES)
