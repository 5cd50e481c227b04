// Matrix constructors (matAxB_new in five forms), mat_null and mat_identity.
// The table binds only the float constructors; the int and double ones are
// exported all the same.
#include "matrix.h"

namespace {

using kav::mat;
using kav::pop;
using kav::matrix::unrolled;

template <class T, int A, int B>
void zeros() {
    kav::ret(mat<T, A, B>{});
}

// Every element, not only a diagonal, gets the one scalar.
template <class T, int A, int B>
void filled() {
    const T s = pop<T>();
    mat<T, A, B> r;
    for (T &e : r.m) e = s;
    kav::ret(r);
}

// One scalar per element; the last argument is the last element.
template <class T, int A, int B>
void from_elements() {
    mat<T, A, B> r;
    unrolled<A * B>([&]<int k>() { r.m[A * B - 1 - k] = pop<T>(); });
    kav::ret(r);
}

// B vectors of A components; the k-th argument fills group k, m[k*A] ..
// m[k*A+A-1].
template <class T, int A, int B>
void from_vectors() {
    mat<T, A, B> r;
    unrolled<B>([&]<int j>() {
        const kav::vec<T, A> v = pop<kav::vec<T, A>>();
        for (int c = 0; c < A; ++c) r.m[(B - 1 - j) * A + c] = v[c];
    });
    kav::ret(r);
}

// A copy of the referenced matrix's elements, zeros for an absent reference.
// The mat4x3 copy takes a mat3x4 reference: twelve elements either way, so
// the elements are copied unchanged.
template <class T, int A, int B>
void copied() {
    const kav::Place<mat<T, A, B>> ref = kav::pop_ref<mat<T, A, B>>();
    kav::ret(ref ? ref.load() : mat<T, A, B>{});
}

// Cleared in place, all bytes 0: written straight into the reference.
// Inlined into each routine, as compare() is (elementwise.cpp).
template <class T, int A, int B>
[[gnu::always_inline]] inline void cleared() {
    const kav::Place<mat<T, A, B>> ref = kav::pop_ref<mat<T, A, B>>();
    if (ref) [[likely]]
        std::memset(ref.p, 0, sizeof(mat<T, A, B>));
    kav::ret(int32_t{ref ? 1 : 0});
}

// 1 at m[i*N + i], 0 elsewhere: a constant, copied into the reference whole.
template <class T, int N>
constexpr mat<T, N, N> identity_matrix() {
    mat<T, N, N> r{};
    for (int i = 0; i < N; ++i) r.m[i * N + i] = T(1);
    return r;
}

template <class T, int N>
void identity() {
    static constexpr mat<T, N, N> one = identity_matrix<T, N>();
    const kav::Place<mat<T, N, N>> ref = kav::pop_ref<mat<T, N, N>>();
    if (ref) ref.store(one);
    kav::ret(int32_t{ref ? 1 : 0});
}

}  // namespace

#define KAV_CONSTRUCT_ROUTINES(p, T, shape, A, B)                              \
    KAV_ROUTINE(KAV_##p##shape##Z_new) { zeros<T, A, B>(); }                   \
    KAV_ROUTINE(KAV_##p##shape##S_new) { filled<T, A, B>(); }                  \
    KAV_ROUTINE(KAV_##p##shape##E_new) { from_elements<T, A, B>(); }           \
    KAV_ROUTINE(KAV_##p##shape##VEC_new) { from_vectors<T, A, B>(); }          \
    KAV_ROUTINE(KAV_##p##shape##_new) { copied<T, A, B>(); }                   \
    KAV_ROUTINE(KAV_##p##shape##_null) { cleared<T, A, B>(); }

#define KAV_IDENTITY_ROUTINE(p, T, shape, N) \
    KAV_ROUTINE(KAV_##p##shape##_identity) { identity<T, N>(); }

KAV_MAT_TYPES(KAV_MAT_SHAPES, KAV_CONSTRUCT_ROUTINES)
KAV_MAT_TYPES(KAV_MAT_SQUARES, KAV_IDENTITY_ROUTINE)
