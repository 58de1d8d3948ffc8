/* A few calls through the shared library, from C. */
#undef NDEBUG
#include <assert.h>
#include <errno.h>
#include <string.h>

#include <vxblade/brapp.h>
#include <vxblade/common.h>
#include <vxblade/pmgr.h>
#include <vxblade/props.h>

int main(void) {
    assert(crc32(0, "123456789", 9) == 0xCBF43926U);
    assert(pmgr_cb == &pmgr_control_block); /* before initialisation too */
    assert(scratch_pad[sizeof scratch_pad - 1] == 0);
    PropertiesHandle handle = propReadPropertiesBuffer("a = \"b\"", 7);
    char value[8];
    assert(propGetValue(handle, "a", value, sizeof value) == 2 && strcmp(value, "b") == 0);
    propClosePropertiesFile(handle);
    uint8_t initiators[XBMGT_GetInitiators_SIZE] = {0};
    assert(XBMGT_GetInitiators(initiators) == -1 && errno == EBADF); /* before the open */
    assert(XBMGT_WcSetSecureErased(NULL) == -1);
    return 0;
}
