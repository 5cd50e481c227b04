// mat_outerproduct: a vector of A components and one of B give matBxA.
//
// The table binds the int and double vector rows to the float routines, and
// every vec3-by-vec4 row to the mat3x4 routine (four components first, three
// second). Those rows read their arguments' bytes as floats; intended. The
// int, double and mat4x3 routines are exported but in no row.
#include "matrix.h"

namespace {

// Written as B groups of A: r[j*A + i] = a[i] * b[j].
template <class T, int A, int B>
void outer() {
    const auto b = kav::matrix::pop_vector<kav::vec<T, B>>();
    const auto a = kav::matrix::pop_vector<kav::vec<T, A>>();
    // Plain loops, which the compiler turns into packed products: the rows
    // that pass ints read them as subnormal floats, where each scalar product
    // would pay its own microcode assist.
    kav::matrix::ret_filled<kav::mat<T, B, A>>([&](auto &__restrict r) {
        for (int j = 0; j < B; ++j)
            for (int i = 0; i < A; ++i) r.m[j * A + i] = kav::matrix::times(a[i], b[j]);
    });
}

}  // namespace

// KAV_<prefix><shape>_outerproduct with shape AxB takes a B-vector and an
// A-vector.
#define KAV_OUTER_ROUTINE(p, T, shape, A, B) \
    KAV_ROUTINE(KAV_##p##shape##_outerproduct) { outer<T, B, A>(); }

KAV_MAT_TYPES(KAV_MAT_SHAPES, KAV_OUTER_ROUTINE)
