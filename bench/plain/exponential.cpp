// Plain readings of the exponential functions: exp, exp2, logarithms, pow,
// roots.
#include "plain.h"

#define LN2_F 0.693147182464599609375f  // the float nearest ln 2
#define LN2_D 0.6931471805599453

// ---- One-argument rules, per precision ---------------------------------------------

// exp in double for every type; exp2 as e to the (x ln 2) with the ln 2 of
// the argument's precision, the float product in double.
static float exp_f(float x) { return (float)exp((double)x); }
static double exp_d(double x) { return exp(x); }
static float exp2_f(float x) { return (float)exp((double)x * (double)LN2_F); }
static double exp2_d(double x) { return exp(x * LN2_D); }

// log and log10 single for floats; log2 the double log over ln 2.
static float log_f(float x) { return logf(x); }
static double log_d(double x) { return log(x); }
static float log10_f(float x) { return log10f(x); }
static double log10_d(double x) { return log10(x); }
static float log2_f(float x) { return (float)(log((double)x) / (double)LN2_F); }
static double log2_d(double x) { return log(x) / LN2_D; }

// sqrt single for floats; inversesqrt 1.0 over the root, the float scalar
// taking the double root and the float vectors the single one.
static float sqrt_f(float x) { return sqrtf(x); }
static double sqrt_d(double x) { return sqrt(x); }
static float inversesqrt_vf(float x) { return (float)(1.0 / (double)sqrtf(x)); }
static double inversesqrt_d(double x) { return 1.0 / sqrt(x); }

#define UNARY_VEC(fam, fn, V, C, N)                                \
    PLAIN(#fam "(T(" #V "))") {                                    \
        const C *a = (const C *)pop_struct();                      \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = fn(a[i]);                                       \
        ret_struct(&r, sizeof r);                                  \
    }
#define UNARY_VECS(fam, fn_f, fn_d)                                \
    UNARY_VEC(fam, fn_f, vec2, float, 2)                           \
    UNARY_VEC(fam, fn_f, vec3, float, 3)                           \
    UNARY_VEC(fam, fn_f, vec4, float, 4)                           \
    UNARY_VEC(fam, fn_d, dvec2, double, 2)                         \
    UNARY_VEC(fam, fn_d, dvec3, double, 3)                         \
    UNARY_VEC(fam, fn_d, dvec4, double, 4)
