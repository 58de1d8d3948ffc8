// The records that settings fill, with one interface to all.
#pragma once

#include "store/psst_table.h"

#include <vxblade/platform.h>
#include <vxblade/pmgr.h>

#include <cstddef>
#include <cstring>

namespace vx {

// How a section's record is read and written through to its file. `number` is the port's or the
// group's; records that a blade has once ignore it.
struct RecordAccess {
    std::size_t size = 0;
    // What defaults are loaded into; null where that is zeros.
    void (*begin)(void* record, uint32_t number) = nullptr;
    int (*get)(void* record, uint32_t number) = nullptr; // null where it cannot be read back
    int (*put)(const void* record, uint32_t number) = nullptr;
    // Where it lies: at `offset` in the slot `firstSlot` + `number` of the records of a type.
    // Records that nobody is shown are given no slot.
    uint32_t type = 0;
    uint32_t firstSlot = 0;
    std::size_t slotSize = 0;
    std::size_t offset = 0;
};

// An access through the store's functions for one type of record.
template <class Record, auto getRecord>
int getOnce(void* record, uint32_t /*number*/) {
    return getRecord(static_cast<Record*>(record));
}

template <class Record, auto updateRecord>
int putOnce(const void* record, uint32_t /*number*/) {
    return updateRecord(static_cast<const Record*>(record));
}

template <class Record, auto updateRecord>
int putThrough(const void* record, uint32_t /*number*/) {
    return updateRecord(static_cast<const Record*>(record), PSST_WRITE_THROUGH);
}

inline constexpr RecordAccess bridgeRecord = {
    .size = sizeof(BridgeConfig),
    .get = getOnce<BridgeConfig, vxpmgr_GetBridgeConfigInfo>,
    .put = putThrough<BridgeConfig, vxpmgr_UpdateBridgeConfigInfo>,
    .type = PSST_BRIDGE_CONFIG,
    .slotSize = sizeof(BridgeConfig),
};

// A part of the bridge's.
inline constexpr RecordAccess cliRecord = {
    .size = sizeof(CliConfig),
    .get = getOnce<CliConfig, vxpmgr_GetCliConfigInfo>,
    .put = putOnce<CliConfig, vxpmgr_UpdateCliConfigInfo>,
    .type = PSST_BRIDGE_CONFIG,
    .slotSize = sizeof(BridgeConfig),
    .offset = offsetof(BridgeConfig, cli),
};

inline constexpr RecordAccess mgmtRecord = {
    .size = sizeof(MgmtPortConfig),
    .get = getOnce<MgmtPortConfig, vxpmgr_GetMgmtInfo>,
    .put = putThrough<MgmtPortConfig, vxpmgr_UpdateMgmtPortInfo>,
    .type = PSST_MGMT_PORT,
    .slotSize = sizeof(MgmtPortSlot),
};

inline constexpr RecordAccess hostGroupRecord = {
    .size = sizeof(HostGroupConfig),
    .get =
        [](void* record, uint32_t number) {
            return vxpmgr_GetHostGroup(static_cast<HostGroupConfig*>(record), number);
        },
    .put =
        [](const void* record, uint32_t number) {
            return vxpmgr_SetHostGroup(static_cast<const HostGroupConfig*>(record), number);
        },
    .type = PSST_HOST_GROUP,
    .slotSize = sizeof(HostGroupConfig),
};

// A port's record carries its type and number.
template <PortType type, uint16_t flags = 0>
inline constexpr RecordAccess portRecord = {
    .size = sizeof(PortParams),
    .begin =
        [](void* record, uint32_t number) {
            auto* const port = static_cast<PortParams*>(record);
            port->flags = flags;
            port->type = type;
            port->number = static_cast<uint16_t>(number);
        },
    .get =
        [](void* record, uint32_t number) {
            return vxpmgr_GetPortParams(static_cast<PortParams*>(record), type, number);
        },
    .put = putThrough<PortParams, vxpmgr_UpdatePortParams>,
    .type = PSST_PORT_CONFIG,
    .firstSlot = firstPortSlotOf(type),
    .slotSize = sizeof(PortSlot),
    .offset = offsetof(PortSlot, params),
};

inline constexpr RecordAccess cacheRecord = {
    .size = sizeof(CacheParams),
    .put = putOnce<CacheParams, vxpmgr_setCacheParams>,
};

inline constexpr RecordAccess storagePoolRecord = {
    .size = sizeof(StoragePoolConfig),
    .put = putOnce<StoragePoolConfig, vxpmgr_updateDefaultStoragePoolConfig>,
};

inline constexpr RecordAccess dmGlobalsRecord = {
    .size = sizeof(DmGlobals),
    .begin = [](void* record,
                uint32_t) { (void)vxpmgr_GetDMGlobals(static_cast<DmGlobals*>(record)); },
    .put = putOnce<DmGlobals, vxpmgr_SetDMGlobals>,
};

// One password of the password record, which keeps the others.
struct PasswordString {
    char Passwd[sizeof(PasswordConfig::Passwd[0][0])];
};
inline constexpr RecordAccess passwordRecord = {
    .size = sizeof(PasswordString),
    .begin =
        [](void* record, uint32_t number) {
            std::memcpy(record, passwd_data.record.passwords.Passwd[0][number],
                        sizeof(PasswordString));
        },
    .put =
        [](const void* record, uint32_t number) {
            PasswordConfig& passwords = passwd_data.record.passwords;
            std::memcpy(passwords.Passwd[0][number], record, sizeof(PasswordString));
            return vxpmgr_UpdatePasswordInfo(&passwords);
        },
};

} // namespace vx
