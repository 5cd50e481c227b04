// Plain readings of the common functions: sign, rounding, decomposition,
// minimum and maximum, interpolation and steps, fixed point.
//
// Each family's scalar rule is a small function per type (stamped out by a
// macro where the types read alike); the row shapes below apply it to the
// scalar and to each component, written out x, y, z, w.
#include <float.h>

#include "plain.h"

// ---- Row shapes ------------------------------------------------------------
// S is the scalar code (I, F, D), V the vector prefix (ivec, vec, dvec), pop
// and ret the scalar's runtime slots, fn the scalar rule.

// name(S) and name(T(V2..V4)).
#define UNARY_ROWS(name, S, V, pop, ret, fn)                                   \
    PLAIN(#name "(" #S ")") { ret(fn(pop())); }                                \
    PLAIN(#name "(T(" #V "2))") {                                              \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const V##2 r = {fn(a->x), fn(a->y)};                                   \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "3))") {                                              \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const V##3 r = {fn(a->x), fn(a->y), fn(a->z)};                         \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "4))") {                                              \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const V##4 r = {fn(a->x), fn(a->y), fn(a->z), fn(a->w)};               \
        ret_struct(&r, sizeof r);                                              \
    }

// name(S,S) and name(T(VN),T(VN)): b is popped first.
#define BINARY_ROWS(name, S, V, pop, ret, fn)                                  \
    PLAIN(#name "(" #S "," #S ")") {                                           \
        const auto b = pop();                                                  \
        const auto a = pop();                                                  \
        ret(fn(a, b));                                                         \
    }                                                                          \
    PLAIN(#name "(T(" #V "2),T(" #V "2))") {                                   \
        const V##2 *b = (const V##2 *)pop_struct();                            \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const V##2 r = {fn(a->x, b->x), fn(a->y, b->y)};                       \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "3),T(" #V "3))") {                                   \
        const V##3 *b = (const V##3 *)pop_struct();                            \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const V##3 r = {fn(a->x, b->x), fn(a->y, b->y), fn(a->z, b->z)};       \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "4),T(" #V "4))") {                                   \
        const V##4 *b = (const V##4 *)pop_struct();                            \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const V##4 r = {fn(a->x, b->x), fn(a->y, b->y), fn(a->z, b->z),        \
                        fn(a->w, b->w)};                                       \
        ret_struct(&r, sizeof r);                                              \
    }

// name(T(VN),S): the scalar s is popped first and meets every component.
#define VECTOR_SCALAR_ROWS(name, S, V, pop, fn)                                \
    PLAIN(#name "(T(" #V "2)," #S ")") {                                       \
        const auto s = pop();                                                  \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const V##2 r = {fn(a->x, s), fn(a->y, s)};                             \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "3)," #S ")") {                                       \
        const auto s = pop();                                                  \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const V##3 r = {fn(a->x, s), fn(a->y, s), fn(a->z, s)};                \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "4)," #S ")") {                                       \
        const auto s = pop();                                                  \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const V##4 r = {fn(a->x, s), fn(a->y, s), fn(a->z, s), fn(a->w, s)};   \
        ret_struct(&r, sizeof r);                                              \
    }

// name(S,T(VN)): the vector is popped first; the scalar s comes first in
// the rule.
#define SCALAR_VECTOR_ROWS(name, S, V, pop, fn)                                \
    PLAIN(#name "(" #S ",T(" #V "2))") {                                       \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const auto s = pop();                                                  \
        const V##2 r = {fn(s, a->x), fn(s, a->y)};                             \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(" #S ",T(" #V "3))") {                                       \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const auto s = pop();                                                  \
        const V##3 r = {fn(s, a->x), fn(s, a->y), fn(s, a->z)};                \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(" #S ",T(" #V "4))") {                                       \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const auto s = pop();                                                  \
        const V##4 r = {fn(s, a->x), fn(s, a->y), fn(s, a->z), fn(s, a->w)};   \
        ret_struct(&r, sizeof r);                                              \
    }

