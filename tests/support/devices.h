// The simulated blade's devices, as tests use them.
#pragma once

#include "tests/support/blade_files.h"

#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

// Gives the devices commands (bladesim --help lists them), one a line.
void control(const std::string& commands);
// Operations on the devices since the last call or test, "DEVICE OPERATION DETAIL = RESULT".
std::vector<std::string> traced();
// Records of the system log since the test began.
std::string logged();
// What a device holds, seen and set past the code under test: "nor", "i2c-0-50" …
Bytes image(const std::string& device, std::size_t offset = 0, std::size_t size = SIZE_MAX);
void setImage(const std::string& device, std::size_t offset, const Bytes& bytes);
// Lines joined, each ended by a newline.
std::string joined(const std::vector<std::string>& lines);

// Descriptors that this process has open.
std::size_t openDescriptors();

// What a call printed, left on standard error (without line numbers), and did to the devices.
struct Seen {
    long result;
    std::string output;
    std::string errors;
    std::string trace;
};

void beginSeeing();
Seen endSeeing(long result);
template <class Call>
Seen see(Call call) {
    beginSeeing();
    return endSeeing(static_cast<long>(call()));
}

// --- Transcripts: what calls give and do, compared with the file NAME.transcript.
//
// In the file a line "! COMMAND; COMMAND" resets the devices and gives them commands, a line
// "> NAME WORD…" is a call, and what comes of it is indented: its result and the buffers that it
// fills, what it printed, what it left on standard error (without line numbers; of its retries the
// last) and what the devices saw.

using Words = std::vector<std::string>;
using Calls = std::map<std::string, std::function<std::string(const Words&)>>;
void expectTranscript(const std::string& name, const Calls& calls);

// "0a1b" as bytes, "[2]" as two bytes 0x5A, "Z"; and bytes as digits.
[[nodiscard]] Bytes bytesOfWord(const std::string& word);
[[nodiscard]] std::string hex(const Bytes& bytes);

// One argument, from one word: a number, a text, or for other pointers bytes or "null".
template <class Type>
struct Argument {
    using Target = std::remove_pointer_t<Type>;
    static constexpr bool isText = std::is_same_v<Type, const char*>;
    static constexpr bool isBuffer = std::is_pointer_v<Type> && !isText;
    explicit Argument(std::string aWord) : word(std::move(aWord)) {
        bytes = isBuffer && word != "null" ? bytesOfWord(word) : Bytes();
    }
    Type value() {
        if constexpr (isBuffer) {
            return word == "null" ? nullptr : reinterpret_cast<Type>(bytes.data());
        } else if constexpr (isText) {
            return word.c_str();
        } else {
            return static_cast<Type>(std::stoll(word, nullptr, 0));
        }
    }
    // What a buffer holds now.
    [[nodiscard]] std::string told() const {
        std::string text(bytes.begin(), bytes.end());
        std::ranges::replace(text, '\0', '.');
        bool const isFilled = isBuffer && !std::is_const_v<Target>;
        return !isFilled ? "" : " " + (std::is_same_v<Target, char> ? text : hex(bytes));
    }
    std::string word;
    Bytes bytes;
};

template <class Result, class... Types>
auto callOf(Result (*function)(Types...)) {
    return [function]<std::size_t... index>(std::index_sequence<index...>) {
        return [function](const Words& words) {
            (void)words; // of a call without any
            std::tuple<Argument<Types>...> given{Argument<Types>(words.at(index))...};
            std::string const result = std::to_string(function(std::get<index>(given).value()...));
            return (result + ... + std::get<index>(given).told());
        };
    }
    (std::index_sequence_for<Types...>());
}
#define NAMED(function)                                                                            \
    { #function, callOf(function) }

// Loads the environment of a flash that holds none, which is opened if need be.
void loadBlankEnvironment();

// Each test starts with blank chips, no faults, nothing open and empty volumes.
class DeviceTest : public BladeTest {
  protected:
    void SetUp() override;
    void TearDown() override;
};
