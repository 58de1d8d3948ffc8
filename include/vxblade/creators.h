/*
 * Making record files, so that a half-made one is never taken for whole.
 *
 * All of these open the file into the control block, and return 0 or -1. An unfinished file
 * (absent, shorter than a header, or magic and size 0) is made first: zeros to the full size, a
 * header that every reader refuses, a valid header. A finished file is never overwritten, valid or
 * not. An unfinished file that cannot be made is removed.
 *
 * Threads: one at a time uses the store.
 */
#ifndef VXBLADE_CREATORS_H
#define VXBLADE_CREATORS_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/*
 * The file of an index, 1 to 43. -1 too for an index without records, for a file whose transfer
 * failed (until the store is initialised again), and for the VPD pair, which vxpmgr_create_vpd_psst
 * makes.
 */
VXBLADE_API int CreatePsstFile(int fileIndex);

/* One file each. A failure of the first is reported on standard output. */
VXBLADE_API int CreateEventNotifyPsst(void);
VXBLADE_API int create_migration_param_file(void);
VXBLADE_API int CreateRegisteredClientPsstFile(void);
VXBLADE_API int CreateExtMigrationFile(void);

/* The same; with `create` 0 an unfinished file is left as it is, and the result is -1. */
VXBLADE_API int CreateClusterMemberInfoPsstFile(int create);
VXBLADE_API int CreateCacheStorePhysLunInfoPsstFile(int create);
VXBLADE_API int CreatePhysLunStripeTableFile(int create);
VXBLADE_API int CreateClusterMetaDataPsstFile(int create);
VXBLADE_API int CreateClusterCachedLunPsstFile(int create);

VXBLADE_END

#endif
