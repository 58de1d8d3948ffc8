/* change_setting SIZE: sets the size of the bridge's log. Needs the right to write the store. */
#include <stdio.h>
#include <stdlib.h>

#include <vxblade/pmgr.h>

int main(int argc, char** argv) {
    static BridgeConfig bridge;

    if (argc != 2) {
        fputs("usage: change_setting SIZE\n", stderr);
        return 2;
    }
    if (vxpmgr_init_lite() < 0) {
        fputs("the store cannot be used\n", stderr);
        return 1;
    }
    /* A record is changed whole: what this program does not know of it stays as it was read. */
    vxpmgr_GetBridgeConfigInfo(&bridge);
    bridge.BridgeLogSize = (uint32_t)strtoul(argv[1], NULL, 0);
    if (vxpmgr_UpdateBridgeConfigInfo(&bridge, PSST_WRITE_THROUGH) != 0) {
        fputs("the record cannot be written\n", stderr);
        return 1;
    }
    close_all_files();
    return 0;
}
