// An upgrade that does all that one can: sections that change, a user's own values, opaque bytes,
// files to be made and a VPD twin to be restored. It runs in a process of its own, with faults.
#pragma once

#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

// The content of a simulated blade's volumes by path. Equal contents are one object, which lives as
// long as the process.
using Volumes = std::map<std::string, const Bytes*>;
[[nodiscard]] const Bytes* kept(const Bytes& content);
[[nodiscard]] Volumes volumesNow();
// Makes the volumes hold these files and no others.
void restore(const Volumes& volumes);

// True where all that a test can do is asked for, which takes half an hour: RELIABILITY=long.
[[nodiscard]] bool longRun();

// At most `count` of what could be tried, by a fixed seed, in order; everything for `everything`.
inline constexpr std::size_t everything = SIZE_MAX;
template <class Choice>
std::vector<Choice> chosen(const std::vector<Choice>& choices, std::size_t count) {
    std::vector<Choice> some;
    std::sample(choices.begin(), choices.end(), std::back_inserter(some),
                std::min(count, choices.size()), std::mt19937(20260412));
    return some;
}

// The tool's shell commands without a shell, which would be most of an upgrade's time; for
// systemCalls.shell.
int runInProcess(const std::string& command);

class UpgradeTest : public BladeTest {
  public:
    static constexpr const char* printed = "/var/lock/printed";
    static constexpr const char* newFile = "/mnt/nand0/firmware/default_bridge_config.cfg";
    static constexpr const char* savedCopy = "/mnt/nand0/default_bridge_config.cfg.0";
    static constexpr const char* unmerged = "/mnt/nand0/default_bridge_config.cfg.unmerged";
    static constexpr const char* journal = "/mnt/nand0/vxpvh.journal";
    static constexpr const char* secondSavedCopy = "/mnt/nand0/default_bridge_config.cfg.1";
    static int (*work)(); // what is run: an upgrade, unless a test wants another

  protected:
    void SetUp() override;
    // The last touch before the start of the upgrade: takes away what the firmware makes.
    virtual void arrange();

    struct Run {
        int status;      // as of waitpid
        int descriptors; // open at the end, the store closed
        std::vector<OperationLog::Entry> operations;
        [[nodiscard]] bool reachedEnd() const { return status == 0; }
    };
    // Begins an upgrade in a process of its own, with a fault that counts from its start; what it
    // prints is in `printed`. Ends it: how it went.
    static pid_t begin(const Fault& fault = {});
    static Run await(pid_t child);
    static Run upgrade(const Fault& fault = {}) { return await(begin(fault)); }
    // Runs one in this process; what it did to the volumes.
    static Trace traceOfUpgrade();
    static bool says(const std::string& words) {
        return readText(printed).find(words) != std::string::npos;
    }

    // Fails unless every byte of a file is what it was at the start or is at the end, and each new
    // file is whole or one that readers refuse. `in` says where.
    void expectWhole(const std::string& in) const;
    // Fails unless the volumes are as an uninterrupted upgrade leaves them, but for the sequence
    // number, which is at least `sequence`, what else a cut may leave, and one mirror.
    void expectEnd(const std::string& in, uint64_t sequence, const std::string& behind = "") const;

    int descriptors = 0; // open at the end of that upgrade
    Volumes start;
    Volumes end;                                 // of an uninterrupted upgrade
    std::vector<OperationLog::Entry> operations; // of that upgrade
};
