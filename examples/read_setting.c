/* Prints settings of the blade. Anybody may who can read the store's files; nothing is changed. */
#include <stdio.h>

#include <vxblade/pmgr.h>

int main(void) {
    static BridgeConfig bridge;
    static PortParams port;
    const uint8_t* address = port.IpAddr.octets;

    if (vxpmgr_open_readonly() < 0) {
        fputs("the store has no configuration that can be read\n", stderr);
        return 1;
    }
    vxpmgr_GetBridgeConfigInfo(&bridge);
    printf("BridgeLogSize %u\n", (unsigned)bridge.BridgeLogSize);
    if (vxpmgr_GetPortParams(&port, PORT_TYPE_ISCSI, 0) == 0) {
        printf("iSCSI port 0 %u.%u.%u.%u\n", address[0], address[1], address[2], address[3]);
    }
    close_all_files();
    return 0;
}
