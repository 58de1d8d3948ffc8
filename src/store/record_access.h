// The configuration records behind one interface, for tables of sections.
#pragma once

#include <vxblade/pmgr.h>

#include <cstddef>

namespace vx {

// How a section's record is read and written through to its file. `number` is the port's or the
// group's; records that a blade has once ignore it.
struct RecordAccess {
    std::size_t size;
    int (*get)(void* record, uint32_t number);
    int (*put)(const void* record, uint32_t number);
};

inline constexpr RecordAccess bridgeRecord = {
    sizeof(BridgeConfig),
    [](void* record, uint32_t) {
        return vxpmgr_GetBridgeConfigInfo(static_cast<BridgeConfig*>(record));
    },
    [](const void* record, uint32_t) {
        return vxpmgr_UpdateBridgeConfigInfo(static_cast<const BridgeConfig*>(record),
                                             PSST_WRITE_THROUGH);
    },
};

inline constexpr RecordAccess cliRecord = {
    sizeof(CliConfig),
    [](void* record, uint32_t) { return vxpmgr_GetCliConfigInfo(static_cast<CliConfig*>(record)); },
    [](const void* record, uint32_t) {
        return vxpmgr_UpdateCliConfigInfo(static_cast<const CliConfig*>(record));
    },
};

inline constexpr RecordAccess mgmtRecord = {
    sizeof(MgmtPortConfig),
    [](void* record, uint32_t) { return vxpmgr_GetMgmtInfo(static_cast<MgmtPortConfig*>(record)); },
    [](const void* record, uint32_t) {
        return vxpmgr_UpdateMgmtPortInfo(static_cast<const MgmtPortConfig*>(record),
                                         PSST_WRITE_THROUGH);
    },
};

inline constexpr RecordAccess hostGroupRecord = {
    sizeof(HostGroupConfig),
    [](void* record, uint32_t number) {
        return vxpmgr_GetHostGroup(static_cast<HostGroupConfig*>(record), number);
    },
    [](const void* record, uint32_t number) {
        return vxpmgr_SetHostGroup(static_cast<const HostGroupConfig*>(record), number);
    },
};

// A port's record carries its type and number from the Get.
template <PortType type>
inline constexpr RecordAccess portRecord = {
    sizeof(PortParams),
    [](void* record, uint32_t number) {
        return vxpmgr_GetPortParams(static_cast<PortParams*>(record), type, number);
    },
    [](const void* record, uint32_t) {
        return vxpmgr_UpdatePortParams(static_cast<const PortParams*>(record), PSST_WRITE_THROUGH);
    },
};

} // namespace vx
