/*
 * minimal_host.c: the smallest complete host of libKAV_mod_math.so.1, in C11,
 * written as a walk-through of the contract in the README ("Loading the module
 * from a host").
 *
 * Build against the installed package and run:
 *   cc -std=c11 minimal_host.c $(pkg-config --cflags --libs kavmath) -o minimal_host
 *   ./minimal_host [MODULE]
 * or with CMake: find_package(kavmath) and link kavmath::abi (CMakeLists.txt
 * next to this file). MODULE defaults to the soname, which the dynamic linker
 * finds where the package installs it.
 */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <kav/abi.h>

/* ---- The argument stack and the result of one call ----------------------
 * The host pushes a call's arguments first to last; the routine pops them
 * last first, so a stack gives each pop the right argument. Struct and
 * reference arguments are pointers to the host's storage of the value. */

typedef union Cell {
    int32_t i;
    float f;
    double d;
    void *p;
} Cell;

static Cell stack[8];
static int depth;

static struct {
    int count;                  /* results set during the call: must be 1 */
    Cell value;                 /* ret_int, ret_float, ret_double */
    unsigned char bytes[128];   /* ret_struct: copied, the module's buffer dies */
    int32_t byte_count;
} result;

static Cell pop(void) {
    if (depth == 0) {
        fputs("the module popped more arguments than were pushed\n", stderr);
        exit(1);
    }
    return stack[--depth];
}

/* ---- The runtime interface: the slots the module uses -------------------- */

static int32_t pop_int(void) { return pop().i; }
static float pop_float(void) { return pop().f; }
static double pop_double(void) { return pop().d; }
static void *pop_pointer(void) { return pop().p; } /* slots 19, 25, 27, 28, 29 */

static void ret_int(int32_t v) { result.count++, result.value.i = v; }
static void ret_float(float v) { result.count++, result.value.f = v; }
static void ret_double(double v) { result.count++, result.value.d = v; }
static void ret_struct(const void *fields, int32_t byte_count) {
    result.count++;
    result.byte_count = byte_count;
    memcpy(result.bytes, fields, (size_t)byte_count); /* largest: dmat4, 128 */
}

static void raise_error(int32_t code, const char *routine, int32_t a, int32_t b,
                        int32_t value) {
    /* The routine carries on and still sets its result after this. */
    printf("  raised %d \"%s\" %d %d %d\n", code, routine, a, b, value);
}

/* The module never calls any other slot; a host fills them with its own. */
static void unused_slot(void) {
    fputs("the module called a slot it does not use\n", stderr);
    abort();
}

/* The module keeps this pointer for good: it must outlive every call. */
static RuntimeInterface runtime;

static void fill_runtime(void) {
    for (int i = 0; i < KAV_RT_SLOT_COUNT; i++)
        runtime.slot[i] = unused_slot;
    runtime.slot[KAV_RT_POP_INT] = (KavProc)pop_int;
    runtime.slot[KAV_RT_POP_FLOAT] = (KavProc)pop_float;
    runtime.slot[KAV_RT_POP_DOUBLE] = (KavProc)pop_double;
    runtime.slot[KAV_RT_POP_STRUCT] = (KavProc)pop_pointer;
    runtime.slot[KAV_RT_POP_INT_PTR] = (KavProc)pop_pointer;
    runtime.slot[KAV_RT_POP_FLOAT_PTR] = (KavProc)pop_pointer;
    runtime.slot[KAV_RT_POP_DOUBLE_PTR] = (KavProc)pop_pointer;
    runtime.slot[KAV_RT_POP_STRUCT_PTR] = (KavProc)pop_pointer;
    runtime.slot[KAV_RT_RET_INT] = (KavProc)ret_int;
    runtime.slot[KAV_RT_RET_FLOAT] = (KavProc)ret_float;
    runtime.slot[KAV_RT_RET_DOUBLE] = (KavProc)ret_double;
    runtime.slot[KAV_RT_RET_STRUCT] = (KavProc)ret_struct;
    runtime.slot[KAV_RT_RAISE_ERROR] = (KavProc)raise_error;
}

/* ---- Registration: what the module hands over during the exports call ---
 * The function table and the callback block are the module's local copies,
 * gone when the entry point returns: copy what is needed now. The strings
 * and routines they point to stay valid while the module is loaded. */

static const char *const wanted[] = {"sin(I)", "pow(F,F)", "cos(T(ivec2))", "acos(I)"};
enum { SIN, POW, COS_IVEC2, ACOS, WANTED };
static KavProc routine[WANTED];
static KavProc init;
static int rows;

