// mat_add, mat_sub, mat_compmult, mat_neg, mat_eq, mat_ne and mat_transpose
// over every shape and element type.
#include "matrix.h"

namespace {

using kav::mat;
using kav::matrix::pop_matrix;

// r[i] = op(a[i], b[i]); a is the first argument, popped second. An absent
// reference gives all zeros.
template <class T, int A, int B, class Op>
void pairwise(const Op &op) {
    const auto b = pop_matrix<mat<T, A, B>>();
    const auto a = pop_matrix<mat<T, A, B>>();
    mat<T, A, B> r{};
    if (a.present && b.present)
        for (int i = 0; i < A * B; ++i) r.m[i] = op(a.value.m[i], b.value.m[i]);
    kav::ret(r);
}

template <class T, int A, int B>
void negate() {
    const auto a = pop_matrix<mat<T, A, B>>();
    mat<T, A, B> r{};
    if (a.present)
        for (int i = 0; i < A * B; ++i) r.m[i] = kav::matrix::negated(a.value.m[i]);
    kav::ret(r);
}

// 1 when every pair of elements compares equal in the element type (a NaN
// never does), 0 otherwise; mat_ne answers the opposite. An absent reference
// makes both answer 0.
template <class T, int A, int B>
void compare(bool answer_when_equal) {
    const auto b = pop_matrix<mat<T, A, B>>();
    const auto a = pop_matrix<mat<T, A, B>>();
    if (!a.present || !b.present) {
        kav::ret(int32_t{0});
        return;
    }
    bool equal = true;
    for (int i = 0; i < A * B && equal; ++i) equal = a.value.m[i] == b.value.m[i];
    kav::ret(int32_t{equal == answer_when_equal});
}

// matAxB read as B groups of A elements; group g becomes the g-th element of
// every group of the matBxA result.
template <class T, int A, int B>
void transpose() {
    const auto a = pop_matrix<mat<T, A, B>>();
    mat<T, B, A> r{};
    if (a.present)
        for (int g = 0; g < B; ++g)
            for (int k = 0; k < A; ++k) r.m[k * B + g] = a.value.m[g * A + k];
    kav::ret(r);
}

}  // namespace

#define KAV_ELEMENTWISE_ROUTINES(p, T, shape, A, B)                                            \
    KAV_ROUTINE(KAV_##p##shape##_add) { pairwise<T, A, B>(kav::matrix::plus); }             \
    KAV_ROUTINE(KAV_##p##shape##_sub) { pairwise<T, A, B>(kav::matrix::minus); }            \
    KAV_ROUTINE(KAV_##p##shape##_compmult) { pairwise<T, A, B>(kav::matrix::times); }       \
    KAV_ROUTINE(KAV_##p##shape##_neg) { negate<T, A, B>(); }                                   \
    KAV_ROUTINE(KAV_##p##shape##_eq) { compare<T, A, B>(true); }                               \
    KAV_ROUTINE(KAV_##p##shape##_ne) { compare<T, A, B>(false); }                              \
    KAV_ROUTINE(KAV_##p##shape##_transpose) { transpose<T, A, B>(); }

KAV_MAT_TYPES(KAV_MAT_SHAPES, KAV_ELEMENTWISE_ROUTINES)
