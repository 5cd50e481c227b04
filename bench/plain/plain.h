// Plain readings: each table row's rule written as simply as C allows, the
// yardstick that kav_rows times the module's routine against (README,
// "Benchmarks").
//
// Adding plain readings: create bench/plain/<subsystem>.cpp (CMake compiles
// every bench/plain/*.cpp into kav_rows), include "plain.h" and nothing from
// src/, and write one block per row, keyed by its signature exactly as the
// table registers it:
//
//   PLAIN("round(D)") {
//       const double x = pop_double();
//       const long double h = x < 0 ? (long double)x - 0.5f : (long double)x + 0.5f;
//       ret_double((double)to_int_ld(h));
//   }
//
// A plain reading makes the module's pops, last argument first, through the
// slots below; calls the library routines the rule names and takes the
// precision steps it states, written out directly; uses no templates; and
// sets its one result once. Read struct arguments through the pointer that
// pop_struct gives (const vec3 *a = (const vec3 *)pop_struct();). A macro
// may stamp out the typed variants of one reading, one PLAIN block each:
//
//   #define ABS_VEC3(V, fabs_fn) PLAIN("abs(T(" #V "))") { ... }
//   ABS_VEC3(vec3, fabsf) ABS_VEC3(dvec3, fabs)
//
// Then `scripts/bench.sh --rows '^round\('` times those rows next to the
// module's and checks that each reading answers what the module answers.
#ifndef KAV_BENCH_PLAIN_H
#define KAV_BENCH_PLAIN_H

#include <math.h>
#include <stdint.h>
#include <string.h>

#include "kav/abi.h"

// ---- Registration ----------------------------------------------------------

typedef void (*plain_reading)(void);

// Records the reading of the row with this signature; kav_rows rejects a
// signature read twice or unknown to the table.
int plain_register(const char *signature, plain_reading reading);

// The readings recorded, in the order they were: plain_count() of them.
int plain_count(void);
const char *plain_signature(int i);
plain_reading plain_function(int i);

