// Plain readings of the random numbers. Each leaves the module's words m_z
// and m_w and the library's generator as the module's routine leaves them.
#include <stdlib.h>

#include "plain.h"

// One multiply-with-carry step of both words, then the raw value brought
// into the limits in either order; limits past +-2147483640 on both sides
// give the raw value itself.
PLAIN("rand(I,I)") {
    const int32_t b = pop_int();
    const int32_t a = pop_int();
    const uint32_t z = 36969u * (*plain_m_z & 0xFFFFu) + (*plain_m_z >> 16);
    const uint32_t w = 18000u * (*plain_m_w & 0xFFFFu) + (*plain_m_w >> 16);
    *plain_m_z = z;
    *plain_m_w = w;
    const uint32_t raw = (z << 16) + w;
    const int32_t lo = b < a ? b : a;
    const int32_t hi = b < a ? a : b;
    if (hi > 2147483640 && lo < -2147483640)
        ret_int((int32_t)raw);
    else
        ret_int((int32_t)((uint32_t)lo + raw % ((uint32_t)hi - (uint32_t)lo + 1u)));
}

// a + (b - a) * (rand() * 2^-31), the factor a float constant, at extended
// precision, rounded once.
PLAIN("rand(F,F)") {
    const float b = pop_float();
    const float a = pop_float();
    const long double unit = (long double)rand() * 0x1p-31f;
    ret_float((float)((long double)a + ((long double)b - a) * unit));
}

PLAIN("rand(D,D)") {
    const double b = pop_double();
    const double a = pop_double();
    const long double unit = (long double)rand() * 0x1p-31f;
    ret_double((double)((long double)a + ((long double)b - a) * unit));
}

// srand(s), m_z = s, m_w = the first rand() % s (the module's choice for a
// zero s: the rand() value itself).
PLAIN("rand_seed(I)") {
    const int32_t s = pop_int();
    srand((unsigned)s);
    *plain_m_z = (uint32_t)s;
    const int32_t n = rand();
    *plain_m_w = (uint32_t)(s == 0 ? n : n % s);
    ret_int(1);
}
