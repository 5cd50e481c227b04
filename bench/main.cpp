#include <benchmark/benchmark.h>

#include <exception>
#include <iostream>

#include "cases.h"

int main(int argc, char **argv) {
    try {
        kav::bench::Stub::get();  // opens, registers and initialises the module once
    } catch (const std::exception &e) {
        std::cerr << "kav_bench: " << e.what() << '\n';
        return 1;
    }
    kav::bench::register_module_benchmarks();
    kav::bench::register_host_benchmarks();
    kav::bench::register_family_benchmarks();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
