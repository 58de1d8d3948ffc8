// Every operation of an upgrade, and of the layer's updates, fails once.
#include "tests/reliability/upgrade_fixture.h"

#include <vxblade/pmgr.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

struct Faults : UpgradeTest {
    // Every error and a short transfer at each operation; at those that change no medium one of
    // the errors in turn, unless all are asked for.
    static std::vector<Fault> faultsOf(const std::vector<OperationLog::Entry>& operations) {
        constexpr int errors[] = {ENOSPC, EIO, EINTR, EROFS};
        std::vector<Fault> faults;
        for (int i = 1; i <= static_cast<int>(operations.size()); ++i) {
            auto const& entry = operations[static_cast<std::size_t>(i) - 1];
            for (int error = 0; error < 4; ++error) {
                if (isDurable(entry.operation) || longRun() || i % 4 == error) {
                    faults.push_back({Fault::Kind::error, i, errors[error], 0});
                }
            }
            if (entry.operation == Operation::read || entry.operation == Operation::write) {
                // Of the bridge record's, in the middle of the base name's change.
                std::size_t const bytes = std::min<std::size_t>(entry.size / 2, 392);
                faults.push_back({Fault::Kind::shortTransfer, i, 0, bytes});
            }
        }
        return faults;
    }
};

// The tool ends as it always does, holds no more descriptors than it should, leaves each file whole
// and says which record it could not write. With its reference put back, the next run makes good.
TEST_F(Faults, EveryOperationOfAnUpgrade) {
    std::vector<Fault> const faults = chosen(faultsOf(operations), SANITIZED ? 150 : everything);
    for (const Fault& fault : faults) {
        auto const& entry = operations[static_cast<std::size_t>(fault.at) - 1];
        std::string const name = entry.name;
        bool const isWrite = entry.operation == Operation::write;
        bool const isTorn = isWrite && fault.kind == Fault::Kind::shortTransfer;
        bool const isRead =
            entry.operation == Operation::open || entry.operation == Operation::read;
        std::string const in = "operation " + std::to_string(fault.at) + " (" + name + "): error " +
                               std::to_string(fault.error) + ", " + std::to_string(fault.bytes) +
                               " bytes";
        restore(start);
        Run const run = upgrade(fault);
        ASSERT_TRUE(run.reachedEnd()) << in << ": status " << run.status;
        EXPECT_LE(run.descriptors, descriptors) << in;
        if (isWrite && (name.starts_with("nand1/brapp_config.bin") ||
                        name.starts_with("nand1/brapp_hostgroup.bin"))) {
            EXPECT_TRUE(says("The update could not be stored: -1\n")) << in;
            EXPECT_EQ(readBytes(unmerged), *start.at(savedCopy)) << in;
        }
        // What cannot be read of the two files counts as zero, which is neither old nor new.
        if (!isRead || name.find("default_bridge_config.cfg") == name.npos) {
            expectWhole(in);
            writeBytes(savedCopy, *start.at(savedCopy));
            ASSERT_TRUE(upgrade().reachedEnd()) << in;
            // The record's good half may be all that is merged: then nothing is left to write.
            expectEnd(in, 0, isTorn ? std::string(name).replace(0, 5, "/mnt/nand2") : "");
        }
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%zu faults in an upgrade of %zu operations\n", faults.size(), operations.size());
}

} // namespace
