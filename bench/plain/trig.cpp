// Plain readings of the trigonometry: integer, floating, angle conversions.
#include "each.h"

#define K_MILLIDEG 57295.77951  // radians to milli-degrees, as the int angles use it
#define PI_D 3.141592653589793

// ---- Integer sin, cos --------------------------------------------------------

// Into 0..359999.
static int32_t turn_of(int32_t a) {
    int32_t r = a % 360000;
    if (r < 0)
        r += 360000;
    return r;
}

static int32_t sine_at(int32_t r) {
    if (r <= 90000)
        return plain_sin_tab[r];
    if (r <= 180000)
        return plain_sin_tab[180000 - r];
    if (r <= 270000)
        return -plain_sin_tab[r - 180000];
    return -plain_sin_tab[360000 - r];
}

static int32_t cosine_at(int32_t r) {
    if (r <= 90000)
        return plain_cos_tab[r];
    if (r <= 180000)
        return -plain_cos_tab[180000 - r];
    if (r <= 270000)
        return -plain_cos_tab[r - 180000];
    return plain_cos_tab[360000 - r];
}

PLAIN("sin(I)") { ret_int(sine_at(turn_of(pop_int()))); }
PLAIN("cos(I)") { ret_int(cosine_at(turn_of(pop_int()))); }

// The vector forms store the reduced angles back into the argument, then
// take each component's value; sin and cos give the scalar value at every
// angle (the module's choice below 180000).
#define REDUCED_IVEC(sig, reduce, at, V, N)                \
    PLAIN(sig) {                                           \
        int32_t *a = (int32_t *)pop_struct();              \
        V r;                                               \
        int32_t *c = (int32_t *)&r;                        \
        for (int i = 0; i < N; i++) {                      \
            a[i] = reduce(a[i]);                           \
            c[i] = at(a[i]);                               \
        }                                                  \
        ret_struct(&r, sizeof r);                          \
    }
#define WAVE_IVEC(name, at, V, N) REDUCED_IVEC(#name "(T(" #V "))", turn_of, at, V, N)
WAVE_IVEC(sin, sine_at, ivec2, 2)
WAVE_IVEC(sin, sine_at, ivec3, 3)
WAVE_IVEC(sin, sine_at, ivec4, 4)
WAVE_IVEC(cos, cosine_at, ivec2, 2)
WAVE_IVEC(cos, cosine_at, ivec3, 3)
WAVE_IVEC(cos, cosine_at, ivec4, 4)

// ---- Integer tan -----------------------------------------------------------

// Into -179999..180000.
static int32_t half_turn_of(int32_t a) {
    int32_t r = a % 360000;
    if (r > 180000)
        r -= 360000;
    else if (r <= -180000)
        r += 360000;
    return r;
}

// tan(r / K), the quotient at extended precision; the double result rounded
// to float, times 1000 at extended precision, truncated.
static int32_t tangent_of(int32_t r) {
    if (r == -90000)
        return INT32_MIN;
    const double x = (double)((long double)r / K_MILLIDEG);
    const float t = (float)tan(x);
    return to_int_ld((long double)t * 1000.0L);
}

PLAIN("tan(I)") {
    const int32_t r = half_turn_of(pop_int());
    ret_int(r == 90000 ? INT32_MAX : tangent_of(r));
}

// Reduced angles stored back; +90 degrees is computed too (out of range).
#define TAN_IVEC(V, N) REDUCED_IVEC("tan(T(" #V "))", half_turn_of, tangent_of, V, N)
TAN_IVEC(ivec2, 2)
TAN_IVEC(ivec3, 3)
TAN_IVEC(ivec4, 4)

// ---- Integer asin, acos ------------------------------------------------------

#define ARC_INT(name, NAME, tab)                                \
    PLAIN(#name "(I)") {                                        \
        const int32_t a = pop_int();                            \
        if ((uint32_t)a + 1000u > 2000u) {                      \
            raise_error(171, NAME, 0, 1, a);                    \
            ret_int(INT32_MIN);                                 \
        } else {                                                \
            ret_int(tab[a + 1000]);                             \
        }                                                       \
    }
