// The module frame: what every family builds on.
//
// - the module state (runtime interface, lookup tables, angle unit, random words);
// - the script value types vec<T, N>, box<T> and mat<T, A, B>;
// - argument and result helpers over the runtime interface's slots, so that a
//   routine reads like its description: pop the last argument first, compute,
//   set one result;
// - the one floating-to-int conversion and wrapping int arithmetic;
// - the declaration of every exported routine, derived from the row lists.
#ifndef KAV_FRAME_H
#define KAV_FRAME_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kav/abi.h"

#define KAV_EXPORT __attribute__((visibility("default")))
// The module's state: the code names hidden objects, which the compiler
// reaches directly, as it reaches its own statics (an exported object is
// reached through the GOT, a load more before every runtime call), and
// KAV_EXPORT_STATE, next to the definition, gives the object its exported
// name as an alias.
#define KAV_STATE(name) asm("kav_state_" #name) __attribute__((visibility("hidden")))
#define KAV_EXPORT_STATE(name)                                                                \
    extern decltype(name) exported_##name asm(#name)                                          \
        __attribute__((alias("kav_state_" #name), visibility("default")));

// ---- Module state -----------------------------------------------------------

enum : int32_t {
    KAV_QUARTER_TURN = 90000,     // milli-degrees
    KAV_SIN_TAB_SIZE = 90001,     // angles 0..90000
    KAV_ASIN_TAB_SIZE = 2001,     // sine values -1000..1000
};

extern "C" {
extern RuntimeInterface *kavre KAV_STATE(kavre);
extern int32_t sin_tab[KAV_SIN_TAB_SIZE] KAV_STATE(sin_tab);
extern int32_t cos_tab[KAV_SIN_TAB_SIZE] KAV_STATE(cos_tab);
extern int32_t asin_tab[KAV_ASIN_TAB_SIZE] KAV_STATE(asin_tab);
extern int32_t acos_tab[KAV_ASIN_TAB_SIZE] KAV_STATE(acos_tab);
extern int32_t math_angle_unit KAV_STATE(math_angle_unit);
extern uint32_t m_z KAV_STATE(m_z);
extern uint32_t m_w KAV_STATE(m_w);

KAV_EXPORT int32_t KAV_mod_math_MainLibraryProperties(const PropertiesTable *table);
KAV_EXPORT int32_t KAV_mod_math_MainLibraryExports(const RegistrationTable *table);
KAV_EXPORT void KAV_mod_math_init(void);

// Every script routine: parameterless, external, exported.
#define KAV_GROUP(name, rows)
#define KAV_ROW(sig, ret, fn) KAV_EXPORT void fn(void);
#define KAV_UNBOUND(fn, ...) KAV_EXPORT void fn(void);
#define KAV_ENTRY(fn)
#define KAV_DATA(name)
#include "rows.def"
#include "exports.def"
#undef KAV_GROUP
#undef KAV_ROW
#undef KAV_UNBOUND
#undef KAV_ENTRY
#undef KAV_DATA
}

// Defines a script routine declared above.
#define KAV_ROUTINE(fn) extern "C" void fn(void)

namespace kav {

// Angle units accepted by mathlib_set_angleunit.
enum : int32_t { DEGREE_UNIT = 0, RADIAN_UNIT = 1 };

// Radians to milli-degrees: 180000 / pi cut after five decimals. The written
// literal, not a value computed from pi, is what the integer angle code uses.
inline constexpr double MILLIDEG_PER_RAD = 57295.77951;

// ---- Value types ------------------------------------------------------------
// Fields in declaration order, packed, natural widths: exactly the bytes the
// host passes and copies.

template <class T, int N>
struct vec {
    T c[N];
    constexpr T &operator[](int i) { return c[i]; }
    constexpr const T &operator[](int i) const { return c[i]; }
};

template <class T>
struct box {
    T l, b, r, t;
};

template <class T, int A, int B>
struct mat {
    T m[A * B];
};

using ivec2 = vec<int32_t, 2>;
using ivec3 = vec<int32_t, 3>;
using ivec4 = vec<int32_t, 4>;
using vec2 = vec<float, 2>;
using vec3 = vec<float, 3>;
using vec4 = vec<float, 4>;
using dvec2 = vec<double, 2>;
using dvec3 = vec<double, 3>;
using dvec4 = vec<double, 4>;
using ibbox = box<int32_t>;
using bbox = box<float>;
using dbbox = box<double>;

// The type of one element: a vector's component, a box's edge, a matrix's
// element; a scalar is its own one element.
template <class V>
struct element {
    using type = V;
};
template <class T, int N>
struct element<vec<T, N>> {
    using type = T;
};
template <class T>
struct element<box<T>> {
    using type = T;
};
template <class T, int A, int B>
struct element<mat<T, A, B>> {
    using type = T;
};
template <class V>
using element_t = typename element<V>::type;

static_assert(sizeof(vec3) == 12 && sizeof(dvec3) == 24 && sizeof(ivec4) == 16);
static_assert(sizeof(bbox) == 16 && sizeof(dbbox) == 32);
static_assert(sizeof(mat<float, 2, 3>) == 24 && sizeof(mat<double, 4, 4>) == 128);

// ---- Runtime interface ------------------------------------------------------

template <class Fn>
inline Fn slot(int n) {
    return reinterpret_cast<Fn>(kavre->slot[n]);
}

// A place in host memory: a struct argument or a script variable. It is read
// and written by copy, so no alignment or aliasing is assumed of the host.
template <class V>
struct Place {
    void *p;
    explicit operator bool() const { return p != nullptr; }
    V load() const {
        V v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    void store(const V &v) const { std::memcpy(p, &v, sizeof v); }
    // Element i where it lies (a box's edges are l, b, r, t in order).
    element_t<V> operator[](int i) const {
        element_t<V> x;
        std::memcpy(&x, static_cast<const unsigned char *>(p) + i * sizeof x, sizeof x);
        return x;
    }
};

// pop<T>(): the next argument by value: I, F, D, or a copy of a T(type) value.
template <class T>
inline T pop() {
    return Place<T>{slot<KavPopStruct>(KAV_RT_POP_STRUCT)()}.load();
}
template <> inline int32_t pop<int32_t>() { return slot<KavPopInt>(KAV_RT_POP_INT)(); }
template <> inline float pop<float>() { return slot<KavPopFloat>(KAV_RT_POP_FLOAT)(); }
template <> inline double pop<double>() { return slot<KavPopDouble>(KAV_RT_POP_DOUBLE)(); }

// A T(type) argument as a place, for the few routines that write it back.
template <class V>
inline Place<V> pop_place() {
    return {slot<KavPopStruct>(KAV_RT_POP_STRUCT)()};
}

// A TP(type) reference; may be absent.
template <class V>
inline Place<V> pop_ref() {
    return {slot<KavPopStructPtr>(KAV_RT_POP_STRUCT_PTR)()};
}

// IP, FP and DP references to script variables.
inline Place<int32_t> pop_int_ref() { return {slot<KavPopIntPtr>(KAV_RT_POP_INT_PTR)()}; }
inline Place<float> pop_float_ref() { return {slot<KavPopFloatPtr>(KAV_RT_POP_FLOAT_PTR)()}; }
inline Place<double> pop_double_ref() {
    return {slot<KavPopDoublePtr>(KAV_RT_POP_DOUBLE_PTR)()};
}

// ret(x): set the call's one result.
inline void ret(int32_t v) { slot<KavRetInt>(KAV_RT_RET_INT)(v); }
inline void ret(float v) { slot<KavRetFloat>(KAV_RT_RET_FLOAT)(v); }
inline void ret(double v) { slot<KavRetDouble>(KAV_RT_RET_DOUBLE)(v); }
template <class V>
inline void ret(const V &v) {
    slot<KavRetStruct>(KAV_RT_RET_STRUCT)(&v, static_cast<int32_t>(sizeof v));
}

// An argument handed back unchanged as the result, copied into the routine's
// own buffer first: the host is promised a result buffer of the routine's,
// never its own argument storage.
template <class V>
inline void ret(const Place<V> &v) {
    ret(v.load());
}

// The module's one error: code 171 with the routine's script-facing name.
inline constexpr int32_t DOMAIN_ERROR = 171;
inline void raise_domain_error(const char *routine, int32_t value) {
    slot<KavRaiseError>(KAV_RT_RAISE_ERROR)(DOMAIN_ERROR, routine, 0, 1, value);
}

// ---- Conversions and wrapping arithmetic ------------------------------------

// The integer-indefinite value: a rejected request, a failed conversion.
inline constexpr int32_t INT_INDEFINITE = INT32_MIN;

// An extended value in (-2147483649, 2147483648) truncated toward zero.
//
// A cast compiles to the x87 sequence that switches the rounding mode
// (fnstcw, fldcw, fistp, fldcw); placed at some offsets of a 128-byte code
// block, that sequence costs about 100 ns a call on some processors instead
// of 3 (round(F) did). Instead: rint gives an integer r next to x (the
// nearest, or the floor or ceiling under another rounding mode), so
// |r - x| < 1, and one step toward zero when r lies beyond x gives trunc(x)
// exactly. |r| <= 2^31 + 1, so the double holds r exactly, the step in double
// is exact, and the last cast truncates an in-range integer.
inline int32_t truncate_extended(long double x) {
    const long double r = std::rint(x);
    double d = static_cast<double>(r);
    if (x < 0 ? r < x : r > x)
        d += x < 0 ? 1.0 : -1.0;
    return static_cast<int32_t>(d);
}

// Floating to int: truncation toward zero; NaN and values outside the int
// range give -2147483648, as the processor's conversion does.
template <class F>
inline int32_t to_int(F x) {
    if (!(x > F(-2147483649.0L) && x < F(2147483648.0L)))
        return INT_INDEFINITE;
    if constexpr (std::is_same_v<F, long double>)
        return truncate_extended(x);
    else
        return static_cast<int32_t>(x);
}

// 32-bit int arithmetic that wraps, done in uint32_t.
inline int32_t wrap(uint32_t v) { return static_cast<int32_t>(v); }
inline int32_t add(int32_t a, int32_t b) { return wrap(uint32_t(a) + uint32_t(b)); }
inline int32_t sub(int32_t a, int32_t b) { return wrap(uint32_t(a) - uint32_t(b)); }
inline int32_t mul(int32_t a, int32_t b) { return wrap(uint32_t(a) * uint32_t(b)); }
inline int32_t neg(int32_t a) { return wrap(0u - uint32_t(a)); }

}  // namespace kav

#endif  // KAV_FRAME_H