// name(S,S,S) and name(T(VN),T(VN),T(VN)): c, then b, then a.
#define TERNARY_ROWS(name, S, V, pop, ret, fn)                                 \
    PLAIN(#name "(" #S "," #S "," #S ")") {                                    \
        const auto c = pop();                                                  \
        const auto b = pop();                                                  \
        const auto a = pop();                                                  \
        ret(fn(a, b, c));                                                      \
    }                                                                          \
    PLAIN(#name "(T(" #V "2),T(" #V "2),T(" #V "2))") {                        \
        const V##2 *c = (const V##2 *)pop_struct();                            \
        const V##2 *b = (const V##2 *)pop_struct();                            \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const V##2 r = {fn(a->x, b->x, c->x), fn(a->y, b->y, c->y)};           \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "3),T(" #V "3),T(" #V "3))") {                        \
        const V##3 *c = (const V##3 *)pop_struct();                            \
        const V##3 *b = (const V##3 *)pop_struct();                            \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const V##3 r = {fn(a->x, b->x, c->x), fn(a->y, b->y, c->y),            \
                        fn(a->z, b->z, c->z)};                                 \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "4),T(" #V "4),T(" #V "4))") {                        \
        const V##4 *c = (const V##4 *)pop_struct();                            \
        const V##4 *b = (const V##4 *)pop_struct();                            \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const V##4 r = {fn(a->x, b->x, c->x), fn(a->y, b->y, c->y),            \
                        fn(a->z, b->z, c->z), fn(a->w, b->w, c->w)};           \
        ret_struct(&r, sizeof r);                                              \
    }

// name(S,S,S) and name(T(VN),T(VN),S): the scalar s is popped first and
// is every component pair's third operand.
#define PAIR_SCALAR_ROWS(name, S, V, pop, ret, fn)                             \
    PLAIN(#name "(" #S "," #S "," #S ")") {                                    \
        const auto s = pop();                                                  \
        const auto b = pop();                                                  \
        const auto a = pop();                                                  \
        ret(fn(a, b, s));                                                      \
    }                                                                          \
    PLAIN(#name "(T(" #V "2),T(" #V "2)," #S ")") {                            \
        const auto s = pop();                                                  \
        const V##2 *b = (const V##2 *)pop_struct();                            \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const V##2 r = {fn(a->x, b->x, s), fn(a->y, b->y, s)};                 \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "3),T(" #V "3)," #S ")") {                            \
        const auto s = pop();                                                  \
        const V##3 *b = (const V##3 *)pop_struct();                            \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const V##3 r = {fn(a->x, b->x, s), fn(a->y, b->y, s), fn(a->z, b->z, s)}; \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(T(" #V "4),T(" #V "4)," #S ")") {                            \
        const auto s = pop();                                                  \
        const V##4 *b = (const V##4 *)pop_struct();                            \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const V##4 r = {fn(a->x, b->x, s), fn(a->y, b->y, s), fn(a->z, b->z, s), \
                        fn(a->w, b->w, s)};                                    \
        ret_struct(&r, sizeof r);                                              \
    }

// name(S,S,T(VN)): the vector is popped first, then s1, then s0.
#define SCALARS_VECTOR_ROWS(name, S, V, pop, fn)                               \
    PLAIN(#name "(" #S "," #S ",T(" #V "2))") {                                \
        const V##2 *a = (const V##2 *)pop_struct();                            \
        const auto s1 = pop();                                                 \
        const auto s0 = pop();                                                 \
        const V##2 r = {fn(s0, s1, a->x), fn(s0, s1, a->y)};                   \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(" #S "," #S ",T(" #V "3))") {                                \
        const V##3 *a = (const V##3 *)pop_struct();                            \
        const auto s1 = pop();                                                 \
        const auto s0 = pop();                                                 \
        const V##3 r = {fn(s0, s1, a->x), fn(s0, s1, a->y), fn(s0, s1, a->z)}; \
        ret_struct(&r, sizeof r);                                              \
    }                                                                          \
    PLAIN(#name "(" #S "," #S ",T(" #V "4))") {                                \
        const V##4 *a = (const V##4 *)pop_struct();                            \
        const auto s1 = pop();                                                 \
        const auto s0 = pop();                                                 \
        const V##4 r = {fn(s0, s1, a->x), fn(s0, s1, a->y), fn(s0, s1, a->z),  \
                        fn(s0, s1, a->w)};                                     \
        ret_struct(&r, sizeof r);                                              \
    }

// ---- abs ----

// Two's complement: sign mask, exclusive or, subtract; -2147483648 stays.
static inline int32_t abs_i(int32_t v) {
    const uint32_t x = (uint32_t)v;
    const uint32_t mask = 0u - (x >> 31);
    return (int32_t)((x ^ mask) - mask);
}
// The double forms pass the magnitude through single precision. Rounding to
// nearest is symmetric, so |(float)x| is |x| rounded to float; written so
// because g++ 12 drops the rounding of (double)(float)fabs(x) when it
// vectorises two components.
static inline double abs_d(double x) { return (double)fabsf((float)x); }

UNARY_ROWS(abs, I, ivec, pop_int, ret_int, abs_i)
UNARY_ROWS(abs, F, vec, pop_float, ret_float, fabsf)
UNARY_ROWS(abs, D, dvec, pop_double, ret_double, abs_d)

// ---- ceil, floor, trunc, fract ----

// The float forms call the float library routines, the double forms the
// double ones.
UNARY_ROWS(ceil, F, vec, pop_float, ret_float, ceilf)
UNARY_ROWS(ceil, D, dvec, pop_double, ret_double, ceil)
UNARY_ROWS(floor, F, vec, pop_float, ret_float, floorf)
UNARY_ROWS(floor, D, dvec, pop_double, ret_double, floor)

// Toward zero through the double floor, rounded to the result type.
static inline double trunc_d(double x) { return x < 0 ? -floor(-x) : floor(x); }
static inline float trunc_f(float x) { return (float)trunc_d(x); }
UNARY_ROWS(trunc, F, vec, pop_float, ret_float, trunc_f)
UNARY_ROWS(trunc, D, dvec, pop_double, ret_double, trunc_d)

// x - floor(x) in double, rounded to the result type.
static inline double fract_d(double x) { return x - floor(x); }
static inline float fract_f(float x) { return (float)fract_d(x); }
UNARY_ROWS(fract, F, vec, pop_float, ret_float, fract_f)
UNARY_ROWS(fract, D, dvec, pop_double, ret_double, fract_d)

// ---- round, roundeven ----

// Halves away from zero: x -/+ 0.5f at extended precision, then the int
// conversion.
static inline int32_t round_half_away(long double x) {
    return to_int_ld(x < 0 ? x - 0.5f : x + 0.5f);
}
static inline float round_f(float x) { return (float)round_half_away(x); }
static inline double round_d(double x) { return (double)round_half_away(x); }
UNARY_ROWS(round, F, vec, pop_float, ret_float, round_f)
UNARY_ROWS(round, D, dvec, pop_double, ret_double, round_d)

// The fraction x - floor(x) in double (rounded to float in the float forms);
// an exact half (or NaN) takes the even rule, anything else rounds as round
// does.
#define ROUNDEVEN(T, n, to_int_n)                                              \
    static inline T roundeven_##n(T x) {                                       \
        const T f = (T)((double)x - floor((double)x));                         \
        int32_t r;                                                             \
        if (f == 0.5 || f != f) {                                              \
            const int32_t i = to_int_n(x);                                     \
            if (i % 2 == 0)                                                    \
                r = i;                                                         \
            else                                                               \
                r = (int32_t)(x > 0 ? (uint32_t)i + 1u : (uint32_t)i - 1u);    \
        } else {                                                               \
            r = round_half_away(x);                                            \
        }                                                                      \
        return (T)r;                                                           \
    }
