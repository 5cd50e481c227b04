// Another build of the module for kavmath --compare: the real module behind
// its entry points, with one row changed as KAV_CHANGE says: 1 abs(I) answers
// one bit off, 2 lacks abs(I), 3 abs(I) crashes.
#include <dlfcn.h>

#include <csignal>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kav/abi.h"

#define OTHER_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

void *real() {
    static void *handle = dlopen(KAV_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    return handle;
}

const RegistrationTable *host = nullptr;
RuntimeInterface runtime;
KavProc real_abs = nullptr, host_ret_int = nullptr;
std::vector<FunctionEntry> table;

void ret_int_off(int32_t v) { reinterpret_cast<KavRetInt>(host_ret_int)(v ^ 1); }

void changed_abs() {
    if (KAV_CHANGE == 3) std::raise(SIGSEGV);
    runtime.slot[KAV_RT_RET_INT] = reinterpret_cast<KavProc>(ret_int_off);
    real_abs();
    runtime.slot[KAV_RT_RET_INT] = host_ret_int;
}

RuntimeInterface *get_runtime() {
    runtime = *reinterpret_cast<KavRegGetRuntime>(host->slot[KAV_REG_GET_RUNTIME])();
    host_ret_int = runtime.slot[KAV_RT_RET_INT];
    return &runtime;
}

void functions(const FunctionEntry *rows) {
    table.clear();
    for (; rows->signature; ++rows) {
        FunctionEntry e = *rows;
        if (std::string_view(e.signature) == "abs(I)") {
            if (KAV_CHANGE == 2) continue;
            real_abs = e.routine;
            e.routine = reinterpret_cast<KavProc>(changed_abs);
        }
        table.push_back(e);
    }
    table.push_back(*rows);
    reinterpret_cast<KavRegFunctions>(host->slot[KAV_REG_FUNCTIONS])(table.data());
}

}  // namespace

OTHER_EXPORT int32_t KAV_mod_math_MainLibraryProperties(const PropertiesTable *t) {
    auto entry = reinterpret_cast<KavPropertiesEntry>(dlsym(real(), KAV_PROPERTIES_ENTRY));
    return entry(t);
}

OTHER_EXPORT int32_t KAV_mod_math_MainLibraryExports(const RegistrationTable *t) {
    static RegistrationTable mine;
    host = t;
    mine = *t;
    mine.slot[KAV_REG_FUNCTIONS] = reinterpret_cast<KavProc>(functions);
    mine.slot[KAV_REG_GET_RUNTIME] = reinterpret_cast<KavProc>(get_runtime);
    auto entry = reinterpret_cast<KavExportsEntry>(dlsym(real(), KAV_EXPORTS_ENTRY));
    return entry(&mine);
}
