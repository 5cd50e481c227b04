// Plain readings of the vector geometry: geometric functions, the integer
// plane functions, vector operations, bounding boxes.
//
// Float components are widened to double for every product, sum and
// quotient and rounded to float once, where the result is set or where the
// value enters sqrtf; double components stay double; int components wrap in
// uint32_t.
#include <float.h>

#include "plain.h"

// Sums over the components in the order x, y, z, w, of TERM(c).
#define SUM2(TERM) (TERM(x) + TERM(y))
#define SUM3(TERM) (TERM(x) + TERM(y) + TERM(z))
#define SUM4(TERM) (TERM(x) + TERM(y) + TERM(z) + TERM(w))
// A vector whose component c is (T)(TERM(c)).
#define BUILD2(T, TERM) {(T)(TERM(x)), (T)(TERM(y))}
#define BUILD3(T, TERM) {(T)(TERM(x)), (T)(TERM(y)), (T)(TERM(z))}
#define BUILD4(T, TERM) {(T)(TERM(x)), (T)(TERM(y)), (T)(TERM(z)), (T)(TERM(w))}

static inline int32_t wrap(uint32_t x) { return (int32_t)x; }

// ---- dot, lengthsq, length, distancesq, distance ----

#define DOT_TERM(c) ((double)a->c * b->c)
#define IDOT_TERM(c) ((uint32_t)a->c * (uint32_t)b->c)
#define SQ_TERM(c) ((double)v->c * v->c)
#define DIFF_TERM(c) (((double)a->c - b->c) * ((double)a->c - b->c))

