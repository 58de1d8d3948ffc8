/* A program of the blade's, as its author would write it. */
#include <stdio.h>

#include <vxblade/brapp.h>
#include <vxblade/net.h>

int main(void) {
    static BridgeConfig bridge;
    if (XBMGT_OpenBridgeApp("vxbrapp") <= 0) {
        return 1;
    }
    printf("bridge %d, gateway %x\n", XBMGT_GetBridgeBasicInfo(&bridge), VXNetGetGateway("eth0"));
    return 0;
}