#define UNARY_SCALARS(fam, fn_f, fn_d)                             \
    PLAIN(#fam "(F)") { ret_float(fn_f(pop_float())); }            \
    PLAIN(#fam "(D)") { ret_double(fn_d(pop_double())); }

UNARY_SCALARS(exp, exp_f, exp_d)
UNARY_VECS(exp, exp_f, exp_d)
UNARY_SCALARS(log, log_f, log_d)
UNARY_VECS(log, log_f, log_d)
UNARY_SCALARS(log2, log2_f, log2_d)
UNARY_VECS(log2, log2_f, log2_d)
UNARY_SCALARS(log10, log10_f, log10_d)
UNARY_VECS(log10, log10_f, log10_d)
UNARY_SCALARS(sqrt, sqrt_f, sqrt_d)
UNARY_VECS(sqrt, sqrt_f, sqrt_d)

// The table sends exp2 of a float vector to exp: e to the x there.
UNARY_SCALARS(exp2, exp2_f, exp2_d)
UNARY_VEC(exp2, exp_f, vec2, float, 2)
UNARY_VEC(exp2, exp_f, vec3, float, 3)
UNARY_VEC(exp2, exp_f, vec4, float, 4)
UNARY_VEC(exp2, exp2_d, dvec2, double, 2)
UNARY_VEC(exp2, exp2_d, dvec3, double, 3)
UNARY_VEC(exp2, exp2_d, dvec4, double, 4)

// The float scalar takes the double root.
PLAIN("inversesqrt(F)") { ret_float((float)(1.0 / sqrt((double)pop_float()))); }
PLAIN("inversesqrt(D)") { ret_double(inversesqrt_d(pop_double())); }
UNARY_VECS(inversesqrt, inversesqrt_vf, inversesqrt_d)

// The integer part of the root of |x|; 2147483647 either way gives
// 999999999; -2147483648 stays negative, its root NaN, converted to
// -2147483648.
PLAIN("sqrt(I)") {
    const int32_t x = pop_int();
    const int32_t m = x < 0 ? (int32_t)(0u - (uint32_t)x) : x;
    ret_int(m == 2147483647 ? 999999999 : to_int_d(sqrt((double)m)));
}

// ---- Two-argument rules --------------------------------------------------------------

// log(x) / log(base), both double.
static float logb_f(float x, float b) { return (float)(log((double)x) / log((double)b)); }
static double logb_d(double x, double b) { return log(x) / log(b); }
static float pow_f(float x, float e) { return (float)pow((double)x, (double)e); }
static double pow_d(double x, double e) { return pow(x, e); }

#define BINARY_VEC(fam, fn, V, C, N)                               \
    PLAIN(#fam "(T(" #V "),T(" #V "))") {                          \
        const C *b = (const C *)pop_struct();                      \
        const C *a = (const C *)pop_struct();                      \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = fn(a[i], b[i]);                                 \
        ret_struct(&r, sizeof r);                                  \
    }
#define BINARY_ALL(fam, fn_f, fn_d)                                \
    PLAIN(#fam "(F,F)") {                                          \
        const float b = pop_float();                               \
        const float a = pop_float();                               \
        ret_float(fn_f(a, b));                                     \
    }                                                              \
    PLAIN(#fam "(D,D)") {                                          \
        const double b = pop_double();                             \
        const double a = pop_double();                             \
        ret_double(fn_d(a, b));                                    \
    }                                                              \
    BINARY_VEC(fam, fn_f, vec2, float, 2)                          \
    BINARY_VEC(fam, fn_f, vec3, float, 3)                          \
    BINARY_VEC(fam, fn_f, vec4, float, 4)                          \
    BINARY_VEC(fam, fn_d, dvec2, double, 2)                        \
    BINARY_VEC(fam, fn_d, dvec3, double, 3)                        \
    BINARY_VEC(fam, fn_d, dvec4, double, 4)
BINARY_ALL(log, logb_f, logb_d)
BINARY_ALL(pow, pow_f, pow_d)

// A float vector to one base: the base's logarithm once, single precision
// and a float; each component's in double.
#define LOG_VEC_F(V, N)                                            \
    PLAIN("log(T(" #V "),F)") {                                    \
        const float base = pop_float();                            \
        const float *a = (const float *)pop_struct();              \
        const float lb = logf(base);                               \
        V r;                                                       \
        float *c = (float *)&r;                                    \
        for (int i = 0; i < N; i++)                                \
            c[i] = (float)(log((double)a[i]) / (double)lb);        \
        ret_struct(&r, sizeof r);                                  \
    }
LOG_VEC_F(vec2, 2)
LOG_VEC_F(vec3, 3)
LOG_VEC_F(vec4, 4)

#define LOG_DVEC_D(V, N)                                           \
    PLAIN("log(T(" #V "),D)") {                                    \
        const double base = pop_double();                          \
        const double *a = (const double *)pop_struct();            \
        const double lb = log(base);                               \
        V r;                                                       \
        double *c = (double *)&r;                                  \
        for (int i = 0; i < N; i++)                                \
            c[i] = log(a[i]) / lb;                                 \
        ret_struct(&r, sizeof r);                                  \
    }
LOG_DVEC_D(dvec2, 2)
LOG_DVEC_D(dvec3, 3)
LOG_DVEC_D(dvec4, 4)

// Every component to the one exponent. The rows "pow(T(vecN),D)" are bound
// to the dvecN routine: the argument is read, and the result made, as a
// dvecN.
#define POW_VEC_SCALAR(sig, V, C, pop_s, N)                        \
    PLAIN(sig) {                                                   \
        const C e = pop_s();                                       \
        const C *a = (const C *)pop_struct();                      \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = (C)pow((double)a[i], (double)e);                \
        ret_struct(&r, sizeof r);                                  \
    }
POW_VEC_SCALAR("pow(T(vec2),F)", vec2, float, pop_float, 2)
POW_VEC_SCALAR("pow(T(vec3),F)", vec3, float, pop_float, 3)
POW_VEC_SCALAR("pow(T(vec4),F)", vec4, float, pop_float, 4)
POW_VEC_SCALAR("pow(T(vec2),D)", dvec2, double, pop_double, 2)
POW_VEC_SCALAR("pow(T(vec3),D)", dvec3, double, pop_double, 3)
POW_VEC_SCALAR("pow(T(vec4),D)", dvec4, double, pop_double, 4)

// The int exponent converted to double.
PLAIN("pow(D,I)") {
    const int32_t e = pop_int();
    const double b = pop_double();
    ret_double(pow(b, (double)e));
}

// Integer power: a negative exponent gives 0, 0 gives 1; otherwise b times
// itself e - 1 times, wrapping.
PLAIN("pow(I,I)") {
    const int32_t e = pop_int();
    const uint32_t b = (uint32_t)pop_int();
    uint32_t r = e < 0 ? 0u : 1u;
    if (e > 0) {
        r = b;
        for (int32_t i = 1; i < e; i++)
            r *= b;
    }
    ret_int((int32_t)r);
}
