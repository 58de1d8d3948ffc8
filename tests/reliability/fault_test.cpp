// Every operation of an upgrade, and of the layer's updates, fails once.
#include "tests/reliability/upgrade_fixture.h"

#include <vxblade/pmgr.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

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

    static bool isOf(const OperationLog::Entry& entry, std::initializer_list<const char*> names,
                     std::initializer_list<Operation> operations) {
        auto const isNamed = [&](const char* name) { return std::strstr(entry.name, name); };
        return std::ranges::any_of(names, isNamed) &&
               std::ranges::count(operations, entry.operation) != 0;
    }
};

// The tool ends as it always does, holds no more descriptors than it should, leaves each file whole
// and says which record it could not write. With its reference put back, the next run makes good.
TEST_F(Faults, EveryOperationOfAnUpgrade) {
    std::vector<Fault> const faults = chosen(faultsOf(operations), SANITIZED ? 300 : everything);
    for (const Fault& fault : faults) {
        auto const& entry = operations[static_cast<std::size_t>(fault.at) - 1];
        bool const isTorn =
            fault.kind == Fault::Kind::shortTransfer && entry.operation == Operation::write;
        std::string const in = "operation " + std::to_string(fault.at) + " (" + entry.name +
                               "): error " + std::to_string(fault.error) + ", " +
                               std::to_string(fault.bytes) + " bytes";
        start.restore();
        Run const run = upgrade(fault);
        ASSERT_TRUE(run.reachedEnd()) << in << ": status " << run.status;
        EXPECT_LE(run.descriptors, descriptors) << in;
        if (isOf(entry, {"nand1/brapp_config.bin", "nand1/brapp_hostgroup.bin"},
                 {Operation::write})) {
            EXPECT_TRUE(says("The update could not be stored: -1\n")) << in;
            EXPECT_EQ(readBytes(unmerged), *start.find(savedCopy)) << in;
        }
        // What cannot be read of the two files counts as zero, which is neither old nor new.
        if (!isOf(entry, {"default_bridge_config.cfg"}, {Operation::open, Operation::read})) {
            expectWhole(in);
            writeBytes(savedCopy, *start.find(savedCopy));
            ASSERT_TRUE(upgrade().reachedEnd()) << in;
            // The record's good half may be all that is merged: then nothing is left to write.
            expectEnd(in, 0, isTorn ? std::string(entry.name).replace(0, 5, "/mnt/nand2") : "");
        }
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%zu faults in an upgrade of %zu operations\n", faults.size(), operations.size());
}

} // namespace
