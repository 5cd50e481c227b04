// Stamps for the plain readings of component-wise rows: the scalar rule is a
// function (fn_f for floats, fn_d for doubles, fn_i for ints), and each macro
// writes the PLAIN blocks of its forms, every component read in place through
// the popped pointer, last argument popped first.
#ifndef KAV_BENCH_PLAIN_EACH_H
#define KAV_BENCH_PLAIN_EACH_H

#include "plain.h"

// One vector argument.
#define PLAIN_EACH(sig, fn, V, C, N)                               \
    PLAIN(sig) {                                                   \
        const C *a = (const C *)pop_struct();                      \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = fn(a[i]);                                       \
        ret_struct(&r, sizeof r);                                  \
    }

// Two vectors, components paired.
#define PLAIN_EACH2(sig, fn, V, C, N)                              \
    PLAIN(sig) {                                                   \
        const C *b = (const C *)pop_struct();                      \
        const C *a = (const C *)pop_struct();                      \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = fn(a[i], b[i]);                                 \
        ret_struct(&r, sizeof r);                                  \
    }

// A vector and one scalar for every component.
#define PLAIN_EACH_WITH(sig, fn, V, C, pop_scalar, N)              \
    PLAIN(sig) {                                                   \
        const C s = pop_scalar();                                  \
        const C *a = (const C *)pop_struct();                      \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = fn(a[i], s);                                    \
        ret_struct(&r, sizeof r);                                  \
    }

// ---- A family's forms -------------------------------------------------------------

#define PLAIN_SCALARS(fam, fn_f, fn_d)                              \
    PLAIN(#fam "(F)") { ret_float(fn_f(pop_float())); }             \
    PLAIN(#fam "(D)") { ret_double(fn_d(pop_double())); }

#define PLAIN_SCALARS2(fam, fn_f, fn_d)                             \
    PLAIN(#fam "(F,F)") {                                           \
        const float b = pop_float();                                \
        const float a = pop_float();                                \
        ret_float(fn_f(a, b));                                      \
    }                                                               \
    PLAIN(#fam "(D,D)") {                                           \
        const double b = pop_double();                              \
        const double a = pop_double();                              \
        ret_double(fn_d(a, b));                                     \
    }

#define PLAIN_EACH_INT(fam, fn_i)                                   \
    PLAIN_EACH(#fam "(T(ivec2))", fn_i, ivec2, int32_t, 2)          \
    PLAIN_EACH(#fam "(T(ivec3))", fn_i, ivec3, int32_t, 3)          \
    PLAIN_EACH(#fam "(T(ivec4))", fn_i, ivec4, int32_t, 4)

// The six float and double vector forms of a family through one of the
// stamps above; `sig` writes a form's signature.
#define PLAIN_FLOATING_VECTORS(stamp, sig, fam, fn_f, fn_d)                   \
    stamp(sig(fam, vec2, F), fn_f, vec2, float, pop_float, 2)                 \
    stamp(sig(fam, vec3, F), fn_f, vec3, float, pop_float, 3)                 \
    stamp(sig(fam, vec4, F), fn_f, vec4, float, pop_float, 4)                 \
    stamp(sig(fam, dvec2, D), fn_d, dvec2, double, pop_double, 2)             \
    stamp(sig(fam, dvec3, D), fn_d, dvec3, double, pop_double, 3)             \
    stamp(sig(fam, dvec4, D), fn_d, dvec4, double, pop_double, 4)
#define PLAIN_SIG_ONE(fam, V, S) #fam "(T(" #V "))"
#define PLAIN_SIG_PAIR(fam, V, S) #fam "(T(" #V "),T(" #V "))"
#define PLAIN_SIG_WITH(fam, V, S) #fam "(T(" #V ")," #S ")"
#define PLAIN_STAMP_ONE(sig, fn, V, C, pop_scalar, N) PLAIN_EACH(sig, fn, V, C, N)
#define PLAIN_STAMP_PAIR(sig, fn, V, C, pop_scalar, N) PLAIN_EACH2(sig, fn, V, C, N)

#define PLAIN_EACH_FLOATING(fam, fn_f, fn_d) \
    PLAIN_FLOATING_VECTORS(PLAIN_STAMP_ONE, PLAIN_SIG_ONE, fam, fn_f, fn_d)
#define PLAIN_EACH2_FLOATING(fam, fn_f, fn_d) \
    PLAIN_FLOATING_VECTORS(PLAIN_STAMP_PAIR, PLAIN_SIG_PAIR, fam, fn_f, fn_d)
#define PLAIN_EACH_WITH_FLOATING(fam, fn_f, fn_d) \
    PLAIN_FLOATING_VECTORS(PLAIN_EACH_WITH, PLAIN_SIG_WITH, fam, fn_f, fn_d)

// A family whose scalar rules are fam_f and fam_d: its F and D forms and its
// vector forms, of one argument or of two paired.
#define PLAIN_UNARY_FAMILY(fam)                                    \
    PLAIN_SCALARS(fam, fam##_f, fam##_d)                           \
    PLAIN_EACH_FLOATING(fam, fam##_f, fam##_d)
#define PLAIN_BINARY_FAMILY(fam, fn_f, fn_d)                       \
    PLAIN_SCALARS2(fam, fn_f, fn_d)                                \
    PLAIN_EACH2_FLOATING(fam, fn_f, fn_d)

#endif  // KAV_BENCH_PLAIN_EACH_H
