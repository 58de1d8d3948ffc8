// The stripe table of physical LUNs and the cluster's cached LUNs.
#include <vxblade/brapp.h>
#include <vxblade/record_files.h>

#include "store/slot_table.h"

#include <cstdio>
#include <iterator>

namespace {

constinit vx::SlotTable stripes(PhysLunStripeTable, PSST_LIST_STRIPE_TABLE, PSST_STRIPE_TABLE);
constinit vx::SlotTable cachedLuns(ClusterCachedLuns, PSST_LIST_CACHED_LUNS, PSST_CACHED_LUN);

} // namespace

int ReadPhysLunStripeTable(void) {
    return stripes.load([](const PhysLunStripeEntry&) {});
}

int WritePhysLunStripeTable(const PhysLunStripeEntry* entry) {
    return stripes.write(*entry);
}

int WritePhysLunStripeTableEx(const void* buffer, uint32_t index, uint32_t stripeCount) {
    std::printf("%s:%d: index: %d, stripes= %d\n", __func__, __LINE__, static_cast<int>(index),
                static_cast<int>(stripeCount));
    if (stripeCount > std::size(PhysLunStripeTable)) { // their length would not fit its type
        return -1;
    }
    return WritePsstFile(buffer, static_cast<int32_t>(stripeCount * sizeof(PhysLunStripe)),
                         PSST_STRIPE_TABLE, index, PSST_MODE_RECORD);
}

int ReadClusterCachedLunAndPushToBA(void) {
    return cachedLuns.load([](ClusterCachedLunEntry& entry) {
        (void)XBMGT_SetClusterCachedLun(entry.record.driverRecord);
    });
}

int WriteClusterCachedLunInfo(const ClusterCachedLun* record) {
    return WritePsstFile(record, sizeof *record, PSST_CACHED_LUN, record->index, PSST_MODE_RECORD);
}
