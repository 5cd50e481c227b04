// A small module for the host's tests: a few well-behaved rows and one row
// per way a routine can break the calling rules. It registers from local
// buffers that it scribbles over before returning, as a host must copy.
#include <cstdint>
#include <cstring>

#include "kav/abi.h"

#define TESTMOD_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

RuntimeInterface *rt = nullptr;
int init_calls = 0;

template <class Fn>
Fn slot(int n) {
    return reinterpret_cast<Fn>(rt->slot[n]);
}
int32_t pop_int() { return slot<KavPopInt>(KAV_RT_POP_INT)(); }
float pop_float() { return slot<KavPopFloat>(KAV_RT_POP_FLOAT)(); }
double pop_double() { return slot<KavPopDouble>(KAV_RT_POP_DOUBLE)(); }
void *pop_struct() { return slot<KavPopStruct>(KAV_RT_POP_STRUCT)(); }
void *pop_struct_ptr() { return slot<KavPopStructPtr>(KAV_RT_POP_STRUCT_PTR)(); }
void ret_int(int32_t v) { slot<KavRetInt>(KAV_RT_RET_INT)(v); }
void ret_float(float v) { slot<KavRetFloat>(KAV_RT_RET_FLOAT)(v); }
void ret_double(double v) { slot<KavRetDouble>(KAV_RT_RET_DOUBLE)(v); }
void ret_struct(const void *p, int32_t n) { slot<KavRetStruct>(KAV_RT_RET_STRUCT)(p, n); }

int32_t wrap_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// ---- Well-behaved rows ----------------------------------------------------------

// sub(a, b): the first pop is b, so a wrong push order shows in the result.
void sub_i() {
    int32_t b = pop_int();
    int32_t a = pop_int();
    ret_int(wrap_sub(a, b));
}
void sub_f() {
    float b = pop_float();
    float a = pop_float();
    ret_float(a - b);
}
void sub_d() {
    double b = pop_double();
    double a = pop_double();
    ret_double(a - b);
}
void scale_f() { ret_float(pop_float() * 2); }
void scale_d() { ret_double(pop_double() * 2); }
void get_half() { ret_double(0.5); }

// Swaps x and y through the reference; 0 for null.
void swap_vec2() {
    auto *v = static_cast<float *>(pop_struct_ptr());
    if (!v) {
        ret_int(0);
        return;
    }
    float t = v[0];
    v[0] = v[1];
    v[1] = t;
    ret_int(1);
}

// Returns v / 2 and leaves it in its argument too.
void halve_vec2() {
    auto *v = static_cast<float *>(pop_struct());
    v[0] /= 2;
    v[1] /= 2;
    ret_struct(v, 8);
}

// frexp(x, &e) for powers of two only: enough to see the int reference.
void frexp_f() {
    int32_t *e = slot<KavPopIntPtr>(KAV_RT_POP_INT_PTR)();
    float x = pop_float();
    int32_t n = 0;
    for (; x >= 1; x /= 2)
        ++n;
    *e = n;
    ret_float(x);
}

// Stores a double through its float reference (a documented deviation).
void modf_f() {
    float *ip = slot<KavPopFloatPtr>(KAV_RT_POP_FLOAT_PTR)();
    float x = pop_float();
    double whole = static_cast<double>(static_cast<int32_t>(x));
    std::memcpy(ip, &whole, sizeof whole);
    ret_float(x - static_cast<float>(whole));
}

// An int result for a bit count out of range (a documented deviation).
void fixtof() {
    int32_t bits = pop_int();
    int32_t v = pop_int();
    if (bits < 0 || bits > 31)
        ret_int(INT32_MIN);
    else
        ret_float(static_cast<float>(v) / static_cast<float>(1u << bits));
}

// Declared dmat2, answers with a float mat2 (a documented deviation).
void outer_dvec2() {
    double b[2], a[2];
    std::memcpy(b, pop_struct(), sizeof b);
    std::memcpy(a, pop_struct(), sizeof a);
    float m[4] = {float(a[0] * b[0]), float(a[0] * b[1]), float(a[1] * b[0]), float(a[1] * b[1])};
    ret_struct(m, sizeof m);
}

// box_of(l, b, r): a struct of mixed field widths.
void box_of() {
    unsigned char box[16];
    double r = pop_double();
    float b = pop_float();
    int32_t l = pop_int();
    std::memcpy(box, &l, 4);
    std::memcpy(box + 4, &b, 4);
    std::memcpy(box + 8, &r, 8);
    ret_struct(box, sizeof box);
}

void raise_domain() {
    int32_t v = pop_int();
    slot<KavRaiseError>(KAV_RT_RAISE_ERROR)(171, "RAISE", 0, 1, v);
    ret_int(INT32_MIN);
}

// ---- Rows that break the rules -----------------------------------------------------

