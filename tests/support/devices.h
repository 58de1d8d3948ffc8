// The simulated blade's devices, as tests use them.
#pragma once

#include "tests/support/blade_files.h"

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

// Gives the devices commands (bladesim --help lists them), one a line.
void control(const std::string& commands);
// Operations on the devices since the last call or test, lines "DEVICE OPERATION DETAIL = RESULT":
// equal ones that follow one another are one with their number, "×3".
std::string traced();
// Records of the system log since the test began.
std::string logged();
// What a device holds, seen and set past the code under test: "nor", "i2c-0-50" …
Bytes image(const std::string& device, std::size_t offset = 0, std::size_t size = SIZE_MAX);
void setImage(const std::string& device, std::size_t offset, const Bytes& bytes);

// What a call printed, left on standard error, and did to the devices.
struct Seen {
    long result;
    std::string output;
    std::string errors;
    std::string trace;
};
Seen see(const std::function<long()>& call);

// --- Transcripts: what calls give and do, compared with the file NAME.transcript.
//
// In the file a line "! COMMAND; COMMAND" resets the devices and gives them commands, a line
// "> NAME WORD…" is a call, and what comes of it is indented: its result and the buffers that it
// fills, what it printed, what it left on standard error (without line numbers; of its retries the
// last) and what the devices saw.

using Words = std::vector<std::string>;
using Calls = std::map<std::string, std::function<std::string(const Words&)>>;
void expectTranscript(const std::string& name, const Calls& calls);

// "0a1b" and "*0a1b" as bytes, "[2]" as two bytes 0x5A, "Z"; and bytes as digits.
[[nodiscard]] Bytes bytesOfWord(const std::string& word);
[[nodiscard]] std::string hex(const Bytes& bytes);
// What a buffer "[SIZE]" or "*BYTES" holds, characters or digits; nothing of other words.
[[nodiscard]] std::string told(const std::string& word, const Bytes& bytes, bool isText);

// One argument, from one word: a number, a string, or for other pointers bytes or "null".
template <class Type>
Type argument(const std::string& word, Bytes& bytes) {
    if constexpr (std::is_same_v<Type, const char*>) {
        return word.c_str();
    } else if constexpr (std::is_pointer_v<Type>) {
        bytes = word == "null" ? Bytes() : bytesOfWord(word);
        return word == "null" ? nullptr : reinterpret_cast<Type>(bytes.data());
    } else {
        return static_cast<Type>(std::stoll(word, nullptr, 0));
    }
}

// A call's result, and what the buffers that are to be told hold then.
template <class Result, class... Types>
auto callOf(Result (*function)(Types...)) {
    return [function]<std::size_t... i>(std::index_sequence<i...>) {
        return [function]([[maybe_unused]] const Words& words) {
            [[maybe_unused]] std::array<Bytes, sizeof...(Types)> buffers;
            std::string const result =
                std::to_string(function(argument<Types>(words.at(i), buffers[i])...));
            return (result + ... + told(words.at(i), buffers[i], std::is_same_v<Types, char*>));
        };
    }
    (std::index_sequence_for<Types...>());
}
#define NAMED(function)                                                                            \
    { #function, callOf(function) }

// vhnor_init of a process that has not called it.
int reopenFlash();
// Loads the environment of a flash that holds none, which is opened if need be.
void loadBlankEnvironment();

// Each test starts with blank chips, no faults, nothing open and empty volumes, and leaves nothing
// open but the handles.
class DeviceTest : public BladeTest {
  protected:
    void SetUp() override;
    void TearDown() override;

  private:
    std::size_t openAtStart_ = 0;
};
