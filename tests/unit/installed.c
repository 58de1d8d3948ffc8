/* A program of the blade's, as its author would write it. */
#include <stdio.h>

#include <vxblade/brapp.h>
#include <vxblade/net.h>

int main(void) {
    static BridgeConfig bridge;
    if (XBMGT_OpenBridgeApp("vxbrapp") <= 0) {
        return 1;
    }
    int const result = XBMGT_GetBridgeBasicInfo(&bridge);
    uint32_t const gateway = VXNetGetGateway("eth0");
    printf("bridge %d, gateway %u.%u.%u.%u\n", result, gateway >> 24, gateway >> 16 & 255,
           gateway >> 8 & 255, gateway & 255);
    return 0;
}
