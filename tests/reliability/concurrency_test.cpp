// Upgrades in company of each other.
#include "tests/reliability/upgrade_fixture.h"

#include <vxblade/pmgr.h>

namespace {

using Concurrency = UpgradeTest;

// The second upgrade finds the work done: not even the sequence number shows that there were two.
TEST_F(Concurrency, TwoUpgrades) {
    for (int round = 0; round < 20; ++round) {
        restore(start);
        pid_t const first = begin();
        pid_t const second = begin();
        EXPECT_TRUE(await(first).reachedEnd());
        EXPECT_TRUE(await(second).reachedEnd());
        expectEnd("two upgrades", 0);
        EXPECT_EQ(readBytes(primary(PSST_SEQUENCE_INDEX)), *end.at(primary(PSST_SEQUENCE_INDEX)));
        ASSERT_FALSE(HasFailure()) << round;
    }
}

} // namespace
