/* A program of the blade's, as its author would write it. */
#include <errno.h>
#include <stdio.h>

#include <vxblade/brapp.h>
#include <vxblade/net.h>
#include <vxblade/pmgr.h>

int main(void) {
    static BridgeConfig bridge;
    uint8_t initiators[XBMGT_GetInitiators_SIZE];
    if (pmgr_cb != &pmgr_control_block || XBMGT_GetInitiators(initiators) != -1 || errno != EBADF ||
        XBMGT_OpenBridgeApp("vxbrapp") <= 0) { /* nothing was open before */
        return 1;
    }
    printf("bridge %d, gateway %x\n", XBMGT_GetBridgeBasicInfo(&bridge), VXNetGetGateway("eth0"));
    return 0;
}
