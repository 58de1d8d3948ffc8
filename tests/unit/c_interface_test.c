/* A few calls through the shared library, from C. */
#undef NDEBUG
#include <assert.h>
#include <errno.h>

#include <vxblade/brapp.h>
#include <vxblade/pmgr.h>

int main(void) {
    assert(pmgr_cb == &pmgr_control_block); /* before initialisation too */
    assert(scratch_pad[sizeof scratch_pad - 1] == 0);
    uint8_t initiators[XBMGT_GetInitiators_SIZE] = {0};
    assert(XBMGT_GetInitiators(initiators) == -1 && errno == EBADF); /* before the open */
    assert(XBMGT_WcSetSecureErased(NULL) == -1);
    return 0;
}
