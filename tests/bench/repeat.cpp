// vxwork TIMES WORK: does one piece of work so often. The difference between two numbers of times
// is what the work takes, without the start of the process.
#include "tests/bench/work.h"

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv) try {
    if (argc != 3) {
        return 2;
    }
    auto const work = bench::makeWork(argv[2]);
    for (int left = std::stoi(argv[1]); left > 0; --left) {
        (void)work();
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "not measured: %s: %s\n", argv[2], error.what());
    return 1;
}