PLAIN("dot(F,F)") {
    const float b = pop_float();
    const float a = pop_float();
    ret_float((float)((double)a * b));
}
PLAIN("dot(D,D)") {
    const double b = pop_double();
    const double a = pop_double();
    ret_double(a * b);
}
PLAIN("dot(I,I)") {
    const int32_t b = pop_int();
    const int32_t a = pop_int();
    ret_int(wrap((uint32_t)a * (uint32_t)b));
}
#define DOT(V, N, T, ret_fn)                          \
    PLAIN("dot(T(" #V "),T(" #V "))") {               \
        const V *b = (const V *)pop_struct();         \
        const V *a = (const V *)pop_struct();         \
        ret_fn((T)SUM##N(DOT_TERM));                  \
    }
DOT(vec2, 2, float, ret_float) DOT(vec3, 3, float, ret_float) DOT(vec4, 4, float, ret_float)
DOT(dvec2, 2, double, ret_double) DOT(dvec3, 3, double, ret_double) DOT(dvec4, 4, double, ret_double)
#define IDOT(V, N)                                    \
    PLAIN("dot(T(" #V "),T(" #V "))") {               \
        const V *b = (const V *)pop_struct();         \
        const V *a = (const V *)pop_struct();         \
        ret_int(wrap(SUM##N(IDOT_TERM)));             \
    }
IDOT(ivec2, 2) IDOT(ivec3, 3) IDOT(ivec4, 4)

PLAIN("lengthsq(F)") {
    const float x = pop_float();
    ret_float((float)((double)x * x));
}
PLAIN("lengthsq(D)") {
    const double x = pop_double();
    ret_double(x * x);
}
PLAIN("length(F)") {
    const float x = pop_float();
    ret_float(sqrtf((float)((double)x * x)));
}
PLAIN("length(D)") {
    const double x = pop_double();
    ret_double(sqrt(x * x));
}
#define LENGTHS(V, N, T, ret_fn, sqrt_fn)                        \
    PLAIN("lengthsq(T(" #V "))") {                               \
        const V *v = (const V *)pop_struct();                    \
        ret_fn((T)SUM##N(SQ_TERM));                              \
    }                                                            \
    PLAIN("length(T(" #V "))") {                                 \
        const V *v = (const V *)pop_struct();                    \
        ret_fn(sqrt_fn((T)SUM##N(SQ_TERM)));                     \
    }
LENGTHS(vec2, 2, float, ret_float, sqrtf) LENGTHS(vec3, 3, float, ret_float, sqrtf)
LENGTHS(vec4, 4, float, ret_float, sqrtf) LENGTHS(dvec2, 2, double, ret_double, sqrt)
LENGTHS(dvec3, 3, double, ret_double, sqrt) LENGTHS(dvec4, 4, double, ret_double, sqrt)

PLAIN("distancesq(F,F)") {
    const float b = pop_float();
    const float a = pop_float();
    const double d = (double)a - b;
    ret_float((float)(d * d));
}
PLAIN("distancesq(D,D)") {
    const double b = pop_double();
    const double a = pop_double();
    ret_double((a - b) * (a - b));
}
PLAIN("distance(F,F)") {
    const float b = pop_float();
    const float a = pop_float();
    const double d = (double)a - b;
    ret_float(sqrtf((float)(d * d)));
}
PLAIN("distance(D,D)") {
    const double b = pop_double();
    const double a = pop_double();
    ret_double(sqrt((a - b) * (a - b)));
}
// distance(T(vec4),T(vec3)) is the four-component routine: it reads a fourth
// float past the vec3.
#define DISTANCES(SIG, V, N, T, ret_fn, sqrt_fn)                 \
    PLAIN("distancesq(T(" #V "),T(" #V "))") {                   \
        const V *b = (const V *)pop_struct();                    \
        const V *a = (const V *)pop_struct();                    \
        ret_fn((T)SUM##N(DIFF_TERM));                            \
    }                                                            \
    PLAIN("distance(" SIG ")") {                                 \
        const V *b = (const V *)pop_struct();                    \
        const V *a = (const V *)pop_struct();                    \
        ret_fn(sqrt_fn((T)SUM##N(DIFF_TERM)));                   \
    }
DISTANCES("T(vec2),T(vec2)", vec2, 2, float, ret_float, sqrtf)
DISTANCES("T(vec3),T(vec3)", vec3, 3, float, ret_float, sqrtf)
DISTANCES("T(vec4),T(vec3)", vec4, 4, float, ret_float, sqrtf)
DISTANCES("T(dvec2),T(dvec2)", dvec2, 2, double, ret_double, sqrt)
DISTANCES("T(dvec3),T(dvec3)", dvec3, 3, double, ret_double, sqrt)
DISTANCES("T(dvec4),T(dvec4)", dvec4, 4, double, ret_double, sqrt)

// ---- normalize: the reciprocal of the length, then one product each ----

PLAIN("normalize(F)") {
    const float x = pop_float();
    const double r = 1.0 / sqrtf((float)((double)x * x));
    ret_float((float)(x * r));
}
PLAIN("normalize(D)") {
    const double x = pop_double();
    const double r = 1.0 / sqrt(x * x);
    ret_double(x * r);
}
#define SCALED_TERM(c) (v->c * r)
#define NORMALIZE(V, N, T, sqrt_fn)                              \
    PLAIN("normalize(T(" #V "))") {                              \
        const V *v = (const V *)pop_struct();                    \
        const double r = 1.0 / sqrt_fn((T)SUM##N(SQ_TERM));      \
        const V out = BUILD##N(T, SCALED_TERM);                  \
        ret_struct(&out, sizeof out);                            \
    }
NORMALIZE(vec2, 2, float, sqrtf) NORMALIZE(vec3, 3, float, sqrtf) NORMALIZE(vec4, 4, float, sqrtf)
NORMALIZE(dvec2, 2, double, sqrt) NORMALIZE(dvec3, 3, double, sqrt) NORMALIZE(dvec4, 4, double, sqrt)

// ---- faceforward(N, I, Nref): N when dot(Nref, I) < 0, else -N ----
// A NaN dot gives -N in the scalar forms and N in the vector forms.

PLAIN("faceforward(F,F,F)") {
    const float nref = pop_float();
    const float i = pop_float();
    const float n = pop_float();
    ret_float((double)nref * i < 0 ? n : -n);
}
PLAIN("faceforward(D,D,D)") {
    const double nref = pop_double();
    const double i = pop_double();
    const double n = pop_double();
    ret_double(nref * i < 0 ? n : -n);
}
PLAIN("faceforward(I,I,I)") {
    const int32_t nref = pop_int();
    const int32_t i = pop_int();
    const int32_t n = pop_int();
    ret_int(wrap((uint32_t)nref * (uint32_t)i) < 0 ? n : wrap(0u - (uint32_t)n));
}
#define NEG_TERM(c) (-n->c)
#define INEG_TERM(c) (0u - (uint32_t)n->c)
#define FACEFORWARD(V, N, T, TERM, NEG, CAST)                    \
    PLAIN("faceforward(T(" #V "),T(" #V "),T(" #V "))") {        \
        const V *b = (const V *)pop_struct();                    \
        const V *a = (const V *)pop_struct();                    \
        const V *n = (const V *)pop_struct();                    \
        if (CAST(SUM##N(TERM)) >= 0) {                           \
            const V out = BUILD##N(T, NEG);                      \
            ret_struct(&out, sizeof out);                        \
        } else {                                                 \
            const V out = *n;                                    \
            ret_struct(&out, sizeof out);                        \
        }                                                        \
    }
#define AS_IS(x) (x)
FACEFORWARD(vec2, 2, float, DOT_TERM, NEG_TERM, AS_IS)
FACEFORWARD(vec3, 3, float, DOT_TERM, NEG_TERM, AS_IS)
FACEFORWARD(vec4, 4, float, DOT_TERM, NEG_TERM, AS_IS)
FACEFORWARD(dvec2, 2, double, DOT_TERM, NEG_TERM, AS_IS)
FACEFORWARD(dvec3, 3, double, DOT_TERM, NEG_TERM, AS_IS)
FACEFORWARD(dvec4, 4, double, DOT_TERM, NEG_TERM, AS_IS)
FACEFORWARD(ivec2, 2, int32_t, IDOT_TERM, INEG_TERM, wrap)
FACEFORWARD(ivec3, 3, int32_t, IDOT_TERM, INEG_TERM, wrap)
FACEFORWARD(ivec4, 4, int32_t, IDOT_TERM, INEG_TERM, wrap)

// ---- reflect(I, N) = I - 2 dot(N, I) N ----

PLAIN("reflect(F,F)") {
    const float n = pop_float();
    const float i = pop_float();
    ret_float((float)(i - ((double)n * i * 2) * n));
}
PLAIN("reflect(D,D)") {
    const double n = pop_double();
    const double i = pop_double();
    ret_double(i - (n * i * 2) * n);
}
#define REFLECT_TERM(c) (a->c - t * b->c)
#define REFLECT(V, N, T)                                         \
    PLAIN("reflect(T(" #V "),T(" #V "))") {                      \
        const V *b = (const V *)pop_struct(); /* N */            \
        const V *a = (const V *)pop_struct(); /* I */            \
        const double d = SUM##N(DOT_TERM);                       \
        const double t = d + d;                                  \
        const V out = BUILD##N(T, REFLECT_TERM);                 \
        ret_struct(&out, sizeof out);                            \
    }
REFLECT(vec2, 2, float) REFLECT(vec3, 3, float) REFLECT(vec4, 4, float)
REFLECT(dvec2, 2, double) REFLECT(dvec3, 3, double) REFLECT(dvec4, 4, double)

// ---- refract(I, N, eta) ----
// k = 1 - eta^2 (1 - d^2); zero when k < 0, else eta I - (eta d + sqrt k) N.

PLAIN("refract(F,F,F)") {
    const double eta = pop_float();
    const float n = pop_float();
    const float i = pop_float();
    const double d = (double)n * i;
    const double k = 1.0 - eta * eta * (1.0 - d * d);
    if (k < 0) {
        ret_float(0.0f);
    } else {
        const double t = eta * d + sqrtf((float)k);
        ret_float((float)(eta * i - t * n));
    }
}
PLAIN("refract(D,D,D)") {
    const double eta = pop_double();
    const double n = pop_double();
    const double i = pop_double();
    const double d = n * i;
    const double k = 1.0 - eta * eta * (1.0 - d * d);
    if (k < 0) {
        ret_double(0.0);
    } else {
        const double t = eta * d + sqrt(k);
        ret_double(eta * i - t * n);
    }
}
#define REFRACT_TERM(c) (eta * a->c - t * b->c)
#define REFRACT(V, N, T, pop_fn, sqrt_fn, S)                     \
    PLAIN("refract(T(" #V "),T(" #V ")," S ")") {                \
        const double eta = pop_fn();                             \
        const V *b = (const V *)pop_struct(); /* N */            \
        const V *a = (const V *)pop_struct(); /* I */            \
        const double d = SUM##N(DOT_TERM);                       \
        const double k = 1.0 - eta * eta * (1.0 - d * d);        \
        if (k < 0) {                                             \
            V out;                                               \
            memset(&out, 0, sizeof out);                         \
            ret_struct(&out, sizeof out);                        \
        } else {                                                 \
            const double t = eta * d + sqrt_fn((T)k);            \
            const V out = BUILD##N(T, REFRACT_TERM);             \
            ret_struct(&out, sizeof out);                        \
        }                                                        \
    }
REFRACT(vec2, 2, float, pop_float, sqrtf, "F") REFRACT(vec3, 3, float, pop_float, sqrtf, "F")
REFRACT(vec4, 4, float, pop_float, sqrtf, "F") REFRACT(dvec2, 2, double, pop_double, sqrt, "D")
REFRACT(dvec3, 3, double, pop_double, sqrt, "D") REFRACT(dvec4, 4, double, pop_double, sqrt, "D")

// ---- cross ----
// Plane: a.x b.y - a.y b.x. cross(v, s) = (s v.y, -s v.x); cross(s, v) =
// (-s v.y, s v.x). Space: (a.y b.z - a.z b.y, a.z b.x - a.x b.z, a.x b.y - a.y b.x).

#define CROSS_FLOATING(V2, V3, S, T, W, pop_s, ret_s)                               \
    PLAIN("cross(T(" #V2 "),T(" #V2 "))") {                                         \
        const V2 *b = (const V2 *)pop_struct();                                     \
        const V2 *a = (const V2 *)pop_struct();                                     \
        ret_s((T)((W)a->x * b->y - (W)a->y * b->x));                                \
    }                                                                               \
    PLAIN("cross(T(" #V2 ")," S ")") {                                              \
        const W s = pop_s();                                                        \
        const V2 *v = (const V2 *)pop_struct();                                     \
        const V2 out = {(T)(s * v->y), (T)(-(s * v->x))};                           \
        ret_struct(&out, sizeof out);                                               \
    }                                                                               \
    PLAIN("cross(" S ",T(" #V2 "))") {                                              \
        const V2 *v = (const V2 *)pop_struct();                                     \
        const W s = pop_s();                                                        \
        const V2 out = {(T)(-(s * v->y)), (T)(s * v->x)};                           \
        ret_struct(&out, sizeof out);                                               \
    }                                                                               \
    PLAIN("cross(T(" #V3 "),T(" #V3 "))") {                                         \
        const V3 *b = (const V3 *)pop_struct();                                     \
        const V3 *a = (const V3 *)pop_struct();                                     \
        const V3 out = {(T)((W)a->y * b->z - (W)a->z * b->y),                       \
                        (T)((W)a->z * b->x - (W)a->x * b->z),                       \
                        (T)((W)a->x * b->y - (W)a->y * b->x)};                      \
        ret_struct(&out, sizeof out);                                               \
    }
CROSS_FLOATING(vec2, vec3, "F", float, double, pop_float, ret_float)
CROSS_FLOATING(dvec2, dvec3, "D", double, double, pop_double, ret_double)

#define U(x) ((uint32_t)(x))
PLAIN("cross(T(ivec2),T(ivec2))") {
    const ivec2 *b = (const ivec2 *)pop_struct();
    const ivec2 *a = (const ivec2 *)pop_struct();
    ret_int(wrap(U(a->x) * U(b->y) - U(a->y) * U(b->x)));
}
PLAIN("cross(T(ivec2),I)") {
    const uint32_t s = U(pop_int());
    const ivec2 *v = (const ivec2 *)pop_struct();
    const ivec2 out = {wrap(s * U(v->y)), wrap(0u - s * U(v->x))};
    ret_struct(&out, sizeof out);
}
PLAIN("cross(I,T(ivec2))") {
    const ivec2 *v = (const ivec2 *)pop_struct();
    const uint32_t s = U(pop_int());
    const ivec2 out = {wrap(0u - s * U(v->y)), wrap(s * U(v->x))};
    ret_struct(&out, sizeof out);
}
PLAIN("cross(T(ivec3),T(ivec3))") {
    const ivec3 *b = (const ivec3 *)pop_struct();
    const ivec3 *a = (const ivec3 *)pop_struct();
    const ivec3 out = {wrap(U(a->y) * U(b->z) - U(a->z) * U(b->y)),
                       wrap(U(a->z) * U(b->x) - U(a->x) * U(b->z)),
                       wrap(U(a->x) * U(b->y) - U(a->y) * U(b->x))};
    ret_struct(&out, sizeof out);
}

// ---- The integer plane: y points down, angles in milli-degrees ----

static const double MILLIDEG_PER_RAD = 57295.77951;

PLAIN("fget_angle(I,I,I,I)") {
    const int32_t y2 = pop_int();
    const int32_t x2 = pop_int();
    const int32_t y1 = pop_int();
    const int32_t x1 = pop_int();
    const int32_t dy = wrap(U(y1) - U(y2));
    const int32_t dx = wrap(U(x2) - U(x1));
    if (dx == 0 && dy == 0)
        ret_int(0);
    else
        ret_int(to_int_d((double)(float)atan2((double)dy, (double)dx) * MILLIDEG_PER_RAD));
}

// |x2 - x1| and |y2 - y1| halved together while their sum exceeds 45999.
#define REDUCE()                                                         \
    const int32_t y2 = pop_int();                                        \
    const int32_t x2 = pop_int();                                        \
    const int32_t y1 = pop_int();                                        \
    const int32_t x1 = pop_int();                                        \
    int32_t ax = wrap(U(x2) - U(x1)), ay = wrap(U(y2) - U(y1));          \
    if (ax < 0) ax = wrap(0u - U(ax));                                   \
    if (ay < 0) ay = wrap(0u - U(ay));                                   \
    int32_t scale = 1;                                                   \
    while (wrap(U(ax) + U(ay)) > 45999) {                                \
        ax >>= 1;                                                        \
        ay >>= 1;                                                        \
        scale = wrap(U(scale) * 2u);                                     \
    }

PLAIN("fget_dist(I,I,I,I)") {
    REDUCE()
    ret_int(to_int_d(sqrt((double)ax * ax + (double)ay * ay) * scale));
}
PLAIN("fget_distsq(I,I,I,I)") {
    REDUCE()
    ret_int(wrap((U(ax) * U(ax) + U(ay) * U(ay)) * U(scale)));
}

PLAIN("get_distx(I,I)") {
    const int32_t length = pop_int();
    const int32_t angle = pop_int();
    const float c = (float)cos((double)angle / MILLIDEG_PER_RAD);
    ret_int(to_int_d((double)c * length));
}
PLAIN("get_disty(I,I)") {
    const int32_t length = pop_int();
    const int32_t angle = pop_int();
    const float s = (float)sin((double)angle / MILLIDEG_PER_RAD);
    ret_int(wrap(0u - U(to_int_d((double)s * length))));
}

// The adjusting loops as the rule states them; the bench's call lies far
// from the int limits, where they end after a turn or two.
PLAIN("near_angle(I,I,I)") {
    const int32_t step = pop_int();
    const int32_t target = pop_int();
    int32_t current = pop_int();
    const int32_t s = step < 0 ? wrap(0u - U(step)) : step;
    while (current < wrap(U(target) - 180000u))
        current = wrap(U(current) + 360000u);
    while (current > wrap(U(target) + 180000u))
        current = wrap(U(current) - 360000u);
    if (target > current) {
        const int32_t next = wrap(U(current) + U(s));
        ret_int(next > target ? target : next);
    } else {
        const int32_t next = wrap(U(current) - U(s));
        ret_int(next < target ? target : next);
    }
}

// ---- vec_new, vec_add, vec_sub, vec_mul, vec_neg ----

#define ADD_TERM(c) ((double)a->c + b->c)
#define SUB_TERM(c) ((double)a->c - b->c)
#define MUL_TERM(c) ((double)a->c * s)
#define VNEG_TERM(c) (-a->c)
#define IADD_TERM(c) wrap(U(a->c) + U(b->c))
#define ISUB_TERM(c) wrap(U(a->c) - U(b->c))
#define IMUL_TERM(c) wrap(U(a->c) * U(s))
#define IVNEG_TERM(c) wrap(0u - U(a->c))

#define ARITHMETIC(V, N, T, S, pop_s, ADD, SUB, MUL, NEG)        \
    PLAIN("vec_add(T(" #V "),T(" #V "))") {                      \
        const V *b = (const V *)pop_struct();                    \
        const V *a = (const V *)pop_struct();                    \
        const V out = BUILD##N(T, ADD);                          \
        ret_struct(&out, sizeof out);                            \
    }                                                            \
    PLAIN("vec_sub(T(" #V "),T(" #V "))") {                      \
        const V *b = (const V *)pop_struct();                    \
        const V *a = (const V *)pop_struct();                    \
        const V out = BUILD##N(T, SUB);                          \
        ret_struct(&out, sizeof out);                            \
    }                                                            \
    PLAIN("vec_mul(T(" #V ")," S ")") {                          \
        const T s = pop_s();                                     \
        const V *a = (const V *)pop_struct();                    \
        const V out = BUILD##N(T, MUL);                          \
        ret_struct(&out, sizeof out);                            \
    }                                                            \
    PLAIN("vec_neg(T(" #V "))") {                                \
        const V *a = (const V *)pop_struct();                    \
        const V out = BUILD##N(T, NEG);                          \
        ret_struct(&out, sizeof out);                            \
    }
ARITHMETIC(vec2, 2, float, "F", pop_float, ADD_TERM, SUB_TERM, MUL_TERM, VNEG_TERM)
ARITHMETIC(vec3, 3, float, "F", pop_float, ADD_TERM, SUB_TERM, MUL_TERM, VNEG_TERM)
ARITHMETIC(vec4, 4, float, "F", pop_float, ADD_TERM, SUB_TERM, MUL_TERM, VNEG_TERM)
ARITHMETIC(dvec2, 2, double, "D", pop_double, ADD_TERM, SUB_TERM, MUL_TERM, VNEG_TERM)
ARITHMETIC(dvec3, 3, double, "D", pop_double, ADD_TERM, SUB_TERM, MUL_TERM, VNEG_TERM)
ARITHMETIC(dvec4, 4, double, "D", pop_double, ADD_TERM, SUB_TERM, MUL_TERM, VNEG_TERM)
ARITHMETIC(ivec2, 2, int32_t, "I", pop_int, IADD_TERM, ISUB_TERM, IMUL_TERM, IVNEG_TERM)
ARITHMETIC(ivec3, 3, int32_t, "I", pop_int, IADD_TERM, ISUB_TERM, IMUL_TERM, IVNEG_TERM)
ARITHMETIC(ivec4, 4, int32_t, "I", pop_int, IADD_TERM, ISUB_TERM, IMUL_TERM, IVNEG_TERM)

// The last argument, popped first, is the last component.
#define NEW(V2, V3, V4, S, pop_s)                                                \
    PLAIN("vec_new(" S "," S ")") {                                              \
        V2 out;                                                                  \
        out.y = pop_s();                                                         \
        out.x = pop_s();                                                         \
        ret_struct(&out, sizeof out);                                            \
    }                                                                            \
    PLAIN("vec_new(" S "," S "," S ")") {                                        \
        V3 out;                                                                  \
        out.z = pop_s();                                                         \
        out.y = pop_s();                                                         \
        out.x = pop_s();                                                         \
        ret_struct(&out, sizeof out);                                            \
    }                                                                            \
    PLAIN("vec_new(" S "," S "," S "," S ")") {                                  \
        V4 out;                                                                  \
        out.w = pop_s();                                                         \
        out.z = pop_s();                                                         \
        out.y = pop_s();                                                         \
        out.x = pop_s();                                                         \
        ret_struct(&out, sizeof out);                                            \
    }
NEW(vec2, vec3, vec4, "F", pop_float)
NEW(ivec2, ivec3, ivec4, "I", pop_int)
NEW(dvec2, dvec3, dvec4, "D", pop_double)

// ---- Comparisons ----
// Every row is bound to the float routine of its size: an ivec or dvec
// argument is read as the floats its first bytes spell.

#define ALL2(OP) (a->x OP b->x && a->y OP b->y)
#define ALL3(OP) (a->x OP b->x && a->y OP b->y && a->z OP b->z)
#define ALL4(OP) (a->x OP b->x && a->y OP b->y && a->z OP b->z && a->w OP b->w)
#define COMPARISON(NAME, OP, SIG, F, N)                          \
    PLAIN(#NAME "(T(" #SIG "),T(" #SIG "))") {                   \
        const F *b = (const F *)pop_struct();                    \
        const F *a = (const F *)pop_struct();                    \
        ret_int(ALL##N(OP));                                     \
    }
#define COMPARISONS(SIG, F, N)                                   \
    COMPARISON(vec_eq, ==, SIG, F, N)                            \
    COMPARISON(vec_ne, !=, SIG, F, N)                            \
    COMPARISON(vec_lt, <, SIG, F, N)                             \
    COMPARISON(vec_le, <=, SIG, F, N)                            \
    COMPARISON(vec_gt, >, SIG, F, N)                             \
    COMPARISON(vec_ge, >=, SIG, F, N)
COMPARISONS(vec2, vec2, 2) COMPARISONS(vec3, vec3, 3) COMPARISONS(vec4, vec4, 4)
COMPARISONS(ivec2, vec2, 2) COMPARISONS(ivec3, vec3, 3) COMPARISONS(ivec4, vec4, 4)
COMPARISONS(dvec2, vec2, 2) COMPARISONS(dvec3, vec3, 3) COMPARISONS(dvec4, vec4, 4)

// ---- The 2-D operations ----

// vec_near(a, b, r): r^2 > dx^2 + dy^2 with dx = a.x - b.x and dy = b.x - b.y.
#define NEAR(V, S, pop_s)                                        \
    PLAIN("vec_near(T(" #V "),T(" #V ")," S ")") {               \
        const double r = pop_s();                                \
        const V *b = (const V *)pop_struct();                    \
        const V *a = (const V *)pop_struct();                    \
        const double dx = (double)a->x - b->x;                   \
        const double dy = (double)b->x - b->y;                   \
        ret_int(r * r > dx * dx + dy * dy);                      \
    }
NEAR(vec2, "F", pop_float) NEAR(dvec2, "D", pop_double)
PLAIN("vec_near(T(ivec2),T(ivec2),I)") {
    const uint32_t r = U(pop_int());
    const ivec2 *b = (const ivec2 *)pop_struct();
    const ivec2 *a = (const ivec2 *)pop_struct();
    const uint32_t dx = U(a->x) - U(b->x);
    const uint32_t dy = U(b->x) - U(b->y);
    ret_int(wrap(r * r) > wrap(dx * dx + dy * dy));
}

// vec_perp(a) = (-a.y, a.x), vec_rperp(a) = (a.y, -a.x).
#define PERP(V, T, NEG)                                          \
    PLAIN("vec_perp(T(" #V "))") {                               \
        const V *a = (const V *)pop_struct();                    \
        const V out = {NEG(a->y), a->x};                         \
        ret_struct(&out, sizeof out);                            \
    }                                                            \
    PLAIN("vec_rperp(T(" #V "))") {                              \
        const V *a = (const V *)pop_struct();                    \
        const V out = {a->y, NEG(a->x)};                         \
        ret_struct(&out, sizeof out);                            \
    }
#define FNEG(x) (-(x))
#define INEG(x) wrap(0u - U(x))
PERP(vec2, float, FNEG) PERP(dvec2, double, FNEG) PERP(ivec2, int32_t, INEG)

// vec_project(a, b): k = a.b / b.b, then (b.x k, b.y k); k stays unrounded.
#define PROJECT(V, T)                                                        \
    PLAIN("vec_project(T(" #V "),T(" #V "))") {                              \
        const V *b = (const V *)pop_struct();                                \
        const V *a = (const V *)pop_struct();                                \
        const double k = ((double)a->x * b->x + (double)a->y * b->y) /       \
                         ((double)b->x * b->x + (double)b->y * b->y);        \
        const V out = {(T)(b->x * k), (T)(b->y * k)};                        \
        ret_struct(&out, sizeof out);                                        \
    }
PROJECT(vec2, float) PROJECT(dvec2, double)
// Truncating division; a divisor that is 0 gives k = 0 (the module's choice
// for the undefined case). b.b is never -1, so the quotient stays in range.
PLAIN("vec_project(T(ivec2),T(ivec2))") {
    const ivec2 *b = (const ivec2 *)pop_struct();
    const ivec2 *a = (const ivec2 *)pop_struct();
    const int32_t n = wrap(U(a->x) * U(b->x) + U(a->y) * U(b->y));
    const int32_t d = wrap(U(b->x) * U(b->x) + U(b->y) * U(b->y));
    const uint32_t k = d == 0 ? 0u : U(n / d);
    const ivec2 out = {wrap(U(b->x) * k), wrap(U(b->y) * k)};
    ret_struct(&out, sizeof out);
}

// vec_rotate(a, b) = (a.x b.x - a.y b.y, a.x b.y + a.y b.x);
// vec_unrotate(a, b) = (a.x b.x + a.y b.y, a.y b.x - a.x b.y).
#define ROTATE(V, T, W)                                                          \
    PLAIN("vec_rotate(T(" #V "),T(" #V "))") {                                   \
        const V *b = (const V *)pop_struct();                                    \
        const V *a = (const V *)pop_struct();                                    \
        const V out = {(T)((W)a->x * b->x - (W)a->y * b->y),                     \
                       (T)((W)a->x * b->y + (W)a->y * b->x)};                    \
        ret_struct(&out, sizeof out);                                            \
    }                                                                            \
    PLAIN("vec_unrotate(T(" #V "),T(" #V "))") {                                 \
        const V *b = (const V *)pop_struct();                                    \
        const V *a = (const V *)pop_struct();                                    \
        const V out = {(T)((W)a->x * b->x + (W)a->y * b->y),                     \
                       (T)((W)a->y * b->x - (W)a->x * b->y)};                    \
        ret_struct(&out, sizeof out);                                            \
    }
ROTATE(vec2, float, double) ROTATE(dvec2, double, double) ROTATE(ivec2, int32_t, uint32_t)

// Radians whatever the angle unit, in the argument's precision.
PLAIN("vec_toangle(T(vec2))") {
    const vec2 *a = (const vec2 *)pop_struct();
    ret_float(atan2f(a->y, a->x));
}
PLAIN("vec_toangle(T(dvec2))") {
    const dvec2 *a = (const dvec2 *)pop_struct();
    ret_double(atan2(a->y, a->x));
}
PLAIN("vec_forangle(F)") {
    const float t = pop_float();
    vec2 out;
    sincosf(t, &out.y, &out.x);
    ret_struct(&out, sizeof out);
}
PLAIN("vec_forangle(D)") {
    const double t = pop_double();
    dvec2 out;
    sincos(t, &out.y, &out.x);
    ret_struct(&out, sizeof out);
}

// ---- Bounding boxes (l, b, r, t); nothing normalises a box ----

#define BOX_NEW(B, P, T, S, pop_s)                                       \
    PLAIN("bbox_new(" S "," S "," S "," S ")") {                         \
        B out;                                                           \
        out.t = pop_s();                                                 \
        out.r = pop_s();                                                 \
        out.b = pop_s();                                                 \
        out.l = pop_s();                                                 \
        ret_struct(&out, sizeof out);                                    \
    }                                                                    \
    PLAIN("bbox_new(T(" #P "),T(" #P "))") {                             \
        const P *q = (const P *)pop_struct();                            \
        const P *p = (const P *)pop_struct();                            \
        const B out = {p->x, p->y, q->x, q->y};                          \
        ret_struct(&out, sizeof out);                                    \
    }
BOX_NEW(bbox, vec2, float, "F", pop_float)
BOX_NEW(ibbox, ivec2, int32_t, "I", pop_int)
BOX_NEW(dbbox, dvec2, double, "D", pop_double)

// The square of half size h centred on (x, y).
#define BOX_SQUARE(B, P, T, S, pop_s)                                            \
    PLAIN("bbox_new(" S "," S "," S ")") {                                       \
        const double h = pop_s();                                                \
        const double y = pop_s();                                                \
        const double x = pop_s();                                                \
        const B out = {(T)(x - h), (T)(y - h), (T)(x + h), (T)(y + h)};          \
        ret_struct(&out, sizeof out);                                            \
    }                                                                            \
    PLAIN("bbox_new(T(" #P ")," S ")") {                                         \
        const double h = pop_s();                                                \
        const P *c = (const P *)pop_struct();                                    \
        const B out = {(T)(c->x - h), (T)(c->y - h), (T)(c->x + h), (T)(c->y + h)}; \
        ret_struct(&out, sizeof out);                                            \
    }
BOX_SQUARE(bbox, vec2, float, "F", pop_float)
BOX_SQUARE(dbbox, dvec2, double, "D", pop_double)
PLAIN("bbox_new(I,I,I)") {
    const uint32_t h = U(pop_int());
    const uint32_t y = U(pop_int());
    const uint32_t x = U(pop_int());
    const ibbox out = {wrap(x - h), wrap(y - h), wrap(x + h), wrap(y + h)};
    ret_struct(&out, sizeof out);
}
PLAIN("bbox_new(T(ivec2),I)") {
    const uint32_t h = U(pop_int());
    const ivec2 *c = (const ivec2 *)pop_struct();
    const ibbox out = {wrap(U(c->x) - h), wrap(U(c->y) - h), wrap(U(c->x) + h), wrap(U(c->y) + h)};
    ret_struct(&out, sizeof out);
}

// Edges inclusive; boxes that touch intersect. Growing and merging keep the
// smaller value on every edge (the second when unordered).
#define LESSER(p, q) ((p) < (q) ? (p) : (q))
#define GREATER(p, q) ((p) > (q) ? (p) : (q))
#define BOX_TESTS(B, P)                                                                  \
    PLAIN("bbox_contains(T(" #B "),T(" #P "))") {                                        \
        const P *p = (const P *)pop_struct();                                            \
        const B *a = (const B *)pop_struct();                                            \
        ret_int(a->l <= p->x && p->x <= a->r && a->b <= p->y && p->y <= a->t);           \
    }                                                                                    \
    PLAIN("bbox_contains(T(" #B "),T(" #B "))") {                                        \
        const B *b = (const B *)pop_struct();                                            \
        const B *a = (const B *)pop_struct();                                            \
        ret_int(a->l <= b->l && b->r <= a->r && a->b <= b->b && b->t <= a->t);           \
    }                                                                                    \
    PLAIN("bbox_intersects(T(" #B "),T(" #B "))") {                                      \
        const B *b = (const B *)pop_struct();                                            \
        const B *a = (const B *)pop_struct();                                            \
        ret_int(b->r >= a->l && a->r >= b->l && b->t >= a->b && a->t >= b->b);           \
    }                                                                                    \
    PLAIN("bbox_expand(T(" #B "),T(" #P "))") {                                          \
        const P *p = (const P *)pop_struct();                                            \
        const B *a = (const B *)pop_struct();                                            \
        const B out = {LESSER(a->l, p->x), LESSER(a->b, p->y), LESSER(a->r, p->x),       \
                       LESSER(a->t, p->y)};                                              \
        ret_struct(&out, sizeof out);                                                    \
    }                                                                                    \
    PLAIN("bbox_merge(T(" #B "),T(" #B "))") {                                           \
        const B *b = (const B *)pop_struct();                                            \
        const B *a = (const B *)pop_struct();                                            \
        const B out = {LESSER(a->l, b->l), LESSER(a->b, b->b), LESSER(a->r, b->r),       \
                       LESSER(a->t, b->t)};                                              \
        ret_struct(&out, sizeof out);                                                    \
    }
BOX_TESTS(bbox, vec2) BOX_TESTS(ibbox, ivec2) BOX_TESTS(dbbox, dvec2)

// Signed width times height; with two boxes, of the box enclosing both.
#define BOX_AREAS(B, T, ret_fn)                                                          \
    PLAIN("bbox_get_area(T(" #B "))") {                                                  \
        const B *a = (const B *)pop_struct();                                            \
        ret_fn((T)(((double)a->r - a->l) * ((double)a->t - a->b)));                      \
    }                                                                                    \
    PLAIN("bbox_get_area(T(" #B "),T(" #B "))") {                                        \
        const B *b = (const B *)pop_struct();                                            \
        const B *a = (const B *)pop_struct();                                            \
        const T l = LESSER(a->l, b->l), bottom = LESSER(a->b, b->b);                     \
        const T r = GREATER(a->r, b->r), t = GREATER(a->t, b->t);                        \
        ret_fn((T)(((double)r - l) * ((double)t - bottom)));                             \
    }
BOX_AREAS(bbox, float, ret_float) BOX_AREAS(dbbox, double, ret_double)
PLAIN("bbox_get_area(T(ibbox))") {
    const ibbox *a = (const ibbox *)pop_struct();
    ret_int(wrap((U(a->r) - U(a->l)) * (U(a->t) - U(a->b))));
}
PLAIN("bbox_get_area(T(ibbox),T(ibbox))") {
    const ibbox *b = (const ibbox *)pop_struct();
    const ibbox *a = (const ibbox *)pop_struct();
    const int32_t l = LESSER(a->l, b->l), bottom = LESSER(a->b, b->b);
    const int32_t r = GREATER(a->r, b->r), t = GREATER(a->t, b->t);
    ret_int(wrap((U(r) - U(l)) * (U(t) - U(bottom))));
}

// The segment p (fraction 0) to q (fraction 1) against the box, by slabs:
// an edge level with the start takes -inf (low edge) or +inf (high edge).
// Sets meets and enter.
#define SEGMENT(B, P)                                                                    \
    const P *q = (const P *)pop_struct();                                                \
    const P *p = (const P *)pop_struct();                                                \
    const B *a = (const B *)pop_struct();                                                \
    const double ix = 1.0 / ((double)q->x - p->x);                                       \
    const double tx1 = a->l == p->x ? -HUGE_VAL : ((double)a->l - p->x) * ix;            \
    const double tx2 = a->r == p->x ? HUGE_VAL : ((double)a->r - p->x) * ix;             \
    const double iy = 1.0 / ((double)q->y - p->y);                                       \
    const double ty1 = a->b == p->y ? -HUGE_VAL : ((double)a->b - p->y) * iy;            \
    const double ty2 = a->t == p->y ? HUGE_VAL : ((double)a->t - p->y) * iy;             \
    const double txmin = LESSER(tx1, tx2), txmax = GREATER(tx1, tx2);                    \
    const double tymin = LESSER(ty1, ty2), tymax = GREATER(ty1, ty2);                    \
    int meets = 0;                                                                       \
    double enter = 0;                                                                    \
    if (!(txmax < tymin || tymax < txmin)) {                                             \
        enter = GREATER(txmin, tymin);                                                   \
        const double exit = LESSER(txmax, tymax);                                        \
        meets = exit >= 0.0 && enter <= 1.0;                                             \
    }

PLAIN("bbox_get_fraction(T(bbox),T(vec2),T(vec2))") {
    SEGMENT(bbox, vec2)
    ret_float(meets ? (float)GREATER(enter, 0.0) : HUGE_VALF);
}
PLAIN("bbox_get_fraction(T(dbbox),T(dvec2),T(dvec2))") {
    SEGMENT(dbbox, dvec2)
    ret_double(meets ? GREATER(enter, 0.0) : HUGE_VAL);
}
// An entry fraction above the largest float answers 0.
PLAIN("bbox_intersects(T(bbox),T(vec2),T(vec2))") {
    SEGMENT(bbox, vec2)
    ret_int(meets && !(enter > (double)FLT_MAX));
}
PLAIN("bbox_intersects(T(dbbox),T(dvec2),T(dvec2))") {
    SEGMENT(dbbox, dvec2)
    ret_int(meets && !(enter > (double)FLT_MAX));
}