void bad_kind() { ret_int(static_cast<int32_t>(pop_float())); }
void bad_order() {
    int32_t a = pop_int();  // argument 1 is popped first
    float b = pop_float();
    ret_int(a + static_cast<int32_t>(b));
}
void too_few() { ret_int(pop_int()); }
void too_many() {
    int32_t a = pop_int();
    ret_int(a + pop_int());
}
void no_result() { pop_int(); }
void two_results() {
    int32_t a = pop_int();
    ret_int(a);
    ret_int(a);
}
void wrong_result() { ret_float(static_cast<float>(pop_int())); }
void short_struct() {
    float v[2] = {static_cast<float>(pop_int()), 0};
    ret_struct(v, 4);
}
void unused_slot() {
    rt->slot[3]();
    ret_int(0);
}
// Pops an int reference where the row has TP(vec2); writes through it.
void bad_ptr_kind() {
    int32_t *p = slot<KavPopIntPtr>(KAV_RT_POP_INT_PTR)();
    *p = 7;
    ret_int(*p);
}

void init() { ++init_calls; }

struct RowDef {
    const char *signature, *ret;
    void (*routine)();
};
const RowDef rows[] = {
    {"sub(I,I)", "I", sub_i},
    {"sub(F,F)", "F", sub_f},
    {"sub(D,D)", "D", sub_d},
    {"scale(F)", "F", scale_f},
    {"scale(D)", "D", scale_d},
    {"get_half()", "D", get_half},
    {"swap(TP(vec2))", "I", swap_vec2},
    {"halve(T(vec2))", "T(vec2)", halve_vec2},
    {"frexp(F,IP)", "F", frexp_f},
    {"modf(F,FP)", "F", modf_f},
    {"fixtof(I,I)", "F", fixtof},
    {"mat_outerproduct(T(dvec2),T(dvec2))", "T(dmat2)", outer_dvec2},
    {"box_of(I,F,D)", "T(box)", box_of},
    {"raise(I)", "I", raise_domain},
    {"bad_kind(I)", "I", bad_kind},
    {"bad_order(I,F)", "I", bad_order},
    {"too_few(I,I)", "I", too_few},
    {"too_many(I)", "I", too_many},
    {"no_result(I)", "I", no_result},
    {"two_results(I)", "I", two_results},
    {"wrong_result(I)", "I", wrong_result},
    {"short_struct(I)", "T(vec2)", short_struct},
    {"unused_slot()", "I", unused_slot},
    {"bad_ptr_kind(TP(vec2))", "I", bad_ptr_kind},
};
constexpr int kRows = sizeof rows / sizeof rows[0];

const char kTypes[] =
    "type vec2 float x;float y;end type ivec2 int x;int y;end "
    "type dvec2 double x;double y;end type mat2 float m[4];end "
    "type dmat2 double m[4];end type box int l;float b;double r;end ";

template <class Fn, class... A>
auto call(const RegistrationTable *t, int n, A... a) {
    return reinterpret_cast<Fn>(t->slot[n])(a...);
}

}  // namespace

TESTMOD_EXPORT int32_t KAV_mod_math_MainLibraryProperties(const PropertiesTable *t) {
    t->slot[0](0);
    t->slot[1](0);
    t->slot[2](0xC000);
    return 1;
}

TESTMOD_EXPORT int32_t KAV_mod_math_MainLibraryExports(const RegistrationTable *t) {
    char names[4][16] = {"ONE", "HALF_F", "HALF", ""};
    IntConstant ints[] = {{names[0], 1}, {nullptr, 0}};
    FloatConstant floats[] = {{names[1], 0.5f}, {nullptr, 0}};
    DoubleConstant doubles[] = {{names[2], 0.5}, {nullptr, 0}};
    char types[sizeof kTypes];
    std::memcpy(types, kTypes, sizeof types);
    char text[kRows][2][48];
    FunctionEntry table[kRows + 1] = {};
    for (int i = 0; i < kRows; ++i) {
        std::strcpy(text[i][0], rows[i].signature);
        std::strcpy(text[i][1], rows[i].ret);
        table[i] = {text[i][0], text[i][1], 0, rows[i].routine};
    }
    CallbackEntry callbacks[] = {{KAV_EVENT_INIT, init}, {0, nullptr}};

    call<KavRegIntConstants>(t, KAV_REG_INT_CONSTANTS, ints);
    call<KavRegFloatConstants>(t, KAV_REG_FLOAT_CONSTANTS, floats);
    call<KavRegDoubleConstants>(t, KAV_REG_DOUBLE_CONSTANTS, doubles);
    call<KavRegDeclareTypes>(t, KAV_REG_DECLARE_TYPES, types);
    call<KavRegFunctions>(t, KAV_REG_FUNCTIONS, table);
    call<KavRegCallbacks>(t, KAV_REG_CALLBACKS, callbacks);
    rt = call<KavRegGetRuntime>(t, KAV_REG_GET_RUNTIME);

    // A host that kept pointers into these now sees garbage.
    std::memset(names, '?', sizeof names);
    std::memset(types, '?', sizeof types);
    std::memset(text, '?', sizeof text);
    std::memset(static_cast<void *>(table), 0xA5, sizeof table);
    std::memset(static_cast<void *>(callbacks), 0xA5, sizeof callbacks);
    __asm__ __volatile__("" : : "r"(names), "r"(types), "r"(text), "r"(table), "r"(callbacks)
                         : "memory");  // keep the dead stores
    return 1;
}

TESTMOD_EXPORT int testmod_init_calls() { return init_calls; }
TESTMOD_EXPORT const RuntimeInterface *testmod_runtime() { return rt; }
