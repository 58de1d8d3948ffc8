#include <vxblade/version.h>

const char* vxblade_version(void) {
    return VXBLADE_VERSION;
}