ROUNDEVEN(float, f, to_int_f)
ROUNDEVEN(double, d, to_int_d)
UNARY_ROWS(roundeven, F, vec, pop_float, ret_float, roundeven_f)
UNARY_ROWS(roundeven, D, dvec, pop_double, ret_double, roundeven_d)

// ---- copysign ----

// For ints |a| as abs takes it, negated where b is negative.
PLAIN("copysign(I,I)") {
    const int32_t b = pop_int();
    const int32_t m = abs_i(pop_int());
    ret_int(b < 0 ? (int32_t)(0u - (uint32_t)m) : m);
}
PLAIN("copysign(F,F)") {
    const float b = pop_float();
    const float a = pop_float();
    ret_float(copysignf(a, b));
}
PLAIN("copysign(D,D)") {
    const double b = pop_double();
    const double a = pop_double();
    ret_double(copysign(a, b));
}

// ---- fmod, imod ----

// The double library routine; the float form widens and rounds once.
PLAIN("fmod(F,F)") {
    const float y = pop_float();
    const float x = pop_float();
    ret_float((float)fmod(x, y));
}
PLAIN("fmod(D,D)") {
    const double y = pop_double();
    const double x = pop_double();
    ret_double(fmod(x, y));
}
// Timed on ordinary operands only: a zero divisor faults by design.
PLAIN("imod(I,I)") {
    const int32_t b = pop_int();
    const int32_t a = pop_int();
    ret_int(a % b);
}

// ---- modf, frexp, ldexp ----

// The integral part goes to the variable as a double, 8 bytes also behind
// the float reference.
PLAIN("modf(F,FP)") {
    float *v = pop_float_ptr();
    const float x = pop_float();
    double whole;
    const double fraction = modf(x, &whole);
    memcpy(v, &whole, sizeof whole);
    ret_float((float)fraction);
}
PLAIN("modf(D,DP)") {
    double *v = pop_double_ptr();
    const double x = pop_double();
    double whole;
    const double fraction = modf(x, &whole);
    memcpy(v, &whole, sizeof whole);
    ret_double(fraction);
}
PLAIN("frexp(F,IP)") {
    int32_t *e = pop_int_ptr();
    const float x = pop_float();
    int exponent;
    const double mantissa = frexp(x, &exponent);
    *e = exponent;
    ret_float((float)mantissa);
}
PLAIN("frexp(D,IP)") {
    int32_t *e = pop_int_ptr();
    const double x = pop_double();
    int exponent;
    const double mantissa = frexp(x, &exponent);
    *e = exponent;
    ret_double(mantissa);
}
PLAIN("ldexp(F,I)") {
    const int32_t n = pop_int();
    const float x = pop_float();
    ret_float((float)ldexp(x, n));
}
PLAIN("ldexp(D,I)") {
    const int32_t n = pop_int();
    const double x = pop_double();
    ret_double(ldexp(x, n));
}

// ---- isfinite, isinfinite, isnan ----

PLAIN("isfinite(F)") { ret_int(fabs((double)pop_float()) <= DBL_MAX); }
PLAIN("isfinite(D)") { ret_int(fabs(pop_double()) <= DBL_MAX); }
PLAIN("isinfinite(F)") {
    const float x = pop_float();
    ret_int(isinf(x) ? (signbit(x) ? -1 : 1) : 0);
}
PLAIN("isinfinite(D)") {
    const double x = pop_double();
    ret_int(isinf(x) ? (signbit(x) ? -1 : 1) : 0);
}
PLAIN("isnan(F)") { ret_int(isnan((double)pop_float())); }
PLAIN("isnan(D)") { ret_int(isnan(pop_double())); }

// ---- min, max, mid, clamp ----
// Every comparison is exact, so the float forms compare the floats.

