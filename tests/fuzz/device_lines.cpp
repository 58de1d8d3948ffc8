// The kernel's list of drivers: lines by themselves, and lookups in the whole list.
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/memory_files.h"

#include <vxblade/hw.h>

#include <array>
#include <cstring>

using fuzz::require;

namespace {

constexpr const char* listPath = "/proc/devices";
constexpr std::size_t longestName = 90; // that is whole in a line, whatever stands around it

// The name that a line holds for a driver, behind at most four digits.
void checkLine(char* line) {
    std::string untrimmed = line;
    trim(line);
    require(untrimmed.starts_with(line), "trimming takes from the end");
    std::array<char, 4> digits;
    const char* const name = walkToName(line, digits.data());
    require(name == nullptr || (line <= name && name <= line + std::strlen(line)),
            "a name is part of its line");
}

void checkLines(std::size_t textSize, int capacity) {
    FILE* const file = std::fopen(listPath, "re");
    auto const line = fuzz::exactBuffer(capacity);
    std::size_t total = 0;
    for (int count = 1; count > 0; total += static_cast<std::size_t>(count)) {
        count = readLine(file, line.get(), capacity);
        if (capacity > 0) {
            require(line[static_cast<std::size_t>(capacity) - 1] == '\0', "a line is terminated");
            checkLine(line.get());
        }
    }
    require(total == textSize, "lines are counted whole, cut or not");
    std::fclose(file);
}

} // namespace

// A capacity for lines, a driver's name, and the list.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    int const capacity = static_cast<int8_t>(input.byte());
    std::string const name = input.text();
    std::string const list(input.rest());
    fuzz::writeFile(listPath, list);
    checkLines(list.size(), capacity);
    for (int const type : {DEVICE_CHARACTER, DEVICE_BLOCK}) {
        uint32_t const number = getMajor(name.c_str(), type);
        require(number <= 9999, "a number has four digits");
        if (number != 0 && name.size() < longestName) {
            // As the kernel prints it.
            fuzz::writeFile(
                listPath, (type == DEVICE_CHARACTER ? "Character devices:\n" : "Block devices:\n") +
                              std::to_string(number) + " " + name + "\n");
            require(getMajor(name.c_str(), type) == number, "a printed driver is found");
            fuzz::writeFile(listPath, list);
        }
    }
    return 0;
}
