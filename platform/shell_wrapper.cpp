#include <vxblade/platform.h>

#include <cstdio>
#include <cstdlib>

int VX_systemWrapper(const char* command) {
    std::fflush(stdout);
    return std::system(command) == 0 ? 0 : -1; // NOLINT(bugprone-command-processor)
}