// The second argument wins every comparison that does not strictly favour
// the first.
#define MIN_MAX(T, n)                                                          \
    static inline T min_##n(T a, T b) { return a < b ? a : b; }                \
    static inline T max_##n(T a, T b) { return a > b ? a : b; }                \
    static inline T min3_##n(T a, T b, T c) {                                  \
        const T t = a > b ? b : a;                                             \
        return t > c ? c : t;                                                  \
    }                                                                          \
    static inline T max3_##n(T a, T b, T c) {                                  \
        const T t = b > a ? b : a;                                             \
        return c > t ? c : t;                                                  \
    }                                                                          \
    static inline T clamp_##n(T x, T lo, T hi) {                               \
        const T t = x > lo ? x : lo;                                           \
        return hi > t ? t : hi;                                                \
    }
MIN_MAX(int32_t, i)
MIN_MAX(float, f)
MIN_MAX(double, d)

// The median of three distinct values; the least of the three when two are
// equal; the first when one is NaN (floating forms).
static inline int32_t mid_i(int32_t a, int32_t b, int32_t c) {
    if (a == b || b == c || a == c)
        return min3_i(a, b, c);
    return max_i(min_i(a, b), min_i(max_i(a, b), c));
}
#define MID(T, n)                                                              \
    static inline T mid_##n(T a, T b, T c) {                                   \
        if (isnan(a) || isnan(b) || isnan(c))                                  \
            return a;                                                          \
        if (a == b || b == c || a == c)                                        \
            return min3_##n(a, b, c);                                          \
        return max_##n(min_##n(a, b), min_##n(max_##n(a, b), c));              \
    }
MID(float, f)
MID(double, d)

BINARY_ROWS(min, I, ivec, pop_int, ret_int, min_i)
BINARY_ROWS(min, F, vec, pop_float, ret_float, min_f)
BINARY_ROWS(min, D, dvec, pop_double, ret_double, min_d)
VECTOR_SCALAR_ROWS(min, I, ivec, pop_int, min_i)
VECTOR_SCALAR_ROWS(min, F, vec, pop_float, min_f)
VECTOR_SCALAR_ROWS(min, D, dvec, pop_double, min_d)
TERNARY_ROWS(min, I, ivec, pop_int, ret_int, min3_i)
TERNARY_ROWS(min, F, vec, pop_float, ret_float, min3_f)
TERNARY_ROWS(min, D, dvec, pop_double, ret_double, min3_d)

BINARY_ROWS(max, I, ivec, pop_int, ret_int, max_i)
BINARY_ROWS(max, F, vec, pop_float, ret_float, max_f)
BINARY_ROWS(max, D, dvec, pop_double, ret_double, max_d)
VECTOR_SCALAR_ROWS(max, I, ivec, pop_int, max_i)
VECTOR_SCALAR_ROWS(max, F, vec, pop_float, max_f)
VECTOR_SCALAR_ROWS(max, D, dvec, pop_double, max_d)
TERNARY_ROWS(max, I, ivec, pop_int, ret_int, max3_i)
TERNARY_ROWS(max, F, vec, pop_float, ret_float, max3_f)
TERNARY_ROWS(max, D, dvec, pop_double, ret_double, max3_d)

TERNARY_ROWS(mid, I, ivec, pop_int, ret_int, mid_i)
TERNARY_ROWS(mid, F, vec, pop_float, ret_float, mid_f)
TERNARY_ROWS(mid, D, dvec, pop_double, ret_double, mid_d)

// Lower bound first, then the upper.
TERNARY_ROWS(clamp, I, ivec, pop_int, ret_int, clamp_i)
TERNARY_ROWS(clamp, F, vec, pop_float, ret_float, clamp_f)
TERNARY_ROWS(clamp, D, dvec, pop_double, ret_double, clamp_d)

