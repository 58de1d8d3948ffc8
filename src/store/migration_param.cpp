#include <vxblade/record_files.h>

#include "store/loader.h"

#include <cstdio>

namespace {

void printJob(const char* function, int line, const char* words) {
    std::printf("\n %s:%d %s JOBUUID = %d\n", function, line, words,
                static_cast<int>(migration_param.record.JOBUUID));
}

} // namespace

int ReadMigrationParamFile(void) {
    return vx::loadFile(PSST_MIGRATION_PARAM, vx::single(migration_param));
}

int WriteMigrationParamFile(const MigrationParam* record, uint32_t type) {
    if (type != PSST_MIGRATION_PARAM) {
        return -1;
    }
    migration_param.record.JOBUUID = record->JOBUUID;
    printJob(__func__, __LINE__, "HERE I am with");
    return WritePsstFile(record, sizeof *record, type, 0, PSST_MODE_RECORD);
}

int vxpmgr_GetMigrationParam(MigrationParam* out) {
    if (ReadMigrationParamFile() == 0) { // the words are the other way round, and stay so
        printJob(__func__, __LINE__, "error reading file");
    }
    *out = {};
    out->JOBUUID = migration_param.record.JOBUUID;
    printJob(__func__, __LINE__, "HERE I am with");
    return 0;
}

int vxpmgr_SetMigrationParam(const MigrationParam* in) {
    (void)ReadMigrationParamFile(); // bytes beside the identifier are kept
    migration_param.record.JOBUUID = in->JOBUUID;
    return WriteMigrationParamFile(&migration_param.record, PSST_MIGRATION_PARAM);
}
