// Per family (the rows of one script name): the module's cost per call over
// the call corpus, next to the floor, a routine that makes the same pops and
// sets the same result and computes nothing, and the worst single call found.
//
//   family/NAME   time per call (per_call), averaged over 64 corpus calls of
//                 every row (KAV_BENCH_CALLS=N: N calls a row); worst_ns is the slowest call (the least of 8
//                 timings of it, clock reads included), named in the label
//   floor/NAME    the same calls' pops and result alone
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "cases.h"
#include "corpus.h"

namespace kav::bench {

namespace {

struct Prepared {
    const host::Row *row;
    uint64_t index;
    KavProc fn;
    std::vector<Preload> args;
    int32_t unit;
};

// The row whose pops and result the floor routine makes.
const host::Row *floor_row = nullptr;

template <class Fn>
Fn slot(const RuntimeInterface *rt, int n) {
    return reinterpret_cast<Fn>(rt->slot[n]);
}

// The runtime the module calls, read once the stub has claimed it, and the
// module's angle unit.
const RuntimeInterface *floor_runtime = nullptr;
int32_t *angle_unit = nullptr;

void floor_routine() {
    const RuntimeInterface *rt = floor_runtime;
    const host::Row &row = *floor_row;
    for (auto code = row.args.rbegin(); code != row.args.rend(); ++code) {
        switch (code->kind) {
        case host::Code::Kind::Int: benchmark::DoNotOptimize(slot<KavPopInt>(rt, KAV_RT_POP_INT)()); break;
        case host::Code::Kind::Float: benchmark::DoNotOptimize(slot<KavPopFloat>(rt, KAV_RT_POP_FLOAT)()); break;
        case host::Code::Kind::Double: benchmark::DoNotOptimize(slot<KavPopDouble>(rt, KAV_RT_POP_DOUBLE)()); break;
        case host::Code::Kind::Struct: benchmark::DoNotOptimize(slot<KavPopStruct>(rt, KAV_RT_POP_STRUCT)()); break;
        case host::Code::Kind::IntRef: benchmark::DoNotOptimize(slot<KavPopIntPtr>(rt, KAV_RT_POP_INT_PTR)()); break;
        case host::Code::Kind::FloatRef: benchmark::DoNotOptimize(slot<KavPopFloatPtr>(rt, KAV_RT_POP_FLOAT_PTR)()); break;
        case host::Code::Kind::DoubleRef: benchmark::DoNotOptimize(slot<KavPopDoublePtr>(rt, KAV_RT_POP_DOUBLE_PTR)()); break;
        case host::Code::Kind::StructRef: benchmark::DoNotOptimize(slot<KavPopStructPtr>(rt, KAV_RT_POP_STRUCT_PTR)()); break;
        }
    }
    static const unsigned char zeros[128] = {};
    switch (row.ret.kind) {
    case host::Code::Kind::Int: slot<KavRetInt>(rt, KAV_RT_RET_INT)(0); break;
    case host::Code::Kind::Float: slot<KavRetFloat>(rt, KAV_RT_RET_FLOAT)(0); break;
    case host::Code::Kind::Double: slot<KavRetDouble>(rt, KAV_RT_RET_DOUBLE)(0); break;
    default: slot<KavRetStruct>(rt, KAV_RT_RET_STRUCT)(zeros, static_cast<int32_t>(row.ret.type->size));
    }
}

void run(const Prepared &c, KavProc fn) {
    *angle_unit = c.unit;
    Stub::load(c.args);
    floor_row = c.row;
    Stub::call(fn);
}

// The least of a few timings of one call, in ns.
double single_call_ns(const Prepared &c) {
    double best = 1e300;
    for (int k = 0; k < 8; ++k) {
        const auto t0 = std::chrono::steady_clock::now();
        run(c, c.fn);
        const auto t1 = std::chrono::steady_clock::now();
        best = std::min(best, std::chrono::duration<double, std::nano>(t1 - t0).count());
    }
    return best;
}

void time_family(benchmark::State &state, const std::vector<Prepared> *calls, bool floor) {
    Stub::get().claim();
    floor_runtime = *static_cast<RuntimeInterface **>(Stub::get().symbol("kavre"));
    angle_unit = static_cast<int32_t *>(Stub::get().symbol("math_angle_unit"));
    for (auto _ : state)
        for (const Prepared &c : *calls) run(c, floor ? floor_routine : c.fn);
    state.counters["per_call"] =
        benchmark::Counter(static_cast<double>(calls->size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    if (!floor) {
        double worst = 0;
        const Prepared *slowest = nullptr;
        for (const Prepared &c : *calls)
            if (const double t = single_call_ns(c); t > worst) worst = t, slowest = &c;
        state.counters["worst_ns"] = worst;
        if (slowest)
            state.SetLabel(slowest->row->signature + " call " + std::to_string(slowest->index));
    }
    Stub::get().set_angle_unit(0);
}

}  // namespace

void register_family_benchmarks() {
    std::string error;
    static std::unique_ptr<host::Module> module = host::Module::load(KAV_MODULE_PATH, &error);
    static std::map<std::string, std::vector<Prepared>> families;
    if (!module)
        return;
    Stub &stub = Stub::get();
    stub.claim();
    const char *env = std::getenv("KAV_BENCH_CALLS");
    const uint64_t per_row = env && *env ? std::strtoull(env, nullptr, 10) : 64;
    for (const host::Row &row : module->rows()) {
        const KavProc fn = stub.routine(row.signature);
        for (uint64_t k = 0; fn && k < per_row; ++k) {
            host::CorpusCall call = host::corpus_call(row, 1, k);
            if (host::faults_by_design(row, call.values))
                continue;
            Prepared p{&row, k, fn, {}, call.angle_unit};
            for (const host::Value &v : call.values) p.args.push_back(preload(v));
            families[row.name].push_back(std::move(p));
        }
    }
    for (const auto &[name, calls] : families) {
        benchmark::RegisterBenchmark(("family/" + name).c_str(), time_family, &calls, false);
        benchmark::RegisterBenchmark(("floor/" + name).c_str(), time_family, &calls, true);
    }
}

}  // namespace kav::bench
