#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <cstdio>
#include <cstring>

int vxpmgr_create_mirror_paths(uint32_t /*a*/, uint32_t /*b*/, uint32_t /*c*/, uint32_t /*d*/) {
    for (int index = PSST_FIRST_INDEX; index <= PSST_LAST_INDEX; ++index) {
        const char* const primary = psstFilePrimaryPaths[index];
        const char* const slash = std::strrchr(primary, '/'); // reserved indices have none
        std::snprintf(psstFileMirrorPaths[index], sizeof psstFileMirrorPaths[index],
                      "/mnt/nand2/%s", slash != nullptr ? slash + 1 : primary);
    }
    vxpmgr_mirror_path_init_done = 1;
    return 0;
}
