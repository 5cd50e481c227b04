// Plain readings of the exponential functions: exp, exp2, logarithms, pow,
// roots.
#include "each.h"

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

PLAIN_UNARY_FAMILY(exp)
PLAIN_UNARY_FAMILY(log)
PLAIN_UNARY_FAMILY(log2)
PLAIN_UNARY_FAMILY(log10)
PLAIN_UNARY_FAMILY(sqrt)

// The table sends exp2 of a float vector to exp: e to the x there.
PLAIN_SCALARS(exp2, exp2_f, exp2_d)
PLAIN_EACH_FLOATING(exp2, exp_f, exp2_d)

// The float scalar takes the double root.
PLAIN("inversesqrt(F)") { ret_float((float)(1.0 / sqrt((double)pop_float()))); }
PLAIN("inversesqrt(D)") { ret_double(inversesqrt_d(pop_double())); }
PLAIN_EACH_FLOATING(inversesqrt, inversesqrt_vf, inversesqrt_d)

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

PLAIN_BINARY_FAMILY(log, logb_f, logb_d)
PLAIN_BINARY_FAMILY(pow, pow_f, pow_d)

// A vector to one base: the base's logarithm once (for float vectors the
// single-precision one, a float), each component's in double.
#define LOG_TO_BASE(V, C, S, pop_scalar, log_base, N)              \
    PLAIN("log(T(" #V ")," #S ")") {                               \
        const C base = pop_scalar();                               \
        const C *a = (const C *)pop_struct();                      \
        const C lb = log_base(base);                               \
        V r;                                                       \
        C *c = (C *)&r;                                            \
        for (int i = 0; i < N; i++)                                \
            c[i] = (C)(log((double)a[i]) / (double)lb);            \
        ret_struct(&r, sizeof r);                                  \
    }
LOG_TO_BASE(vec2, float, F, pop_float, logf, 2)
LOG_TO_BASE(vec3, float, F, pop_float, logf, 3)
LOG_TO_BASE(vec4, float, F, pop_float, logf, 4)
LOG_TO_BASE(dvec2, double, D, pop_double, log, 2)
LOG_TO_BASE(dvec3, double, D, pop_double, log, 3)
LOG_TO_BASE(dvec4, double, D, pop_double, log, 4)

// Every component to the one exponent. The rows "pow(T(vecN),D)" are bound
// to the dvecN routine: the argument is read, and the result made, as a
// dvecN.
PLAIN_EACH_WITH("pow(T(vec2),F)", pow_f, vec2, float, pop_float, 2)
PLAIN_EACH_WITH("pow(T(vec3),F)", pow_f, vec3, float, pop_float, 3)
PLAIN_EACH_WITH("pow(T(vec4),F)", pow_f, vec4, float, pop_float, 4)
PLAIN_EACH_WITH("pow(T(vec2),D)", pow_d, dvec2, double, pop_double, 2)
PLAIN_EACH_WITH("pow(T(vec3),D)", pow_d, dvec3, double, pop_double, 3)
PLAIN_EACH_WITH("pow(T(vec4),D)", pow_d, dvec4, double, pop_double, 4)

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
