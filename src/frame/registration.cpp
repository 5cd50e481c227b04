// The two entry points through which the host learns the module.
#include <cstring>

#include "frame.h"

namespace {

const IntConstant int_constants[] = {
    {"PI", 180000},  // a half turn in milli-degrees
    {"FIX_8", 8},
    {"FIX_16", 16},
    {"FIX_24", 24},
    {"math_degree_unit", kav::DEGREE_UNIT},
    {"math_radian_unit", kav::RADIAN_UNIT},
    {nullptr, 0},
};

// The float e and pi are the singles nearest the six-decimal literals
// 2.718281 and 3.141592 (bits 0x402DF851, 0x40490FD8), not nearest e and pi.
const FloatConstant float_constants[] = {
    {"M_E_F", 2.718281f},
    {"M_PI_F", 3.141592f},
    {"INFINITY", __builtin_inff()},
    {nullptr, 0.0f},
};

const DoubleConstant double_constants[] = {
    {"M_E", 2.718281828459045},
    {"M_PI", 3.141592653589793},
    {nullptr, 0.0},
};

// The script types, in the host's declaration syntax. One string, ending in a
// blank after the last "end".
const char type_script[] =
    "type bbox float l;float b;float r;float t;end "
    "type ibbox int l;int b;int r;int t;end "
    "type dbbox double l;double b;double r;double t;end "
    "type mat2 float m[4];end type mat2x3 float m[6];end type mat2x4 float m[8];end "
    "type mat3x2 float m[6];end type mat3 float m[9];end type mat3x4 float m[12];end "
    "type mat4x2 float m[8];end type mat4x3 float m[12];end type mat4 float m[16];end "
    "type imat2 int m[4];end type imat2x3 int m[6];end type imat2x4 int m[8];end "
    "type imat3x2 int m[6];end type imat3 int m[9];end type imat3x4 int m[12];end "
    "type imat4x2 int m[8];end type imat4x3 int m[12];end type imat4 int m[16];end "
    "type dmat2 double m[4];end type dmat2x3 double m[6];end type dmat2x4 double m[8];end "
    "type dmat3x2 double m[6];end type dmat3 double m[9];end type dmat3x4 double m[12];end "
    "type dmat4x2 double m[8];end type dmat4x3 double m[12];end type dmat4 double m[16];end "
    "type vec2 float x;float y;end type vec3 float x;float y;float z;end "
    "type vec4 float x;float y;float z;float w;end "
    "type ivec2 int x;int y;end type ivec3 int x;int y;int z;end "
    "type ivec4 int x;int y;int z;int w;end "
    "type dvec2 double x;double y;end type dvec3 double x;double y;double z;end "
    "type dvec4 double x;double y;double z;double w;end ";
static_assert(sizeof type_script - 1 == 1204);

const FunctionEntry function_table[] = {
#define KAV_GROUP(name, rows)
#define KAV_ROW(sig, ret, fn) {sig, ret, 0, fn},
#include "rows.def"
#undef KAV_GROUP
#undef KAV_ROW
    {nullptr, nullptr, 0, nullptr},
};

template <class Fn, class... Args>
auto call(const KavProc *slots, int n, Args... args) {
    return reinterpret_cast<Fn>(slots[n])(args...);
}

}  // namespace

extern "C" int32_t KAV_mod_math_MainLibraryProperties(const PropertiesTable *table) {
    table->slot[0](0);
    table->slot[1](0);
    table->slot[2](0xC000);
    return 1;
}

extern "C" int32_t KAV_mod_math_MainLibraryExports(const RegistrationTable *table) {
    const KavProc *s = table->slot;
    call<KavRegIntConstants>(s, KAV_REG_INT_CONSTANTS, int_constants);
    call<KavRegFloatConstants>(s, KAV_REG_FLOAT_CONSTANTS, float_constants);
    call<KavRegDoubleConstants>(s, KAV_REG_DOUBLE_CONSTANTS, double_constants);
    call<KavRegDeclareTypes>(s, KAV_REG_DECLARE_TYPES, type_script);

    // The host receives a copy that lives only for this call.
    FunctionEntry table_copy[sizeof function_table / sizeof function_table[0]];
    std::memcpy(table_copy, function_table, sizeof table_copy);
    call<KavRegFunctions>(s, KAV_REG_FUNCTIONS, table_copy);

    const CallbackEntry callbacks[] = {
        {KAV_EVENT_INIT, KAV_mod_math_init},
        {0, nullptr},
    };
    call<KavRegCallbacks>(s, KAV_REG_CALLBACKS, callbacks);

    kavre = call<KavRegGetRuntime>(s, KAV_REG_GET_RUNTIME);
    return 1;
}
