// The module alone: init, each case through the minimal runtime, and the
// memory check.
#include <sys/resource.h>

#include <benchmark/benchmark.h>

#include "cases.h"

namespace kav::bench {

namespace {

void time_init(benchmark::State &state) {
    auto init = reinterpret_cast<void (*)()>(Stub::get().symbol("KAV_mod_math_init"));
    for (auto _ : state)
        init();
    // Entries written per init: sine and cosine for 0..90000, arcsine and
    // arccosine for 2001 sine values.
    state.counters["per_entry"] =
        benchmark::Counter(2 * 90001 + 2 * 2001, benchmark::Counter::kIsIterationInvariantRate |
                                                     benchmark::Counter::kInvert);
}

// Empty when one call pops every argument, sets one result and raises what
// the case expects; otherwise what went wrong.
std::string check_call(const Case &c, KavProc fn) {
    Stub::reset_tally();
    Stub::call(fn);
    const Tally t = Stub::tally();
    if (t.pops_left || t.overpops || t.results != 1 || t.raised != c.raised || t.stray)
        return "unexpected runtime use: " + std::to_string(t.pops_left) + " left, " +
               std::to_string(t.overpops) + " over, " + std::to_string(t.results) +
               " results, " + std::to_string(t.raised) + " raised, " + std::to_string(t.stray) +
               " stray";
    return {};
}

void time_case(benchmark::State &state, const Case &c) {
    Stub &stub = Stub::get();
    stub.claim();
    const KavProc fn = stub.routine(c.signature);
    if (!fn) {
        state.SkipWithError("no row with this signature");
        return;
    }
    stub.set_angle_unit(c.unit);
    Stub::load(c.args);
    if (const std::string why = check_call(c, fn); !why.empty()) {
        state.SkipWithError(why.c_str());
    } else {
        for (auto _ : state)
            Stub::call(fn);
    }
    stub.set_angle_unit(0);
}

long max_rss_kb() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

// A million calls spread over the cases. The module allocates nothing, so
// the peak resident size should not move; reported, never failed.
void time_memory(benchmark::State &state) {
    constexpr long kCalls = 1000000;
    Stub &stub = Stub::get();
    stub.claim();
    const std::vector<Case> &list = cases();
    std::vector<KavProc> fns;
    for (const Case &c : list)
        fns.push_back(stub.routine(c.signature));
    // One call of each case first: the module's code and tables fault in on
    // first use, which is not memory a call takes.
    for (std::size_t k = 0; k < list.size(); ++k) {
        if (!fns[k]) continue;
        stub.set_angle_unit(list[k].unit);
        Stub::load(list[k].args);
        Stub::call(fns[k]);
    }
    long growth = 0;
    for (auto _ : state) {
        const long before = max_rss_kb();
        std::size_t current = list.size();
        KavProc fn = nullptr;
        for (long i = 0; i < kCalls; ++i) {
            const std::size_t k = static_cast<std::size_t>(i) * list.size() / kCalls;
            if (k != current) {
                current = k;
                fn = fns[k];
                stub.set_angle_unit(list[k].unit);
                Stub::load(list[k].args);
            }
            if (fn)
                Stub::call(fn);
        }
        growth = max_rss_kb() - before;
    }
    stub.set_angle_unit(0);
    state.counters["calls"] = kCalls;
    state.counters["table_bytes"] = static_cast<double>(stub.table_bytes());
    state.counters["maxrss_kB"] = static_cast<double>(max_rss_kb());
    state.counters["maxrss_growth_kB"] = static_cast<double>(growth);
}

}  // namespace

void register_module_benchmarks() {
    benchmark::RegisterBenchmark("init", time_init)->Unit(benchmark::kMicrosecond);
    for (const Case &c : cases())
        benchmark::RegisterBenchmark(("module/" + c.name()).c_str(),
                                     [&c](benchmark::State &s) { time_case(s, c); });
    benchmark::RegisterBenchmark("memory", time_memory)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

}  // namespace kav::bench
