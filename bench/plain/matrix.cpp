// Plain readings of the matrices: construction, element-wise operations,
// products. A matrix matAxB is one flat array m of A*B elements.
#include "plain.h"

// ---- Element arithmetic per element type -------------------------------------
// F float, I int (wrapping, through uint32_t), D double. W_ is the working
// type of a product's sums: double for float (more than float precision, and a
// product of two floats is exact in it), the element's own type otherwise.

#define ADD_F(a, b) ((a) + (b))
#define ADD_I(a, b) ((int32_t)((uint32_t)(a) + (uint32_t)(b)))
#define ADD_D(a, b) ((a) + (b))
#define SUB_F(a, b) ((a) - (b))
#define SUB_I(a, b) ((int32_t)((uint32_t)(a) - (uint32_t)(b)))
#define SUB_D(a, b) ((a) - (b))
#define MUL_F(a, b) ((a) * (b))
#define MUL_I(a, b) ((int32_t)((uint32_t)(a) * (uint32_t)(b)))
#define MUL_D(a, b) ((a) * (b))
#define NEG_F(a) (-(a))
#define NEG_I(a) ((int32_t)(0u - (uint32_t)(a)))
#define NEG_D(a) (-(a))
#define T_F float
#define T_I int32_t
#define T_D double
#define W_F double
#define W_I uint32_t
#define W_D double
#define POP_F pop_float
#define POP_I pop_int
#define POP_D pop_double

// The nine shapes of one element type: X(p, K, shape, A, B); the type is
// p##shape (imat2x3) and K its element kind.
#define SHAPES(X, p, K)                                                      \
    X(p, K, mat2, 2, 2) X(p, K, mat2x3, 2, 3) X(p, K, mat2x4, 2, 4)          \
    X(p, K, mat3x2, 3, 2) X(p, K, mat3, 3, 3) X(p, K, mat3x4, 3, 4)          \
    X(p, K, mat4x2, 4, 2) X(p, K, mat4x3, 4, 3) X(p, K, mat4, 4, 4)
#define ALL_SHAPES(X) SHAPES(X, , F) SHAPES(X, i, I) SHAPES(X, d, D)

// ---- mat_add, mat_sub, mat_compmult, mat_neg ------------------------------------
// The result is cleared first: an absent reference leaves it all zeros.

#define PAIRWISE(name, OP, p, K, shape, A, B)                                \
    PLAIN(name "(TP(" #p #shape "),TP(" #p #shape "))") {                   \
        const p##shape *b = (const p##shape *)pop_struct_ptr();              \
        const p##shape *a = (const p##shape *)pop_struct_ptr();              \
        p##shape r;                                                          \
        memset(&r, 0, sizeof r);                                             \
        if (a && b)                                                          \
            for (int i = 0; i < A * B; i++) r.m[i] = OP##_##K(a->m[i], b->m[i]); \
        ret_struct(&r, sizeof r);                                            \
    }
#define ADD_READING(p, K, shape, A, B) PAIRWISE("mat_add", ADD, p, K, shape, A, B)
#define SUB_READING(p, K, shape, A, B) PAIRWISE("mat_sub", SUB, p, K, shape, A, B)
#define COMPMULT_READING(p, K, shape, A, B) PAIRWISE("mat_compmult", MUL, p, K, shape, A, B)
ALL_SHAPES(ADD_READING)
ALL_SHAPES(SUB_READING)
ALL_SHAPES(COMPMULT_READING)

#define NEG_READING(p, K, shape, A, B)                                       \
    PLAIN("mat_neg(TP(" #p #shape "))") {                                    \
        const p##shape *a = (const p##shape *)pop_struct_ptr();              \
        p##shape r;                                                          \
        memset(&r, 0, sizeof r);                                             \
        if (a)                                                               \
            for (int i = 0; i < A * B; i++) r.m[i] = NEG_##K(a->m[i]);       \
        ret_struct(&r, sizeof r);                                            \
    }
ALL_SHAPES(NEG_READING)

// ---- mat_eq, mat_ne ---------------------------------------------------------------
// An absent reference makes both answer 0; otherwise the first unequal pair
// (a NaN never equals) decides.