// A point into a box: x into [l, r], y into [b, t].
#define CLAMP_BOX(V, B, n)                                                     \
    PLAIN("clamp(T(" #V "),T(" #B "))") {                                      \
        const B *box = (const B *)pop_struct();                                \
        const V *p = (const V *)pop_struct();                                  \
        const V r = {clamp_##n(p->x, box->l, box->r), clamp_##n(p->y, box->b, box->t)}; \
        ret_struct(&r, sizeof r);                                              \
    }
CLAMP_BOX(vec2, bbox, f)
CLAMP_BOX(ivec2, ibbox, i)
CLAMP_BOX(dvec2, dbbox, d)

// Against a length, at extended precision in both forms: a vector longer
// than m comes back divided by the square of its length.
#define CLAMP_LENGTH(V, T, S, pop)                                             \
    PLAIN("clamp(T(" #V ")," #S ")") {                                         \
        const T m = pop();                                                     \
        const V *v = (const V *)pop_struct();                                  \
        const long double x = v->x, y = v->y;                                  \
        const long double s2 = x * x + y * y;                                  \
        if (s2 > (long double)m * m) {                                         \
            const long double k = 1 / sqrtl(s2);                               \
            const V r = {(T)(x * k * k), (T)(y * k * k)};                      \
            ret_struct(&r, sizeof r);                                          \
        } else {                                                               \
            const V r = *v;                                                    \
            ret_struct(&r, sizeof r);                                          \
        }                                                                      \
    }
CLAMP_LENGTH(vec2, float, F, pop_float)
CLAMP_LENGTH(dvec2, double, D, pop_double)

// ---- lerp, lerpconst, near_value ----
// The float forms compute at extended precision and round once; the double
// forms compute in double.

static inline float lerp_f(float a, float b, float t) {
    return (float)((long double)a * (1 - (long double)t) + (long double)b * t);
}
static inline double lerp_d(double a, double b, double t) { return a * (1 - t) + b * t; }
PAIR_SCALAR_ROWS(lerp, F, vec, pop_float, ret_float, lerp_f)
PAIR_SCALAR_ROWS(lerp, D, dvec, pop_double, ret_double, lerp_d)

// a + (b - a) clamped to [-d, d], the lower bound first.
#define BOUNDED_STEP(T, W, S, pop, ret)                                        \
    PLAIN("lerpconst(" #S "," #S "," #S ")") {                                 \
        const T d = pop();                                                     \
        const T b = pop();                                                     \
        const T a = pop();                                                     \
        W c = (W)b - a;                                                        \
        c = c > -(W)d ? c : -(W)d;                                             \
        c = d > c ? c : d;                                                     \
        ret((T)(a + c));                                                       \
    }
BOUNDED_STEP(float, long double, F, pop_float, ret_float)
BOUNDED_STEP(double, double, D, pop_double, ret_double)

// In 2-D the step bounds the length of the move; the float form rounds each
// difference to float.
#define BOUNDED_STEP_2D(V, T, W, S, pop, sqrt_fn)                              \
    PLAIN("lerpconst(T(" #V "),T(" #V ")," #S ")") {                           \
        const T d = pop();                                                     \
        const V *b = (const V *)pop_struct();                                  \
        const V *a = (const V *)pop_struct();                                  \
        W cx = (T)((W)b->x - a->x);                                            \
        W cy = (T)((W)b->y - a->y);                                            \
        const W length2 = cx * cx + cy * cy;                                   \
        if (length2 > (W)d * d) {                                              \
            const W inverse = 1 / sqrt_fn(length2);                            \
            cx = cx * inverse * d;                                             \
            cy = cy * inverse * d;                                             \
        }                                                                      \
        const V r = {(T)(a->x + cx), (T)(a->y + cy)};                          \
        ret_struct(&r, sizeof r);                                              \
    }
BOUNDED_STEP_2D(vec2, float, long double, F, pop_float, sqrtl)
BOUNDED_STEP_2D(dvec2, double, double, D, pop_double, sqrt)

// ---- slerp, slerpconst: 2-D directions, radians in every unit ----
// The float forms carry extended precision between acosf and sinf and round
// when storing. d is the cosine of the angle through the normalised inputs;
// the results blend the inputs as given.
#define SLERPS(V, T, W, S, pop, sqrt_fn, acos_fn, sin_fn, PI_T)                  \
    static W cosine_##V(const V *a, const V *b) {                                \
        const W ia = 1 / sqrt_fn((W)a->x * a->x + (W)a->y * a->y);               \
        const W ib = 1 / sqrt_fn((W)b->x * b->x + (W)b->y * b->y);               \
        return (a->x * ia) * (b->x * ib) + (a->y * ia) * (b->y * ib);            \
    }                                                                            \
    PLAIN("slerp(T(" #V "),T(" #V ")," #S ")") {                                 \
        const W t = pop();                                                       \
        const V *b = (const V *)pop_struct();                                    \
        const V *a = (const V *)pop_struct();                                    \
        const W d = cosine_##V(a, b);                                            \
        W theta = PI_T, wa, wb;                                                  \
        if (d > -1 && (d >= 1 || (theta = acos_fn((T)d)) < 0.001)) {             \
            wa = 1 - t;                                                          \
            wb = t;                                                              \
        } else {                                                                 \
            const W k = 1 / (W)sin_fn((T)theta);                                 \
            wa = sin_fn((T)((1 - t) * theta)) * k;                               \
            wb = sin_fn((T)(t * theta)) * k;                                     \
        }                                                                        \
        const V r = {(T)(a->x * wa + b->x * wb), (T)(a->y * wa + b->y * wb)};    \
        ret_struct(&r, sizeof r);                                                \
    }                                                                            \
    PLAIN("slerpconst(T(" #V "),T(" #V ")," #S ")") {                            \
        const T step = pop();                                                    \
        const V *b = (const V *)pop_struct();                                    \
        const V *a = (const V *)pop_struct();                                    \
        W d = cosine_##V(a, b);                                                  \
        d = d > -1 ? d : -1;                                                     \
        d = 1 > d ? d : 1;                                                       \
        const W theta = acos_fn((T)d);                                           \
        const W f = (theta > step ? (W)step : theta) / theta;                    \
        V r;                                                                     \
        if (theta < 0.001) {                                                     \
            r.x = (T)(a->x * (1 - f) + b->x * f);                                \
            r.y = (T)(a->y * (1 - f) + b->y * f);                                \
        } else {                                                                 \
            const W k = 1 / (W)sin_fn((T)theta);                                 \
            const W sa = sin_fn((T)((1 - f) * theta));                           \
            const W sb = sin_fn((T)(f * theta));                                 \
            r.x = (T)(a->x * sa * k + b->x * sb * k);                            \
            r.y = (T)(a->y * sa * k + b->y * sb * k);                            \
        }                                                                        \
        ret_struct(&r, sizeof r);                                                \
    }
