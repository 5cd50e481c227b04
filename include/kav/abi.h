/*
 * kav/abi.h: the host ABI of libKAV_mod_math.so.1, as a plain C header.
 *
 * A host loads the module, calls KAV_mod_math_MainLibraryProperties with a
 * PropertiesTable, then KAV_mod_math_MainLibraryExports with a
 * RegistrationTable, then every callback registered for event 1 (init).
 * Afterwards each script function is a parameterless routine that pops its
 * arguments (last argument first) through the RuntimeInterface and sets
 * exactly one result through it.
 *
 * Every record is packed to 4 bytes so that the i386 build has the module's
 * original layout; on x86-64 the same declarations give 8-byte pointers.
 */
#ifndef KAV_ABI_H
#define KAV_ABI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Any routine pointer as stored in the tables; cast to the slot's type. */
typedef void (*KavProc)(void);

/* ---- Runtime interface: slot N is the N-th pointer ---------------------- */

enum KavRuntimeSlot {
    KAV_RT_POP_INT = 14,
    KAV_RT_POP_FLOAT = 16,
    KAV_RT_POP_DOUBLE = 17,
    KAV_RT_POP_STRUCT = 19,
    KAV_RT_POP_INT_PTR = 25,
    KAV_RT_POP_FLOAT_PTR = 27,
    KAV_RT_POP_DOUBLE_PTR = 28,
    KAV_RT_POP_STRUCT_PTR = 29,
    KAV_RT_RET_INT = 52,
    KAV_RT_RET_FLOAT = 53,
    KAV_RT_RET_DOUBLE = 54,
    KAV_RT_RET_STRUCT = 56,
    KAV_RT_RAISE_ERROR = 69,
    KAV_RT_SLOT_COUNT = 70 /* the module reads no slot at or past this */
};

typedef int32_t (*KavPopInt)(void);
typedef float (*KavPopFloat)(void);
typedef double (*KavPopDouble)(void);
typedef void *(*KavPopStruct)(void);       /* first field of the value */
typedef int32_t *(*KavPopIntPtr)(void);
typedef float *(*KavPopFloatPtr)(void);
typedef double *(*KavPopDoublePtr)(void);
typedef void *(*KavPopStructPtr)(void);    /* may be NULL */
typedef void (*KavRetInt)(int32_t);
typedef void (*KavRetFloat)(float);
typedef void (*KavRetDouble)(double);
typedef void (*KavRetStruct)(const void *fields, int32_t byte_count);
typedef void (*KavRaiseError)(int32_t code, const char *routine, int32_t a, int32_t b,
                              int32_t value);

typedef struct RuntimeInterface {
    KavProc slot[KAV_RT_SLOT_COUNT];
} RuntimeInterface;

/* ---- Registration records ---------------------------------------------- */

#pragma pack(push, 4)

typedef struct IntConstant {
    const char *name; /* NULL ends the list */
    int32_t value;
} IntConstant;

typedef struct FloatConstant {
    const char *name;
    float value;
} FloatConstant;

typedef struct DoubleConstant {
    const char *name;
    double value; /* directly after the pointer */
} DoubleConstant;

typedef struct FunctionEntry {
    const char *signature;   /* "sin(T(ivec2))"; NULL in the terminating row */
    const char *return_type; /* "I", "F", "D" or "T(type)" */
    int32_t reserved;        /* 0 in every row */
    KavProc routine;
} FunctionEntry;

typedef struct CallbackEntry {
    int32_t event;   /* KAV_EVENT_INIT; 0 ends the block */
    KavProc routine;
} CallbackEntry;

#pragma pack(pop)

enum { KAV_EVENT_INIT = 1 };

/* ---- Tables the host passes to the entry points ------------------------- */

enum KavPropertiesSlot { KAV_PROPERTIES_SLOT_COUNT = 3 };
typedef void (*KavPropertyFn)(uint32_t value);
typedef struct PropertiesTable {
    KavPropertyFn slot[KAV_PROPERTIES_SLOT_COUNT];
} PropertiesTable;

enum KavRegistrationSlot {
    KAV_REG_INT_CONSTANTS = 0,
    KAV_REG_FLOAT_CONSTANTS = 1,
    KAV_REG_DOUBLE_CONSTANTS = 2,
    KAV_REG_DECLARE_TYPES = 3,
    KAV_REG_FUNCTIONS = 6,
    KAV_REG_CALLBACKS = 7,
    KAV_REG_GET_RUNTIME = 8,
    KAV_REG_SLOT_COUNT = 9
};
typedef void (*KavRegIntConstants)(const IntConstant *list);
typedef void (*KavRegFloatConstants)(const FloatConstant *list);
typedef void (*KavRegDoubleConstants)(const DoubleConstant *list);
typedef void (*KavRegDeclareTypes)(const char *type_script);
typedef void (*KavRegFunctions)(const FunctionEntry *table);
typedef void (*KavRegCallbacks)(const CallbackEntry *block);
typedef RuntimeInterface *(*KavRegGetRuntime)(void);
typedef struct RegistrationTable {
    KavProc slot[KAV_REG_SLOT_COUNT];
} RegistrationTable;

/* ---- Module entry points (dlsym names) ---------------------------------- */

#define KAV_PROPERTIES_ENTRY "KAV_mod_math_MainLibraryProperties"
#define KAV_EXPORTS_ENTRY "KAV_mod_math_MainLibraryExports"
typedef int32_t (*KavPropertiesEntry)(const PropertiesTable *table);
typedef int32_t (*KavExportsEntry)(const RegistrationTable *table);

/* ---- Layout pinned on both targets -------------------------------------- */

#if defined(__cplusplus)
#define KAV_STATIC_ASSERT static_assert
#else
#define KAV_STATIC_ASSERT _Static_assert
#endif

/* Rows of the complete function table, without the terminating row. */
#define KAV_FUNCTION_COUNT 1142

#if UINTPTR_MAX == 0xFFFFFFFFu
KAV_STATIC_ASSERT((KAV_FUNCTION_COUNT + 1) * sizeof(FunctionEntry) == 18288, "table bytes");
KAV_STATIC_ASSERT(sizeof(IntConstant) == 8, "IntConstant");
KAV_STATIC_ASSERT(sizeof(FloatConstant) == 8, "FloatConstant");
KAV_STATIC_ASSERT(sizeof(DoubleConstant) == 12, "DoubleConstant");
KAV_STATIC_ASSERT(sizeof(FunctionEntry) == 16, "FunctionEntry");
KAV_STATIC_ASSERT(sizeof(CallbackEntry) == 8, "CallbackEntry");
KAV_STATIC_ASSERT(sizeof(RuntimeInterface) == 4 * KAV_RT_SLOT_COUNT, "RuntimeInterface");
#else
KAV_STATIC_ASSERT(sizeof(IntConstant) == 12, "IntConstant");
KAV_STATIC_ASSERT(sizeof(FloatConstant) == 12, "FloatConstant");
KAV_STATIC_ASSERT(sizeof(DoubleConstant) == 16, "DoubleConstant");
KAV_STATIC_ASSERT(sizeof(FunctionEntry) == 28, "FunctionEntry");
KAV_STATIC_ASSERT(sizeof(CallbackEntry) == 12, "CallbackEntry");
KAV_STATIC_ASSERT(sizeof(RuntimeInterface) == 8 * KAV_RT_SLOT_COUNT, "RuntimeInterface");
#endif

#ifdef __cplusplus
}
#endif

#endif /* KAV_ABI_H */