#define COMPARE_READING(name, if_equal, p, K, shape, A, B)                   \
    PLAIN(name "(TP(" #p #shape "),TP(" #p #shape "))") {                   \
        const p##shape *b = (const p##shape *)pop_struct_ptr();              \
        const p##shape *a = (const p##shape *)pop_struct_ptr();              \
        int32_t answer = 0;                                                  \
        if (a && b) {                                                        \
            answer = if_equal;                                               \
            for (int i = 0; i < A * B; i++)                                  \
                if (!(a->m[i] == b->m[i])) {                                 \
                    answer = !(if_equal);                                    \
                    break;                                                   \
                }                                                            \
        }                                                                    \
        ret_int(answer);                                                     \
    }
#define EQ_READING(p, K, shape, A, B) COMPARE_READING("mat_eq", 1, p, K, shape, A, B)
#define NE_READING(p, K, shape, A, B) COMPARE_READING("mat_ne", 0, p, K, shape, A, B)
ALL_SHAPES(EQ_READING)
ALL_SHAPES(NE_READING)

// ---- mat_transpose ------------------------------------------------------------------
// matAxB read as B groups of A: r[k*B + g] = a[g*A + k], a matBxA.

#define TRANSPOSE_READING(p, K, shape, A, B)                                 \
    PLAIN("mat_transpose(TP(" #p #shape "))") {                              \
        const p##shape *a = (const p##shape *)pop_struct_ptr();              \
        T_##K r[A * B];                                                      \
        memset(r, 0, sizeof r);                                              \
        if (a)                                                               \
            for (int g = 0; g < B; g++)                                      \
                for (int k = 0; k < A; k++) r[k * B + g] = a->m[g * A + k];  \
        ret_struct(r, sizeof r);                                             \
    }
ALL_SHAPES(TRANSPOSE_READING)

// ---- mat_null, mat_identity -------------------------------------------------------
// In place; 1, or 0 with nothing written for an absent reference.

#define NULL_READING(p, K, shape, A, B)                                      \
    PLAIN("mat_null(TP(" #p #shape "))") {                                   \
        p##shape *m = (p##shape *)pop_struct_ptr();                          \
        if (m) memset(m, 0, sizeof *m);                                      \
        ret_int(m ? 1 : 0);                                                  \
    }
ALL_SHAPES(NULL_READING)

#define IDENTITY_READING(p, K, shape, A, B)                                  \
    PLAIN("mat_identity(TP(" #p #shape "))") {                               \
        p##shape *m = (p##shape *)pop_struct_ptr();                          \
        if (m) {                                                             \
            memset(m, 0, sizeof *m);                                         \
            for (int i = 0; i < A; i++) m->m[i * A + i] = 1;                 \
        }                                                                    \
        ret_int(m ? 1 : 0);                                                  \
    }
#define SQUARES(X, p, K) X(p, K, mat2, 2, 2) X(p, K, mat3, 3, 3) X(p, K, mat4, 4, 4)
SQUARES(IDENTITY_READING, , F)
SQUARES(IDENTITY_READING, i, I)
SQUARES(IDENTITY_READING, d, D)

// ---- The float constructors ----------------------------------------------------------
// matAxB_new() zeros; (F) every element the scalar; (F, ...) the elements in
// order, the last popped first; (T(vecA), ...) B vectors, the k-th filling
// m[k*A] .. m[k*A+A-1]; (TP(matAxB)) a copy, zeros when absent. The mat4x3
// copy takes a mat3x4 reference: the twelve elements unchanged.

#define CONSTRUCTOR_READINGS(shape, A, B, elements, vectors, copied_from)    \
    PLAIN(#shape "_new()") {                                                 \
        shape r;                                                             \
        memset(&r, 0, sizeof r);                                             \
        ret_struct(&r, sizeof r);                                            \
    }                                                                        \
    PLAIN(#shape "_new(F)") {                                                \
        const float s = pop_float();                                         \
        shape r;                                                             \
        for (int i = 0; i < A * B; i++) r.m[i] = s;                          \
        ret_struct(&r, sizeof r);                                            \
    }                                                                        \
    PLAIN(#shape "_new(" elements ")") {                                     \
        shape r;                                                             \
        for (int i = A * B - 1; i >= 0; i--) r.m[i] = pop_float();           \
        ret_struct(&r, sizeof r);                                            \
    }                                                                        \
    PLAIN(#shape "_new(" vectors ")") {                                      \
        shape r;                                                             \
        for (int k = B - 1; k >= 0; k--) {                                   \
            const float *v = (const float *)pop_struct();                    \
            for (int c = 0; c < A; c++) r.m[k * A + c] = v[c];               \
        }                                                                    \
        ret_struct(&r, sizeof r);                                            \
    }                                                                        \
    PLAIN(#shape "_new(TP(" #copied_from "))") {                             \
        const copied_from *a = (const copied_from *)pop_struct_ptr();        \
        shape r;                                                             \
        if (a) memcpy(&r, a, sizeof r);                                      \
        else memset(&r, 0, sizeof r);                                        \
        ret_struct(&r, sizeof r);                                            \
    }

