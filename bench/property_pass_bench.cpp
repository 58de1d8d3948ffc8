// One section read from a personality file: the linear pass, against the enumeration that looks
// every key up from the start of the text.
#include "props/property_pass.h"

#include <vxblade/props.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

PropertiesHandle openSample() {
    std::ifstream file(SAMPLES "/personality-5.3.0.cfg", std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    return propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
}

constexpr const char* prefix = "config.bridge.";

void SectionPassLinear(benchmark::State& state) {
    PropertiesHandle const handle = openSample();
    for (auto _ : state) {
        int found = 0;
        for (vx::PropertyPass pass(handle); pass.next();) {
            found += std::strncmp(pass.key(), prefix, std::strlen(prefix)) == 0 ? 1 : 0;
        }
        benchmark::DoNotOptimize(found);
    }
    propClosePropertiesFile(handle);
}

void SectionPassLiteral(benchmark::State& state) {
    PropertiesHandle const handle = openSample();
    for (auto _ : state) {
        int found = 0;
        char key[256];
        char value[256];
        for (int result = propGetNext(handle, nullptr, key, sizeof key); result >= 1;
             result = propGetNext(handle, key, key, sizeof key)) {
            if (std::strncmp(key, prefix, std::strlen(prefix)) == 0 &&
                propGetValue(handle, key, value, sizeof value) >= 1) {
                ++found;
            }
        }
        benchmark::DoNotOptimize(found);
    }
    propClosePropertiesFile(handle);
}

BENCHMARK(SectionPassLinear)->Unit(benchmark::kMicrosecond);
BENCHMARK(SectionPassLiteral)->Unit(benchmark::kMicrosecond);

} // namespace
