/*
 * Bringing the store into use.
 *
 * Threads: one at a time uses the store. Programs that initialise it at the same time need a lock
 * of their own.
 */
#ifndef VXBLADE_STORE_INIT_H
#define VXBLADE_STORE_INIT_H

#include <vxblade/control_block.h>

VXBLADE_BEGIN

/*
 * Resets the store's memory, makes sure of the VPD file and its backup, opens, checks and loads the
 * files that the configuration needs, and makes newer files that are missing. May be called again:
 * open files are closed first.
 * Returns 0 when the store is ready; 1 when it is loaded, but the migration file could not be made;
 * -1 when it cannot be used: a file is missing, cannot be opened or has a bad header. Then some
 * files may stay open, which close_all_files closes. A configuration file of another version moves
 * three files aside, a bad migration-parameter file is moved aside and made anew.
 */
VXBLADE_API int vxpmgr_init_lite(void);
/* Resets the store's memory and makes the record files that are missing, without loading a
 * configuration: for runs where no default changed. Failures are not reported. */
VXBLADE_API void vxpmgr_create_files_on_upgrade(void);
/* Moves each file of psstCfgFilesToDelete that exists to its path, a dot and the time in seconds.
 * Failures are not reported. */
VXBLADE_API void vxpmgr_deleteSelectiveCfgPsstFiles(void);

VXBLADE_END

#endif