#define F4 "F,F,F,F"
CONSTRUCTOR_READINGS(mat2, 2, 2, F4, "T(vec2),T(vec2)", mat2)
CONSTRUCTOR_READINGS(mat2x3, 2, 3, "F,F,F,F,F,F", "T(vec2),T(vec2),T(vec2)", mat2x3)
CONSTRUCTOR_READINGS(mat2x4, 2, 4, F4 "," F4, "T(vec2),T(vec2),T(vec2),T(vec2)", mat2x4)
CONSTRUCTOR_READINGS(mat3x2, 3, 2, "F,F,F,F,F,F", "T(vec3),T(vec3)", mat3x2)
CONSTRUCTOR_READINGS(mat3, 3, 3, F4 "," F4 ",F", "T(vec3),T(vec3),T(vec3)", mat3)
CONSTRUCTOR_READINGS(mat3x4, 3, 4, F4 "," F4 "," F4, "T(vec3),T(vec3),T(vec3),T(vec3)", mat3x4)
CONSTRUCTOR_READINGS(mat4x2, 4, 2, F4 "," F4, "T(vec4),T(vec4)", mat4x2)
CONSTRUCTOR_READINGS(mat4x3, 4, 3, F4 "," F4 "," F4, "T(vec4),T(vec4),T(vec4)", mat3x4)
CONSTRUCTOR_READINGS(mat4, 4, 4, F4 "," F4 "," F4 "," F4, "T(vec4),T(vec4),T(vec4),T(vec4)", mat4)

// ---- mat_outerproduct -----------------------------------------------------------------
// Every row runs the float routine: a first vector of A floats and a second
// of B give r[j*A + i] = a[i] * b[j], A*B floats. The int and double rows
// read their arguments' bytes as floats; the (vec3, vec4) rows read four
// floats of the first (one past a vec3) and three of the second.

#define OUTER_READING(first, second, A, B)                                   \
    PLAIN("mat_outerproduct(T(" #first "),T(" #second "))") {                \
        const float *b = (const float *)pop_struct();                        \
        const float *a = (const float *)pop_struct();                        \
        float r[A * B];                                                      \
        for (int j = 0; j < B; j++)                                          \
            for (int i = 0; i < A; i++) r[j * A + i] = a[i] * b[j];          \
        ret_struct(r, sizeof r);                                             \
    }