ARC_INT(asin, "ASIN", plain_asin_tab)
ARC_INT(acos, "ACOS", plain_acos_tab)

// The first component out of range raises once; the result is then zeros.
#define ARC_IVEC(name, NAME, tab, V, N)                         \
    PLAIN(#name "(T(" #V "))") {                                \
        const int32_t *a = (const int32_t *)pop_struct();       \
        V r;                                                    \
        int32_t *c = (int32_t *)&r;                             \
        for (int i = 0; i < N; i++) {                           \
            if ((uint32_t)a[i] + 1000u > 2000u) {               \
                raise_error(171, NAME, 0, 1, a[i]);             \
                memset(&r, 0, sizeof r);                        \
                break;                                          \
            }                                                   \
            c[i] = tab[a[i] + 1000];                            \
        }                                                       \
        ret_struct(&r, sizeof r);                               \
    }
ARC_IVEC(asin, "ASIN", plain_asin_tab, ivec2, 2)
ARC_IVEC(asin, "ASIN", plain_asin_tab, ivec3, 3)
ARC_IVEC(asin, "ASIN", plain_asin_tab, ivec4, 4)
ARC_IVEC(acos, "ACOS", plain_acos_tab, ivec2, 2)
ARC_IVEC(acos, "ACOS", plain_acos_tab, ivec3, 3)
ARC_IVEC(acos, "ACOS", plain_acos_tab, ivec4, 4)

// ---- Integer atan, atan2 -----------------------------------------------------

// atan(t / 1000), the quotient at extended precision; via float, times K at
// extended precision, truncated.
static int32_t arctangent_of(int32_t t) {
    const double x = (double)((long double)t / 1000.0L);
    const float a = (float)atan(x);
    return to_int_ld((long double)a * K_MILLIDEG);
}

static int32_t arctangent2_of(int32_t y, int32_t x) {
    const float a = (float)atan2((double)y, (double)x);
    return to_int_ld((long double)a * K_MILLIDEG);
}

PLAIN("atan(I)") { ret_int(arctangent_of(pop_int())); }

PLAIN("atan2(I,I)") {
    const int32_t b = pop_int();
    const int32_t a = pop_int();
    ret_int(arctangent2_of(a, b));
}

PLAIN_EACH_INT(atan, arctangent_of)
PLAIN_EACH2("atan2(T(ivec2),T(ivec2))", arctangent2_of, ivec2, int32_t, 2)
PLAIN_EACH2("atan2(T(ivec3),T(ivec3))", arctangent2_of, ivec3, int32_t, 3)
PLAIN_EACH2("atan2(T(ivec4),T(ivec4))", arctangent2_of, ivec4, int32_t, 4)

// ---- Floating sin, cos, tan ----------------------------------------------------

// Milli-degrees to radians: times pi, then over 180000, at extended
// precision, rounded to double.
static double radians_of(double v) { return (double)((long double)v * PI_D / 180000.0L); }

// Radians: the single routine for floats, the double one for doubles.
// Milli-degrees: the double routine for both, rounded to the type.
#define FORWARD(name, fn_f, fn_d)                                                  \
    static float name##_f(float x) {                                               \
        return *plain_angle_unit == 1 ? fn_f(x) : (float)fn_d(radians_of(x));      \
    }                                                                              \
    static double name##_d(double x) {                                             \
        return *plain_angle_unit == 1 ? fn_d(x) : fn_d(radians_of(x));             \
    }

// ---- Floating asin, acos, atan -----------------------------------------------

// Radians to milli-degrees: times 180000, then over pi, at extended
// precision, rounded once to the type.
#define INVERSE(name, fn_f, fn_d)                                                 \
    static float name##_f(float x) {                                              \
        if (*plain_angle_unit == 1)                                               \
            return fn_f(x);                                                       \
        return (float)((long double)fn_d((double)x) * 180000.0L / PI_D);          \
    }                                                                             \
    static double name##_d(double x) {                                            \
        if (*plain_angle_unit == 1)                                               \
            return fn_d(x);                                                       \
        return (double)((long double)fn_d(x) * 180000.0L / PI_D);                 \
    }