#define PLAIN(signature) PLAIN_NUMBERED(signature, __COUNTER__)
#define PLAIN_NUMBERED(signature, n) PLAIN_DEFINE(signature, n)
#define PLAIN_DEFINE(signature, n)                                             \
    static void plain_reading_##n(void);                                       \
    [[maybe_unused]] static const int plain_registered_##n =                   \
        plain_register(signature, plain_reading_##n);                          \
    static void plain_reading_##n(void)

// ---- The runtime and the module's state --------------------------------------
// Set through plain_bind before any reading runs: the runtime interface the
// module reads through kavre, and the module's own globals. The readings are
// a shared object of their own, as the module is, and reach these directly,
// as the module reaches its own state.

#define PLAIN_STATE __attribute__((visibility("hidden")))
extern PLAIN_STATE RuntimeInterface *plain_rt;
extern PLAIN_STATE int32_t *plain_angle_unit;  // math_angle_unit: 1 radians, else milli-degrees
extern PLAIN_STATE int32_t *plain_sin_tab, *plain_cos_tab, *plain_asin_tab, *plain_acos_tab;
extern PLAIN_STATE uint32_t *plain_m_z, *plain_m_w;

typedef struct {
    RuntimeInterface *rt;
    int32_t *angle_unit, *sin_tab, *cos_tab, *asin_tab, *acos_tab;
    uint32_t *m_z, *m_w;
} plain_module;
void plain_bind(const plain_module *m);

static inline int32_t pop_int(void) { return ((KavPopInt)plain_rt->slot[KAV_RT_POP_INT])(); }
static inline float pop_float(void) { return ((KavPopFloat)plain_rt->slot[KAV_RT_POP_FLOAT])(); }
static inline double pop_double(void) { return ((KavPopDouble)plain_rt->slot[KAV_RT_POP_DOUBLE])(); }
static inline void *pop_struct(void) { return ((KavPopStruct)plain_rt->slot[KAV_RT_POP_STRUCT])(); }
static inline int32_t *pop_int_ptr(void) { return ((KavPopIntPtr)plain_rt->slot[KAV_RT_POP_INT_PTR])(); }
static inline float *pop_float_ptr(void) { return ((KavPopFloatPtr)plain_rt->slot[KAV_RT_POP_FLOAT_PTR])(); }
static inline double *pop_double_ptr(void) { return ((KavPopDoublePtr)plain_rt->slot[KAV_RT_POP_DOUBLE_PTR])(); }
static inline void *pop_struct_ptr(void) { return ((KavPopStructPtr)plain_rt->slot[KAV_RT_POP_STRUCT_PTR])(); }

static inline void ret_int(int32_t v) { ((KavRetInt)plain_rt->slot[KAV_RT_RET_INT])(v); }
static inline void ret_float(float v) { ((KavRetFloat)plain_rt->slot[KAV_RT_RET_FLOAT])(v); }
static inline void ret_double(double v) { ((KavRetDouble)plain_rt->slot[KAV_RT_RET_DOUBLE])(v); }
static inline void ret_struct(const void *fields, int32_t bytes) {
    ((KavRetStruct)plain_rt->slot[KAV_RT_RET_STRUCT])(fields, bytes);
}
static inline void raise_error(int32_t code, const char *routine, int32_t a, int32_t b, int32_t value) {
    ((KavRaiseError)plain_rt->slot[KAV_RT_RAISE_ERROR])(code, routine, a, b, value);
}

// ---- Conversions ---------------------------------------------------------------
// Floating to int as the rules state it: toward zero, -2147483648 for NaN and
// out-of-range values. Wrapping int arithmetic goes through uint32_t.
static inline int32_t to_int_f(float x) {
    return x > -2147483649.0f && x < 2147483648.0f ? (int32_t)x : INT32_MIN;
}
static inline int32_t to_int_d(double x) {
    return x > -2147483649.0 && x < 2147483648.0 ? (int32_t)x : INT32_MIN;
}
// Not a cast: a long double cast switches the x87 rounding mode, and where
// that code lands on some offsets it costs ~100 ns a call instead of 3 on
// some processors, which would make the yardstick itself jump. rintl gives a
// neighbouring integer; one step toward zero where it lies beyond x.
static inline int32_t to_int_ld(long double x) {
    if (!(x > -2147483649.0L && x < 2147483648.0L))
        return INT32_MIN;
    const long double r = rintl(x);
    double d = (double)r;
    if (x < 0 ? r < x : r > x)
        d += x < 0 ? 1.0 : -1.0;
    return (int32_t)d;
}

// ---- The script types ------------------------------------------------------------
// Packed fields in order, as pop_struct hands them over.

typedef struct { float x, y; } vec2;
typedef struct { float x, y, z; } vec3;
typedef struct { float x, y, z, w; } vec4;
typedef struct { int32_t x, y; } ivec2;
typedef struct { int32_t x, y, z; } ivec3;
typedef struct { int32_t x, y, z, w; } ivec4;
typedef struct { double x, y; } dvec2;
typedef struct { double x, y, z; } dvec3;
typedef struct { double x, y, z, w; } dvec4;
typedef struct { float l, b, r, t; } bbox;
typedef struct { int32_t l, b, r, t; } ibbox;
typedef struct { double l, b, r, t; } dbbox;

#define PLAIN_MATRICES(prefix, T)                      \
    typedef struct { T m[4]; } prefix##mat2;           \
    typedef struct { T m[6]; } prefix##mat2x3;         \
    typedef struct { T m[8]; } prefix##mat2x4;         \
    typedef struct { T m[6]; } prefix##mat3x2;         \
    typedef struct { T m[9]; } prefix##mat3;           \
    typedef struct { T m[12]; } prefix##mat3x4;        \
    typedef struct { T m[8]; } prefix##mat4x2;         \
    typedef struct { T m[12]; } prefix##mat4x3;        \
    typedef struct { T m[16]; } prefix##mat4;
PLAIN_MATRICES(, float)
PLAIN_MATRICES(i, int32_t)
PLAIN_MATRICES(d, double)
#undef PLAIN_MATRICES

#endif  // KAV_BENCH_PLAIN_H
