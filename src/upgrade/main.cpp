#include "common/streams.h"
#include "upgrade/driver.h"

#include <vxblade/version.h>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

constexpr const char* help =
    "usage: vxpvh\n"
    "\n"
    "Carries changed factory defaults into the live configuration of a storage bridge blade, once\n"
    "after new firmware was installed. Compares default_bridge_config.cfg of the working folder\n"
    "with /mnt/nand0/default_bridge_config.cfg.0, the defaults of the firmware before, merges what\n"
    "changed into the store on /mnt/nand1 and /mnt/nand2, and saves the new file as the next\n"
    "reference. What a user changed stays. Run as root, with the three volumes mounted.\n"
    "\n"
    "  --help     prints this and touches nothing\n"
    "  --version  prints the version and touches nothing\n"
    "\n"
    "Any other argument is ignored. The exit status is always 0: what was done is on standard\n"
    "output (\"Compare Diff\" lines) and standard error.\n";

} // namespace

int main(int argc, char** argv) {
    vx::openStandardStreams();
    const char* const only = argc == 2 ? argv[1] : "";
    if (std::strcmp(only, "--help") == 0) {
        std::fputs(help, stdout);
        return 0;
    }
    if (std::strcmp(only, "--version") == 0) {
        std::puts("vxpvh " VXBLADE_VERSION);
        return 0;
    }
    // Whoever reads what the tool prints may go away; the upgrade goes on.
    (void)std::signal(SIGPIPE, SIG_IGN);
    return vx::runUpgrade();
}