SLERPS(vec2, float, long double, F, pop_float, sqrtl, acosf, sinf, 3.1415927f)
SLERPS(dvec2, double, double, D, pop_double, sqrt, acos, sin, 3.141592653589793)

// Toward b by |d|, never past it.
PLAIN("near_value(I,I,I)") {
    const int32_t d = pop_int();
    const int32_t b = pop_int();
    const int32_t a = pop_int();
    const uint32_t m = (uint32_t)abs_i(d);
    int32_t r;
    if (b > a) {
        r = (int32_t)((uint32_t)a + m);
        r = r < b ? r : b;
    } else {
        r = (int32_t)((uint32_t)a - m);
        r = r > b ? r : b;
    }
    ret_int(r);
}
#define NEAR_VALUE(T, W, S, pop, ret, fabs_fn)                                 \
    PLAIN("near_value(" #S "," #S "," #S ")") {                                \
        const T d = pop();                                                     \
        const T b = pop();                                                     \
        const T a = pop();                                                     \
        const W m = fabs_fn((W)d);                                             \
        W r;                                                                   \
        if (b > a) {                                                           \
            r = a + m;                                                         \
            r = r > b ? b : r;                                                 \
        } else {                                                               \
            r = a - m;                                                         \
            r = b > r ? b : r;                                                 \
        }                                                                      \
        ret((T)r);                                                             \
    }
