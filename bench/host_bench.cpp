// The same rows through the reference host's checked Module::call: the
// difference to module/... is the host's cost per call.
#include <benchmark/benchmark.h>

#include <stdexcept>

#include "cases.h"
#include "kavhost.h"

namespace kav::bench {

namespace {

host::Value to_value(const host::Code &code, const Preload &p) {
    switch (code.kind) {
    case host::Code::Kind::Int:
        return host::Value::of_int(p.i);
    case host::Code::Kind::Float:
        return host::Value::of_float(p.f);
    case host::Code::Kind::Double:
        return host::Value::of_double(p.d);
    case host::Code::Kind::Struct:
        return host::Value::of_struct(
            code.type, std::vector<unsigned char>(p.bytes, p.bytes + code.type->size));
    default:
        throw std::invalid_argument("references are not benchmarked");
    }
}

void time_case(benchmark::State &state, const Case &c) {
    // The stub keeps the module open and its tables built between host loads.
    Stub &stub = Stub::get();
    std::string error;
    // Loading plays the exports entry: the module now calls the host's runtime.
    const auto module = host::Module::load(KAV_MODULE_PATH, &error);
    const host::Row *row = module ? module->find(c.signature) : nullptr;
    if (!row) {
        state.SkipWithError(module ? "no row with this signature" : error.c_str());
        return;
    }
    std::vector<host::Arg> args;
    for (std::size_t i = 0; i < c.args.size(); ++i)
        args.push_back(host::Arg::of(to_value(row->args[i], c.args[i])));
    stub.set_angle_unit(c.unit);
    const host::CallResult first = module->call(*row, args);
    if (!first.violations.empty() || first.errors.size() != static_cast<std::size_t>(c.raised)) {
        state.SkipWithError("the host reports a violation or unexpected errors");
    } else {
        for (auto _ : state) {
            host::CallResult r = module->call(*row, args);
            benchmark::DoNotOptimize(r);
        }
    }
    stub.set_angle_unit(0);
}

}  // namespace

void register_host_benchmarks() {
    for (const Case &c : cases())
        if (c.host)
            benchmark::RegisterBenchmark(("host/" + c.name()).c_str(),
                                         [&c](benchmark::State &s) { time_case(s, c); });
}

}  // namespace kav::bench
