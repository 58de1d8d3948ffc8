// vxbench [OPTION OF THE BENCHMARK LIBRARY]... WORK...: the time of each piece of work.
#include "bench/work.h"

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        benchmark::RegisterBenchmark(argv[i],
                                     [work = bench::makeWork(argv[i])](benchmark::State& state) {
                                         for (auto _ : state) {
                                             benchmark::DoNotOptimize(work());
                                         }
                                     });
    }
    benchmark::RunSpecifiedBenchmarks();
}
