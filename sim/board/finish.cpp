// finish STATUS: ends the emulated board; the emulator's own exit status is 64 + STATUS.
//
// A kernel that panics or restarts ends the emulator with status 0, so that 0 never means success.
#include <cstdint>
#include <cstdlib>

namespace {

constexpr uintptr_t exitExtended = 0x20; // of the debugger's calls ("semihosting")
constexpr uintptr_t stoppedByExit = 0x20026;
constexpr uintptr_t firstStatus = 64;

} // namespace

int main(int argc, char** argv) {
    uintptr_t const status = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1;
    uintptr_t const arguments[] = {stoppedByExit, firstStatus + status};
    register uintptr_t operation asm("r0") = exitExtended;
    register const uintptr_t* block asm("r1") = arguments;
    asm volatile("svc 0x123456" : "+r"(operation) : "r"(block) : "memory");
    return 1; // an emulator that does not listen
}