FORWARD(sin, sinf, sin)
FORWARD(cos, cosf, cos)
FORWARD(tan, tanf, tan)
INVERSE(asin, asinf, asin)
INVERSE(acos, acosf, acos)
INVERSE(atan, atanf, atan)
PLAIN_UNARY_FAMILY(sin)
PLAIN_UNARY_FAMILY(cos)
PLAIN_UNARY_FAMILY(tan)
PLAIN_UNARY_FAMILY(asin)
PLAIN_UNARY_FAMILY(acos)
PLAIN_UNARY_FAMILY(atan)

// ---- Hyperbolic functions ------------------------------------------------------

// sinh and cosh in double for every type; tanh single for floats.
static float sinh_f(float x) { return (float)sinh((double)x); }
static double sinh_d(double x) { return sinh(x); }
static float cosh_f(float x) { return (float)cosh((double)x); }
static double cosh_d(double x) { return cosh(x); }
static float tanh_f(float x) { return tanhf(x); }
static double tanh_d(double x) { return tanh(x); }
PLAIN_UNARY_FAMILY(sinh)
PLAIN_UNARY_FAMILY(cosh)
PLAIN_UNARY_FAMILY(tanh)

// ---- atan2, hypot ----------------------------------------------------------------

// atan2 in double for every type; milli-degrees as the inverse functions.
static float atan2_f(float y, float x) {
    const double a = atan2((double)y, (double)x);
    return *plain_angle_unit == 1 ? (float)a : (float)((long double)a * 180000.0L / PI_D);
}
static double atan2_d(double y, double x) {
    const double a = atan2(y, x);
    return *plain_angle_unit == 1 ? a : (double)((long double)a * 180000.0L / PI_D);
}

// hypot in double for every type.
static float hypot_f(float a, float b) { return (float)hypot((double)a, (double)b); }
static double hypot_d(double a, double b) { return hypot(a, b); }

// Two arguments, the second popped first; vectors pair components, or
// every component meets the one scalar.
PLAIN_BINARY_FAMILY(atan2, atan2_f, atan2_d)
PLAIN_BINARY_FAMILY(hypot, hypot_f, hypot_d)
PLAIN_EACH_WITH_FLOATING(hypot, hypot_f, hypot_d)

// ---- Angle conversions -----------------------------------------------------------

// Within one turn either way, else 0; ints tested as one unsigned comparison.
static int32_t degtomil_i(int32_t v) { return (uint32_t)v + 360u <= 720u ? v * 1000 : 0; }
static float degtomil_f(float v) { return v < -360.0f ? 0.0f : v > 360.0f ? 0.0f : v * 1000.0f; }
static double degtomil_d(double v) { return v < -360.0 ? 0.0 : v > 360.0 ? 0.0 : v * 1000.0; }
static int32_t miltodeg_i(int32_t v) { return (uint32_t)v + 360000u <= 720000u ? v / 1000 : 0; }
static float miltodeg_f(float v) { return v < -360000.0f ? 0.0f : v > 360000.0f ? 0.0f : v / 1000.0f; }
static double miltodeg_d(double v) { return v < -360000.0 ? 0.0 : v > 360000.0 ? 0.0 : v / 1000.0; }

// A product at extended precision, rounded once.
static float degtorad_f(float v) { return (float)((long double)v * 0.017453292519943295); }
static double degtorad_d(double v) { return (double)((long double)v * 0.017453292519943295); }
static float radtodeg_f(float v) { return (float)((long double)v * 57.29577951308232); }
static double radtodeg_d(double v) { return (double)((long double)v * 57.29577951308232); }

#define UNARY_INT(name)                                            \
    PLAIN(#name "(I)") { ret_int(name##_i(pop_int())); }           \
    PLAIN_EACH_INT(name, name##_i)
UNARY_INT(degtomil)
UNARY_INT(miltodeg)
PLAIN_UNARY_FAMILY(degtomil)
PLAIN_UNARY_FAMILY(miltodeg)
PLAIN_UNARY_FAMILY(degtorad)
PLAIN_UNARY_FAMILY(radtodeg)
