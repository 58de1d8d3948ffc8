// vxbench [OPTION OF THE BENCHMARK LIBRARY]... WORK...: the time of each piece of work.
#include "tests/bench/work.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        try {
            benchmark::RegisterBenchmark(
                argv[i], [work = bench::makeWork(argv[i])](benchmark::State& state) {
                    for (auto _ : state) {
                        benchmark::DoNotOptimize(work());
                    }
                });
        } catch (const std::exception& error) { // the others are measured all the same
            std::fprintf(stderr, "not measured: %s: %s\n", argv[i], error.what());
        }
    }
    benchmark::RunSpecifiedBenchmarks();
}
