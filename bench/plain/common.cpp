// Plain readings of the common functions: sign, rounding, decomposition,
// minimum and maximum, interpolation and steps, fixed point.
#include "plain.h"

// ---- abs ----

// Two's complement: sign mask, exclusive or, subtract; -2147483648 stays.
PLAIN("abs(I)") {
    const uint32_t x = (uint32_t)pop_int();
    const uint32_t mask = 0u - (x >> 31);
    ret_int((int32_t)((x ^ mask) - mask));
}

PLAIN("abs(T(vec3))") {
    const vec3 *a = (const vec3 *)pop_struct();
    const vec3 r = {fabsf(a->x), fabsf(a->y), fabsf(a->z)};
    ret_struct(&r, sizeof r);
}

// ---- round, roundeven ----

// Halves away from zero: x -/+ 0.5f at extended precision, then the int
// conversion.
PLAIN("round(F)") {
    const float x = pop_float();
    const long double h = x < 0 ? (long double)x - 0.5f : (long double)x + 0.5f;
    ret_float((float)to_int_ld(h));
}

PLAIN("round(D)") {
    const double x = pop_double();
    const long double h = x < 0 ? (long double)x - 0.5f : (long double)x + 0.5f;
    ret_double((double)to_int_ld(h));
}

// The fraction x - floor(x) in double, rounded to float; an exact half (or
// NaN) takes the even rule, anything else rounds as round does.
PLAIN("roundeven(F)") {
    const float x = pop_float();
    const float f = (float)((double)x - floor((double)x));
    int32_t r;
    if (f == 0.5f || f != f) {
        const int32_t i = to_int_f(x);
        if (i % 2 == 0)
            r = i;
        else
            r = (int32_t)(x > 0 ? (uint32_t)i + 1u : (uint32_t)i - 1u);
    } else {
        r = to_int_ld(x < 0 ? (long double)x - 0.5f : (long double)x + 0.5f);
    }
    ret_float((float)r);
}
