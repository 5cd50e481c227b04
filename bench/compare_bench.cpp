// kavmath --compare of the module against a copy of itself: every row, 1,000
// calls a row, both builds loaded as a host loads them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>

#include "compare.h"

namespace {

void BM_compare_all_rows(benchmark::State &state) {
    // A copy, so that the second load is a module of its own.
    const auto copy = std::filesystem::temp_directory_path() / "kav_bench_compare.so";
    std::filesystem::copy_file(KAV_MODULE_PATH, copy, std::filesystem::copy_options::overwrite_existing);
    std::string other = copy.string(), calls = std::to_string(state.range(0));
    char *argv[] = {const_cast<char *>("kavmath"), const_cast<char *>("--compare"), other.data(),
                    const_cast<char *>("--calls"), calls.data()};
    FILE *sink = std::fopen("/dev/null", "w");
    for (auto _ : state)
        if (kav::host::compare_command(5, argv, KAV_MODULE_PATH, sink) != 0) state.SkipWithError("builds differ");
    std::fclose(sink);
    std::filesystem::remove(copy);
}
BENCHMARK(BM_compare_all_rows)->Arg(1000)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace
