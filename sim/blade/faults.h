// Faults that a test or an engineer asks the simulated devices for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sim {

// What becomes of one operation.
struct Verdict {
    enum Kind {
        proceed,
        fail,      // nothing happens; `error` is the answer
        comeShort, // all but the last byte
        skip,      // nothing happens, and it looks as if it had
        stop,      // the power goes before it
        tear,      // the power goes in the middle of it
    } kind = proceed;
    int error = 0;
};

class Faults {
  public:
    // Applies a command:
    //   fail DEVICE OPERATION ERRNO [COUNT [AFTER]]  COUNT operations fail, once AFTER were good
    //   short DEVICE OPERATION [COUNT [AFTER]]       … come up short
    //   skip DEVICE OPERATION [COUNT [AFTER]]        … are not done, and said to be
    //   stop N                                       the power goes at the N-th operation from now
    //   tear N                                       … in the middle of it
    //   reset                                        all is well again
    // False when the line is none of these. Throws std::invalid_argument when it is wrong.
    bool command(const std::vector<std::string>& words);
    // Counts an operation, and says what becomes of it.
    Verdict next(std::string_view device, std::string_view operation);

  private:
    struct Rule {
        std::string device;
        std::string operation;
        Verdict verdict;
        long count;
        long after;
    };
    std::vector<Rule> rules_;
    Verdict::Kind ending_ = Verdict::stop;
    long untilEnd_ = 0; // operations left, that one included; 0: none is planned
    bool dead_ = false;
};

// A word as a number from `least` up, in decimal or with 0x. Throws std::invalid_argument.
long numberFrom(const std::string& word, long least);

} // namespace sim
