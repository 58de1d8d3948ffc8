/* The public headers as C, and a few calls through the shared library. */
#include <vxblade/brapp.h>
#include <vxblade/common.h>
#include <vxblade/hw.h>
#include <vxblade/mirror_sync.h>
#include <vxblade/net.h>
#include <vxblade/platform.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>
#include <vxblade/record_files.h>
#include <vxblade/records.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

static void expect(int holds, const char* what) {
    if (!holds) {
        printf("failed: %s\n", what);
        ++failures;
    }
}

int main(void) {
    expect(crc32(0, "123456789", 9) == 0xCBF43926U, "crc32");
    expect(pmgr_cb == &pmgr_control_block, "the control block before initialisation");
    expect(scratch_pad[sizeof scratch_pad - 1] == 0, "the staging buffer");
    PropertiesHandle handle = propReadPropertiesBuffer("a = \"b\"", 7);
    char value[8];
    expect(propGetValue(handle, "a", value, sizeof value) == 2 && strcmp(value, "b") == 0, "value");
    propClosePropertiesFile(handle);
    uint8_t initiators[XBMGT_GetInitiators_SIZE] = {0};
    expect(XBMGT_GetInitiators(initiators) == -1 && errno == EBADF, "a request before the open");
    expect(XBMGT_WcSetSecureErased(NULL) == -1, "a selector without a record");
    return failures == 0 ? 0 : 1;
}
