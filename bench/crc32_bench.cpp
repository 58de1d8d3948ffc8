// The CRC-32 eight bytes at a time, against the plain byte loop over the same table.
#include <vxblade/common.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

std::array<uint32_t, 256> byteTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < table.size(); ++n) {
        unsigned char const byte = static_cast<unsigned char>(n);
        table[n] = ~crc32(0xFFFFFFFF, &byte, 1); // the step from a zero register
    }
    return table;
}

uint32_t byteLoop(const std::array<uint32_t, 256>& table, const std::vector<unsigned char>& data) {
    uint32_t c = 0xFFFFFFFF;
    for (unsigned char const byte : data) {
        c = table[(c ^ byte) & 0xFF] ^ (c >> 8);
    }
    return ~c;
}

std::vector<unsigned char> makeData(benchmark::State& state) {
    std::vector<unsigned char> data(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<unsigned char>(i * 31);
    }
    return data;
}

void finish(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Crc32EightBytes(benchmark::State& state) {
    auto const data = makeData(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(crc32(0, data.data(), static_cast<int>(data.size())));
    }
    finish(state);
}

void Crc32ByteLoop(benchmark::State& state) {
    auto const data = makeData(state);
    auto const table = byteTable();
    if (byteLoop(table, data) != crc32(0, data.data(), static_cast<int>(data.size()))) {
        state.SkipWithError("the two ways disagree");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(byteLoop(table, data));
    }
    finish(state);
}

// A VPD record, and a record file.
BENCHMARK(Crc32EightBytes)->Arg(2224)->Arg(1 << 20);
BENCHMARK(Crc32ByteLoop)->Arg(2224)->Arg(1 << 20);

} // namespace