static void property(uint32_t value) { (void)value; } /* 0, 0, 0xC000: ours to read */

static void int_constants(const IntConstant *list) {
    for (; list->name; list++)
        if (strcmp(list->name, "PI") == 0)
            printf("PI = %d\n", list->value);
}
static void float_constants(const FloatConstant *list) { (void)list; }
static void double_constants(const DoubleConstant *list) { (void)list; }
static void declare_types(const char *script) { (void)script; } /* "type vec2 float x;..." */

static void functions(const FunctionEntry *table) {
    for (; table->signature; table++, rows++)
        for (int i = 0; i < WANTED; i++)
            if (strcmp(table->signature, wanted[i]) == 0)
                routine[i] = table->routine;
}

static void callbacks(const CallbackEntry *block) {
    for (; block->event; block++)
        if (block->event == KAV_EVENT_INIT)
            init = block->routine;
}

static RuntimeInterface *get_runtime(void) { return &runtime; }

/* ---- Calls ----------------------------------------------------------------- */

/* Runs one routine with the pushed arguments; checks the module took them
 * all and set exactly one result. */
static void call(KavProc r) {
    result.count = 0;
    r();
    if (depth != 0 || result.count != 1) {
        fputs("the call left arguments or did not set one result\n", stderr);
        exit(1);
    }
}

static void push_int(int32_t v) { stack[depth++].i = v; }
static void push_float(float v) { stack[depth++].f = v; }
static void push_pointer(void *p) { stack[depth++].p = p; }

int main(int argc, char **argv) {
    /* 1. Load. The entry points are plain exported functions. */
    const char *path = argc > 1 ? argv[1] : "libKAV_mod_math.so.1";
    void *module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    KavPropertiesEntry properties_entry;
    KavExportsEntry exports_entry;
    void *symbol = dlsym(module, KAV_PROPERTIES_ENTRY);
    memcpy(&properties_entry, &symbol, sizeof symbol); /* ISO C: no direct cast */
    symbol = dlsym(module, KAV_EXPORTS_ENTRY);
    memcpy(&exports_entry, &symbol, sizeof symbol);

    /* 2. Properties: the module calls slots 0, 1, 2 with 0, 0, 0xC000. */
    PropertiesTable properties = {{property, property, property}};
    properties_entry(&properties); /* returns 1 */

    /* 3. Exports: slots 0, 1, 2, 3, 6, 7 are called in that order with the
     *    constants, the type script, the function table and the callback
     *    block, then slot 8 for the runtime interface. Every one used must be
     *    set: the module calls without checking. Slots 4 and 5 are unused. */
    fill_runtime();
    RegistrationTable registration = {{
        (KavProc)int_constants, (KavProc)float_constants, (KavProc)double_constants,
        (KavProc)declare_types, NULL, NULL, (KavProc)functions, (KavProc)callbacks,
        (KavProc)get_runtime,
    }};
    exports_entry(&registration); /* returns 1 */
    printf("%d functions registered (a complete module: %d)\n", rows, KAV_FUNCTION_COUNT);
    for (int i = 0; i < WANTED; i++)
        if (!routine[i]) {
            fprintf(stderr, "no row %s\n", wanted[i]);
            return 1;
        }

    /* 4. Init before any call: until it runs, the tables hold zeros. */
    push_int(30000);
    call(routine[SIN]);
    printf("sin(30000) before init = %d\n", result.value.i);
    init();

    /* 5. Calls: push the arguments first to last, run, read the result. */
    push_int(30000);
    call(routine[SIN]);
    printf("sin(30000) = %d\n", result.value.i);

    push_float(2.0f); /* pow(a, b) = a to the power b: b is popped first */
    push_float(10.0f);
    call(routine[POW]);
    printf("pow(2.0f, 10.0f) = %g\n", (double)result.value.f);

    int32_t angles[2] = {0, 420000}; /* an ivec2; the routine writes back 60000 */
    push_pointer(angles);
    call(routine[COS_IVEC2]);
    int32_t cosines[2];
    memcpy(cosines, result.bytes, sizeof cosines); /* byte_count is 8 */
    printf("cos(ivec2(0, 420000)) = ivec2(%d, %d), argument now ivec2(%d, %d)\n",
           cosines[0], cosines[1], angles[0], angles[1]);

    push_int(1001);
    call(routine[ACOS]);
    printf("acos(1001) = %d\n", result.value.i);

    /* The module has no exit routine; it may simply stay loaded. */
    dlclose(module);
    return 0;
}
