// The rows the benchmarks time, with their arguments: one list for the
// minimal runtime, the reference host and the memory check.
#ifndef KAV_BENCH_CASES_H
#define KAV_BENCH_CASES_H

#include <string>
#include <vector>

#include "stub.h"

namespace kav::bench {

struct Case {
    std::string signature;
    std::string variant;         // tells apart cases of one row; may be empty
    std::vector<Preload> args;   // first argument first
    int32_t unit = 0;            // math_angle_unit during the calls
    int raised = 0;              // errors each call raises
    bool host = false;           // also timed through the reference host

    std::string name() const { return variant.empty() ? signature : signature + "/" + variant; }
};

const std::vector<Case> &cases();

// In the order they run: init, module/..., memory; then host/...; then
// family/....
void register_module_benchmarks();
void register_host_benchmarks();
void register_family_benchmarks();

}  // namespace kav::bench

#endif  // KAV_BENCH_CASES_H
