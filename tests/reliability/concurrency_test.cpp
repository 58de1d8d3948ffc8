// Upgrades in company of each other.
#include "tests/reliability/upgrade_fixture.h"

#include "upgrade/driver.h"

#include <vxblade/pmgr.h>

#include <functional>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Concurrency : UpgradeTest {
    static pid_t begin(const std::function<void()>& work) {
        std::fflush(stdout);
        pid_t const child = ::fork();
        if (child == 0) {
            ::alarm(120);
            int const out = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
            systemCalls.shell = runInProcess;
            work();
            ::_exit(0);
        }
        return child;
    }

    static void await(pid_t child) {
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
};

// The second upgrade finds the work done: not even the sequence number shows that there were two.
TEST_F(Concurrency, TwoUpgrades) {
    for (int round = 0; round < 20; ++round) {
        start.restore();
        pid_t const first = begin([] { vx::runUpgrade(); });
        pid_t const second = begin([] { vx::runUpgrade(); });
        await(first);
        await(second);
        expectEnd("two upgrades", 0);
        EXPECT_EQ(readBytes(primary(PSST_SEQUENCE_INDEX)),
                  end.find(primary(PSST_SEQUENCE_INDEX))->bytes);
        ASSERT_FALSE(HasFailure()) << round;
    }
}

} // namespace
