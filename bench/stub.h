// A minimal runtime interface, so that a timing covers the module's routine
// and nothing else: pops read a fixed stack of preloaded arguments, results go
// to a sink, errors are dropped (only counted). No checks in the calling path.
#ifndef KAV_BENCH_STUB_H
#define KAV_BENCH_STUB_H

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kav/abi.h"

namespace kav::host {
struct Value;
}

namespace kav::bench {

// One argument. The pop slot of its kind reads the matching field; a struct
// or reference pop gets a pointer to `bytes` (any script type fits).
struct Preload {
    int32_t i = 0;
    float f = 0;
    double d = 0;
    alignas(16) unsigned char bytes[128] = {};
};

inline Preload I(int32_t v) { return {.i = v}; }
inline Preload F(float v) { return {.f = v}; }
inline Preload D(double v) { return {.d = v}; }
// A struct value from its elements in order: T({1, 2, 3, 4}) is an ivec4.
template <class E>
Preload T(std::initializer_list<E> elements) {
    static_assert(sizeof(E) == 4 || sizeof(E) == 8);
    Preload p;
    std::memcpy(p.bytes, elements.begin(), elements.size() * sizeof(E));
    return p;
}

// The argument that holds a host value: its bytes, and its scalar in the
// field its pop reads.
Preload preload(const host::Value &v);

// Where the results went: each result slot's last value.
struct Sinks {
    int32_t i = 0;
    float f = 0;
    double d = 0;
    unsigned char bytes[sizeof(Preload::bytes)] = {};
};

// What the runtime saw since the last reset().
struct Tally {
    int pops_left = 0;  // preloaded arguments not popped
    int overpops = 0;   // pops past the preloaded arguments
    int results = 0;
    int raised = 0;
    int stray = 0;      // calls of slots this runtime does not serve
};

// The module opened once for the process, registered with the minimal
// runtime and initialised.
class Stub {
public:
    static Stub &get();
    // The module file get() opens, when called before the first get(); the
    // benchmark build's own module by default.
    static void use_module(std::string path);

    // Plays the exports entry again, so the module's calls reach this runtime
    // (the reference host takes the module over when it loads it).
    void claim();
    // The routine of a row, from the table copied during registration; null
    // when no row has this signature.
    KavProc routine(std::string_view signature) const;
    void *symbol(const char *name) const;
    void set_angle_unit(int32_t unit) const;
    // The module's four lookup tables, by their symbol sizes.
    std::size_t table_bytes() const;

    // Preloads the arguments, first argument first, for every following call.
    static void load(const std::vector<Preload> &args);
    static void reset_tally();
    static Tally tally();
    // The preloaded arguments as they are now (the routines may write into
    // them), and the results.
    static std::vector<Preload> preloads();
    static Sinks sinks();
    static void clear_sinks();

    // One call: the stack refilled, then the routine.
    static void call(KavProc routine) {
        top_ = count_;
        routine();
    }

private:
    Stub();
    friend struct StubSlots;

    inline static int count_ = 0;
    inline static int top_ = 0;
    inline static std::string path_ = KAV_MODULE_PATH;
    void *handle_ = nullptr;
    std::vector<std::pair<std::string, KavProc>> rows_;
};

}  // namespace kav::bench

#endif  // KAV_BENCH_STUB_H
