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
/*
 * Opens the store for reading alone: resets its memory and loads what there is, the SNMP settings
 * included. Nothing is made, repaired, mirrored or written, and no device opened; it needs the
 * right to read the files, no other.
 *
 * Every Get function and reader of a file works then. Every function that writes a record, a file
 * or a mirror of the store, or changes one of its tables, returns -1 (null where it returns a
 * pointer) with errno EROFS and changes nothing, also with PSST_MEMORY_ONLY. What a blade's own
 * platform library writes by itself is for that library to refuse; the stand-in does. The boot
 * environment (bootenv.h) is not part of the store.
 *
 * That lasts until the store is opened again: vxpmgr_init_lite, vxpmgr_create_files_on_upgrade and
 * InitDatabaseLite close all files and forget it, so a program that reads first may write later. A
 * call after vxpmgr_init_lite likewise closes the files and loads them anew, to be read alone.
 *
 * Returns 0; 1 where the configuration is loaded and one of the other tables is not, because its
 * file is missing, cannot be read or is bad (such a table is zero; a blade may be without SNMP
 * settings); -1 where the configuration file is so, or is of another version: everything is zero
 * and closed then. It takes no lock: who may read while another program writes reads again where
 * the sequence number (vxpmgr_GetSequenceNumber of side 1) has changed meanwhile.
 */
VXBLADE_API int vxpmgr_open_readonly(void);
/* Resets the store's memory and makes the record files that are missing, without loading a
 * configuration: for runs where no default changed. Failures are not reported. */
VXBLADE_API void vxpmgr_create_files_on_upgrade(void);
/* Moves each file of psstCfgFilesToDelete that exists to its path, a dot and the time in seconds.
 * Failures are not reported. */
VXBLADE_API void vxpmgr_deleteSelectiveCfgPsstFiles(void);

VXBLADE_END

#endif
