#include "stub.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <stdexcept>

#include "kavhost.h"

namespace kav::bench {

namespace {

constexpr int kMaxArgs = 16;  // mat4_new takes 16
Preload g_args[kMaxArgs];
Preload g_spare;  // what a pop past the preloads gets
Tally g_tally;

int32_t g_int_sink;
float g_float_sink;
double g_double_sink;
unsigned char g_struct_sink[sizeof(Preload::bytes)];

}  // namespace

// The slots; a friend of Stub for its stack pointer.
struct StubSlots {
    static Preload &next() {
        if (Stub::top_ > 0)
            return g_args[--Stub::top_];
        ++g_tally.overpops;
        g_spare = {};
        return g_spare;
    }
    static int32_t pop_int() { return next().i; }
    static float pop_float() { return next().f; }
    static double pop_double() { return next().d; }
    static void *pop_pointer() { return next().bytes; }
    static int32_t *pop_int_ptr() { return &next().i; }
    static float *pop_float_ptr() { return &next().f; }
    static double *pop_double_ptr() { return &next().d; }

    static void ret_int(int32_t v) { g_int_sink = v, ++g_tally.results; }
    static void ret_float(float v) { g_float_sink = v, ++g_tally.results; }
    static void ret_double(double v) { g_double_sink = v, ++g_tally.results; }
    static void ret_struct(const void *fields, int32_t n) {
        if (fields && n > 0)
            std::memcpy(g_struct_sink, fields, std::min<std::size_t>(n, sizeof g_struct_sink));
        ++g_tally.results;
    }
    static void raise_error(int32_t, const char *, int32_t, int32_t, int32_t) {
        ++g_tally.raised;
    }
    static void unused() { ++g_tally.stray; }

    static RuntimeInterface *runtime() {
        static RuntimeInterface rt = [] {
            RuntimeInterface t;
            std::fill(std::begin(t.slot), std::end(t.slot), unused);
            auto set = [&](int n, auto fn) { t.slot[n] = reinterpret_cast<KavProc>(fn); };
            set(KAV_RT_POP_INT, pop_int);
            set(KAV_RT_POP_FLOAT, pop_float);
            set(KAV_RT_POP_DOUBLE, pop_double);
            set(KAV_RT_POP_STRUCT, pop_pointer);
            set(KAV_RT_POP_INT_PTR, pop_int_ptr);
            set(KAV_RT_POP_FLOAT_PTR, pop_float_ptr);
            set(KAV_RT_POP_DOUBLE_PTR, pop_double_ptr);
            set(KAV_RT_POP_STRUCT_PTR, pop_pointer);
            set(KAV_RT_RET_INT, ret_int);
            set(KAV_RT_RET_FLOAT, ret_float);
            set(KAV_RT_RET_DOUBLE, ret_double);
            set(KAV_RT_RET_STRUCT, ret_struct);
            set(KAV_RT_RAISE_ERROR, raise_error);
            return t;
        }();
        return &rt;
    }

    // Registration: only the function table is kept.
    inline static Stub *registering = nullptr;
    static void ints(const IntConstant *) {}
    static void floats(const FloatConstant *) {}
    static void doubles(const DoubleConstant *) {}
    static void types(const char *) {}
    static void callbacks(const CallbackEntry *) {}
    static void functions(const FunctionEntry *table) {
        auto &rows = registering->rows_;
        rows.clear();
        // The rows are packed: copy each field out before it binds to a reference.
        for (; table->signature; ++table) {
            const char *signature = table->signature;
            const KavProc routine = table->routine;
            rows.emplace_back(signature, routine);
        }
    }
    static RuntimeInterface *get_runtime() { return runtime(); }
};

void Stub::use_module(std::string path) { path_ = std::move(path); }

Stub &Stub::get() {
    static Stub stub;
    return stub;
}

Stub::Stub() {
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_)
        throw std::runtime_error(dlerror());
    claim();
    reinterpret_cast<void (*)()>(symbol("KAV_mod_math_init"))();
}

void Stub::claim() {
    auto exports = reinterpret_cast<KavExportsEntry>(symbol(KAV_EXPORTS_ENTRY));
    auto as_slot = [](auto fn) { return reinterpret_cast<KavProc>(fn); };
    const RegistrationTable table{{
        as_slot(StubSlots::ints),
        as_slot(StubSlots::floats),
        as_slot(StubSlots::doubles),
        as_slot(StubSlots::types),
        StubSlots::unused,
        StubSlots::unused,
        as_slot(StubSlots::functions),
        as_slot(StubSlots::callbacks),
        as_slot(StubSlots::get_runtime),
    }};
    StubSlots::registering = this;
    exports(&table);
    StubSlots::registering = nullptr;
}

KavProc Stub::routine(std::string_view signature) const {
    for (const auto &[sig, fn] : rows_)
        if (sig == signature)
            return fn;
    return nullptr;
}

void *Stub::symbol(const char *name) const {
    void *p = dlsym(handle_, name);
    if (!p)
        throw std::runtime_error(std::string("module lacks ") + name);
    return p;
}

void Stub::set_angle_unit(int32_t unit) const {
    *static_cast<int32_t *>(symbol("math_angle_unit")) = unit;
}

std::size_t Stub::table_bytes() const {
    std::size_t total = 0;
    for (const char *name : {"sin_tab", "cos_tab", "asin_tab", "acos_tab"}) {
        Dl_info info;
        void *entry = nullptr;
        if (dladdr1(symbol(name), &info, &entry, RTLD_DL_SYMENT) && entry)
            total += static_cast<const ElfW(Sym) *>(entry)->st_size;
    }
    return total;
}

void Stub::load(const std::vector<Preload> &args) {
    if (args.size() > kMaxArgs)
        throw std::invalid_argument("too many arguments");
    std::copy(args.begin(), args.end(), g_args);
    count_ = top_ = static_cast<int>(args.size());
}

void Stub::reset_tally() {
    g_tally = {};
    top_ = count_;
}

Tally Stub::tally() {
    Tally t = g_tally;
    t.pops_left = top_;
    return t;
}

std::vector<Preload> Stub::preloads() { return {g_args, g_args + count_}; }

Sinks Stub::sinks() {
    Sinks s{g_int_sink, g_float_sink, g_double_sink, {}};
    std::memcpy(s.bytes, g_struct_sink, sizeof s.bytes);
    return s;
}

void Stub::clear_sinks() {
    g_int_sink = 0, g_float_sink = 0, g_double_sink = 0;
    std::memset(g_struct_sink, 0, sizeof g_struct_sink);
}

Preload preload(const host::Value &v) {
    Preload p;  // references and structs point at the bytes
    std::copy(v.bytes.begin(), v.bytes.end(), p.bytes);
    switch (v.kind) {
    case host::Value::Kind::Int: p.i = v.as_int(); break;
    case host::Value::Kind::Float: p.f = v.as_float(); break;
    case host::Value::Kind::Double: p.d = v.as_double(); break;
    default: break;
    }
    return p;
}

}  // namespace kav::bench