#define OUTER_READINGS(p)                                                    \
    OUTER_READING(p##vec2, p##vec2, 2, 2) OUTER_READING(p##vec2, p##vec3, 2, 3) \
    OUTER_READING(p##vec2, p##vec4, 2, 4) OUTER_READING(p##vec3, p##vec2, 3, 2) \
    OUTER_READING(p##vec3, p##vec3, 3, 3) OUTER_READING(p##vec3, p##vec4, 4, 3) \
    OUTER_READING(p##vec4, p##vec2, 4, 2) OUTER_READING(p##vec4, p##vec3, 4, 3) \
    OUTER_READING(p##vec4, p##vec4, 4, 4)
OUTER_READINGS()
OUTER_READINGS(i)
OUTER_READINGS(d)

// ---- mat_mul by a scalar ------------------------------------------------------------------

#define SCALED_READING(p, K, shape, A, B)                                    \
    PLAIN("mat_mul(TP(" #p #shape ")," #K ")") {                             \
        const T_##K s = POP_##K();                                           \
        const p##shape *a = (const p##shape *)pop_struct_ptr();              \
        p##shape r;                                                          \
        memset(&r, 0, sizeof r);                                             \
        if (a)                                                               \
            for (int i = 0; i < A * B; i++) r.m[i] = MUL_##K(a->m[i], s);    \
        ret_struct(&r, sizeof r);                                            \
    }
ALL_SHAPES(SCALED_READING)

// ---- mat_mul of two matrices ------------------------------------------------------------
// matAxB read as A groups of B. The sums run left to right in W_K and are
// rounded to the element type once. An absent reference gives all zeros.

#define PRODUCT_HEAD(p, K, first, second, result)                            \
    const p##second *b = (const p##second *)pop_struct_ptr();                \
    const p##first *a = (const p##first *)pop_struct_ptr();                  \
    p##result r;                                                             \
    memset(&r, 0, sizeof r);

// Regular: matPxQ times matQxR, r[i*R + j] = sum over k of a[i*Q + k] * b[k*R + j].
#define REGULAR_READING(p, K, first, second, result, P, Q, R)                \
    PLAIN("mat_mul(TP(" #p #first "),TP(" #p #second "))") {                 \
        PRODUCT_HEAD(p, K, first, second, result)                            \
        if (a && b)                                                          \
            for (int i = 0; i < P; i++)                                      \
                for (int j = 0; j < R; j++) {                                \
                    W_##K s = (W_##K)a->m[i * Q] * (W_##K)b->m[j];           \
                    for (int k = 1; k < Q; k++)                              \
                        s += (W_##K)a->m[i * Q + k] * (W_##K)b->m[k * R + j]; \
                    r.m[i * R + j] = (T_##K)s;                               \
                }                                                            \
        ret_struct(&r, sizeof r);                                            \
    }

// mat2 and mat3 squares: r[i*N + j] = sum over k of a[k*N + i] * b[j*N + k];
// mat4 stores the same sums at r[j*4 + i]. STORE(i, j) is the place.
#define SQUARE_READING(p, K, shape, N, STORE)                                \
    PLAIN("mat_mul(TP(" #p #shape "),TP(" #p #shape "))") {                  \
        PRODUCT_HEAD(p, K, shape, shape, shape)                              \
        if (a && b)                                                          \
            for (int i = 0; i < N; i++)                                      \
                for (int j = 0; j < N; j++) {                                \
                    W_##K s = (W_##K)a->m[i] * (W_##K)b->m[j * N];           \
                    for (int k = 1; k < N; k++)                              \
                        s += (W_##K)a->m[k * N + i] * (W_##K)b->m[j * N + k]; \
                    r.m[STORE] = (T_##K)s;                                   \
                }                                                            \
        ret_struct(&r, sizeof r);                                            \
    }

// mat2x3 times mat3x2: the mat2 square of a0..a3 and b0..b3.
#define MAT2X3_BY_3X2_READING(p, K)                                          \
    PLAIN("mat_mul(TP(" #p "mat2x3),TP(" #p "mat3x2))") {                    \
        PRODUCT_HEAD(p, K, mat2x3, mat3x2, mat2)                             \
        if (a && b)                                                          \
            for (int i = 0; i < 2; i++)                                      \
                for (int j = 0; j < 2; j++)                                  \
                    r.m[i * 2 + j] = (T_##K)((W_##K)a->m[i] * (W_##K)b->m[j * 2] + \
                                             (W_##K)a->m[2 + i] * (W_##K)b->m[j * 2 + 1]); \
        ret_struct(&r, sizeof r);                                            \
    }

// mat3x4 times mat4x3: regular for r0..r4 and r8; r5 reads a7 where a6
// belongs; r6 and r7 repeat r3 and r4.
#define MAT3X4_BY_4X3_READING(p, K)                                          \
    PLAIN("mat_mul(TP(" #p "mat3x4),TP(" #p "mat4x3))") {                    \
        PRODUCT_HEAD(p, K, mat3x4, mat4x3, mat3)                             \
        if (a && b) {                                                        \
            for (int e = 0; e < 9; e++) {                                    \
                if (e >= 5 && e <= 7) continue;                              \
                const int i = e / 3, j = e % 3;                              \
                W_##K s = (W_##K)a->m[i * 4] * (W_##K)b->m[j];               \
                for (int k = 1; k < 4; k++)                                  \
                    s += (W_##K)a->m[i * 4 + k] * (W_##K)b->m[k * 3 + j];    \
                r.m[e] = (T_##K)s;                                           \
            }                                                                \
            r.m[5] = (T_##K)((W_##K)a->m[4] * (W_##K)b->m[2] + (W_##K)a->m[5] * (W_##K)b->m[5] + \
                             (W_##K)a->m[7] * (W_##K)b->m[8] + (W_##K)a->m[7] * (W_##K)b->m[11]); \
            r.m[6] = r.m[3];                                                 \
            r.m[7] = r.m[4];                                                 \
        }                                                                    \
        ret_struct(&r, sizeof r);                                            \
    }

// mat4x2 times mat2x3: regular, except that the last row reads a6 twice.
#define MAT4X2_BY_2X3_READING(p, K)                                          \
    PLAIN("mat_mul(TP(" #p "mat4x2),TP(" #p "mat2x3))") {                    \
        PRODUCT_HEAD(p, K, mat4x2, mat2x3, mat4x3)                           \
        if (a && b)                                                          \
            for (int i = 0; i < 4; i++)                                      \
                for (int j = 0; j < 3; j++) {                                \
                    const T_##K x1 = i == 3 ? a->m[6] : a->m[i * 2 + 1];     \
                    r.m[i * 3 + j] = (T_##K)((W_##K)a->m[i * 2] * (W_##K)b->m[j] + \
                                             (W_##K)x1 * (W_##K)b->m[3 + j]); \
                }                                                            \
        ret_struct(&r, sizeof r);                                            \
    }

#define PRODUCT_READINGS(p, K)                                                                 \
    SQUARE_READING(p, K, mat2, 2, i * 2 + j)                                                   \
    REGULAR_READING(p, K, mat2, mat2x3, mat2x3, 2, 2, 3)                                       \
    REGULAR_READING(p, K, mat2, mat2x4, mat2x4, 2, 2, 4)                                       \
    MAT2X3_BY_3X2_READING(p, K)                                                                \
    REGULAR_READING(p, K, mat2x3, mat3, mat2x3, 2, 3, 3)                                       \
    REGULAR_READING(p, K, mat2x3, mat3x4, mat2x4, 2, 3, 4)                                     \
    REGULAR_READING(p, K, mat2x4, mat4x2, mat2, 2, 4, 2)                                       \
    REGULAR_READING(p, K, mat2x4, mat4x3, mat2x3, 2, 4, 3)                                     \
    REGULAR_READING(p, K, mat2x4, mat4, mat2x4, 2, 4, 4)                                       \
    REGULAR_READING(p, K, mat3x2, mat2, mat3x2, 3, 2, 2)                                       \
    REGULAR_READING(p, K, mat3x2, mat2x3, mat3, 3, 2, 3)                                       \
    REGULAR_READING(p, K, mat3x2, mat2x4, mat3x4, 3, 2, 4)                                     \
    REGULAR_READING(p, K, mat3, mat3x2, mat3x2, 3, 3, 2)                                       \
    SQUARE_READING(p, K, mat3, 3, i * 3 + j)                                                   \
    REGULAR_READING(p, K, mat3, mat3x4, mat3x4, 3, 3, 4)                                       \
    REGULAR_READING(p, K, mat3x4, mat4x2, mat3x2, 3, 4, 2)                                     \
    MAT3X4_BY_4X3_READING(p, K)                                                                \
    REGULAR_READING(p, K, mat3x4, mat4, mat3x4, 3, 4, 4)                                       \
    REGULAR_READING(p, K, mat4x2, mat2, mat4x2, 4, 2, 2)                                       \
    MAT4X2_BY_2X3_READING(p, K)                                                                \
    REGULAR_READING(p, K, mat4x2, mat2x4, mat4, 4, 2, 4)                                       \
    REGULAR_READING(p, K, mat4x3, mat3x2, mat4x2, 4, 3, 2)                                     \
    REGULAR_READING(p, K, mat4x3, mat3, mat4x3, 4, 3, 3)                                       \
    REGULAR_READING(p, K, mat4x3, mat3x4, mat4, 4, 3, 4)                                       \
    REGULAR_READING(p, K, mat4, mat4x2, mat4x2, 4, 4, 2)                                       \
    REGULAR_READING(p, K, mat4, mat4x3, mat4x3, 4, 4, 3)                                       \
    SQUARE_READING(p, K, mat4, 4, j * 4 + i)
PRODUCT_READINGS(, F)
PRODUCT_READINGS(i, I)
PRODUCT_READINGS(d, D)