NEAR_VALUE(float, long double, F, pop_float, ret_float, fabsl)
NEAR_VALUE(double, double, D, pop_double, ret_double, fabs)

// ---- normalstep, smoothstep ----

// 1 where edge <= x or the comparison is unordered.
static inline float step_f(float edge, float x) { return edge > x ? 0.0f : 1.0f; }
static inline double step_d(double edge, double x) { return edge > x ? 0.0 : 1.0; }
BINARY_ROWS(normalstep, F, vec, pop_float, ret_float, step_f)
BINARY_ROWS(normalstep, D, dvec, pop_double, ret_double, step_d)
SCALAR_VECTOR_ROWS(normalstep, F, vec, pop_float, step_f)
SCALAR_VECTOR_ROWS(normalstep, D, dvec, pop_double, step_d)

// The Hermite curve between the edges; t NaN or at most 0 gives 0.
#define SMOOTHSTEP(T, W, n)                                                    \
    static inline T smoothstep_##n(T edge0, T edge1, T x) {                    \
        const W t = ((W)x - edge0) / ((W)edge1 - edge0);                       \
        W r;                                                                   \
        if (!(t > 0))                                                          \
            r = 0;                                                             \
        else if (t >= 1)                                                       \
            r = 1;                                                             \
        else                                                                   \
            r = t * t * (3 - 2 * t);                                           \
        return (T)r;                                                           \
    }
SMOOTHSTEP(float, long double, f)
SMOOTHSTEP(double, double, d)
TERNARY_ROWS(smoothstep, F, vec, pop_float, ret_float, smoothstep_f)
TERNARY_ROWS(smoothstep, D, dvec, pop_double, ret_double, smoothstep_d)
SCALARS_VECTOR_ROWS(smoothstep, F, vec, pop_float, smoothstep_f)
SCALARS_VECTOR_ROWS(smoothstep, D, dvec, pop_double, smoothstep_d)

// ---- Fixed point ----
// The bit count is popped first; other than 8, 16 or 24 it answers the int 0.
// The floating conversions scale by the float 2^n - 1.

static inline float fixed_scale(int32_t bits) {
    return bits == 8 ? 255.0f : bits == 16 ? 65535.0f : 16777215.0f;
}
static inline int fixed_bits(int32_t bits) { return bits == 8 || bits == 16 || bits == 24; }

PLAIN("itofix(I,I)") {
    const int32_t bits = pop_int();
    const int32_t i = pop_int();
    ret_int(fixed_bits(bits) ? (int32_t)((uint32_t)i << bits) : 0);
}
PLAIN("fixtoi(I,I)") {
    const int32_t bits = pop_int();
    const int32_t v = pop_int();
    ret_int(fixed_bits(bits) ? v >> bits : 0);
}
// The product at extended precision, then the int conversion.
PLAIN("ftofix(F,I)") {
    const int32_t bits = pop_int();
    const float x = pop_float();
    ret_int(fixed_bits(bits) ? to_int_ld((long double)x * fixed_scale(bits)) : 0);
}
PLAIN("dtofix(D,I)") {
    const int32_t bits = pop_int();
    const double x = pop_double();
    ret_int(fixed_bits(bits) ? to_int_ld((long double)x * fixed_scale(bits)) : 0);
}
// The quotient in double, rounded once.
PLAIN("fixtof(I,I)") {
    const int32_t bits = pop_int();
    const int32_t v = pop_int();
    if (fixed_bits(bits))
        ret_float((float)((double)v / fixed_scale(bits)));
    else
        ret_int(0);
}
PLAIN("fixtod(I,I)") {
    const int32_t bits = pop_int();
    const int32_t v = pop_int();
    if (fixed_bits(bits))
        ret_double((double)v / fixed_scale(bits));
    else
        ret_int(0);
}
