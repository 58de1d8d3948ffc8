// Every request to the drivers, issued on simulated ones.
#include "tests/brapp_drivers.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

namespace {

struct Row {
    const char* operation;
    char group; // b: bridge application, h: general-purpose device, l: LED
    unsigned number;
    unsigned size;
};

// clang-format off
const Row rows[] = {
    {"GetBridgeBasicInfo", 'b', 1, 844},                  {"SetBridgeBasicInfo", 'b', 17, 844},                 {"GetBridgeAdvInfo", 'b', 1, 844},
    {"SetBridgeAdvInfo", 'b', 17, 844},                   {"GetPortParams", 'b', 2, 712},                       {"SetIsnsParams", 'b', 21, 712},
    {"GetTgtDevice", 'b', 3, 1792},                       {"GetLunList", 'b', 8, 760},                          {"GetCachedLunList", 'b', 111, 760},
    {"GetLunInfoByWwuln", 'b', 151, 1688},                {"GetLunInfo", 'b', 9, 1688},                         {"RemoveLunInfo", 'b', 86, 1688},
    {"MapTargetDevice", 'b', 19, 2360},                   {"UnMapTargetDevice", 'b', 19, 2360},                 {"GetTargetNodes", 'b', 4, 2360},
    {"GetInitiators", 'b', 10, 16},                       {"SetPortParams", 'b', 18, 712},                      {"SetLunMask", 'b', 12, 2136},
    {"SetNvRam", 'b', 23, 64},                            {"GetDiagResult", 'b', 25, 28},                       {"RunDiagLoopBack", 'b', 24, 28},
    {"RescanDevices", 'b', 110, 1792},                    {"GetBridgeStats", 'b', 32, 248},                     {"GetTcpIpStats", 'b', 33, 656},
    {"SetInitiators", 'b', 34, 872},                      {"SetTargetChapInfo", 'b', 35, 2360},                 {"SetPortChapInfo", 'b', 15, 712},
    {"RemoveTgtDevice", 'b', 36, 1792},                   {"GetLogs", 'b', 38, 32},                             {"GetEventNotifications", 'b', 40, 32},
    {"WriteLog", 'b', 39, 16},                            {"SetLed", 'l', 1, 2},                                {"SetInitiatorTargetMask", 'b', 50, 2136},
    {"GetVirtualInitiator", 'b', 48, 1732},               {"SetVirtualInitiator", 'b', 49, 1732},               {"SetTargetDisc", 'b', 41, 382},
    {"SetRemoteBridge", 'b', 52, 1004},                   {"SetRemoteMapInfo", 'b', 53, 1752},                  {"GetRemoteMapInfo", 'b', 57, 1752},
    {"PingDevice", 'b', 54, 720},                         {"GetLinkStatus", 'b', 55, 248},                      {"Shutdown", 'b', 56, 4},
    {"GetMemoryInfo", 'b', 64, 216},                      {"SetTargetDeviceInfo", 'b', 51, 1792},               {"SetMigration", 'b', 66, 1896},
    {"GetMigration", 'b', 67, 1896},                      {"GetNandUpdateNotification", 'b', 68, 4},            {"SetFeatureList", 'b', 70, 1032},
    {"GetSrcIpv6Addr", 'b', 72, 48},                      {"GetBladeSlotPostition", 'h', 27, 8},                {"GetPCMStatus", 'h', 5, 31},
    {"GetAllGPIO", 'h', 3, 16},                           {"SetTempOverride", 'h', 6, 1},                       {"SelectPrimaryEEPROM", 'h', 8, 4},
    {"SelectSecondaryEEPROM", 'h', 8, 4},                 {"getTwoBladesActive", 'h', 14, 4},                   {"SetCommunicationInfo", 'h', 15, 386},
    {"GetInterfaceLinkStatus", 'h', 7, 1},                {"GetLinkChangeNotification", 'h', 9, 2},             {"GetSfpInfo", 'b', 73, 8},
    {"SetHostGroupInfo", 'b', 80, 256},                   {"GetHostGroupInfo", 'b', 81, 256},                   {"GetIsnsNotification", 'b', 82, 8},
    {"StartSerialSchedule", 'b', 83, 4},                  {"GetGroupInfo", 'b', 84, 1168},                      {"ReadjustPriority", 'b', 85, 3076},
    {"SetMigrationGlobalSettings", 'b', 87, 36},          {"SetMigrationParams", 'b', 130, 4},                  {"ReqOrNotifyPeer", 'b', 89, 72},
    {"SetMacWwnBaseValues", 'b', 96, 49},                 {"WaitForPersistenceUpdateRequest", 'b', 97, 48},     {"WaitForPhyDrvUpdateRequest", 'b', 144, 48},
    {"SendPersistenceUpdateRequestToPeer", 'b', 119, 48}, {"SelectEEPROMMux", 'h', 18, 1},                      {"GetHeartBeatStatus", 'h', 19, 32},
    {"SetHeartBeatServiceStatus", 'h', 19, 32},           {"SetBladeActiveGpioState", 'h', 20, 4},              {"CreateDataMgmtLun", 'b', 99, 3640},
    {"GetDataMgmtLun", 'b', 100, 3640},                   {"DestroyDataMgmtLun", 'b', 101, 3640},               {"CreateTPLun", 'b', 102, 1848},
    {"AddTPLunExtents", 'b', 129, 1848},                  {"DeleteMultipleExtents", 'b', 131, 1848},            {"ModifyTPLun", 'b', 103, 1848},
    {"SplitTPLun", 'b', 118, 4},                          {"DestroyTPLun", 'b', 105, 1848},                     {"AddTPLunMirror", 'b', 133, 1848},
    {"RemoveTPLunMirror", 'b', 137, 1848},                {"GetLogicalLunInfo", 'b', 126, 1848},                {"GetLocalLogicalLunInfo", 'b', 146, 1848},
    {"UpdateTargetDeviceArrayInfo", 'b', 147, 13960},     {"DeleteExtent", 'b', 112, 8208},                     {"GetWriteCacheParams", 'b', 106, 256},
    {"SetWriteCacheParams", 'b', 106, 256},               {"ClearWriteCacheStats", 'b', 106, 256},              {"SetDriveConfig", 'b', 107, 304},
    {"SetBaseMac", 'b', 107, 304},                        {"SetBuildWriteCache", 'b', 107, 304},                {"SetWriteCacheMarkers", 'b', 107, 304},
    {"SetStoragePool", 'b', 107, 304},                    {"GetStoragePool", 'b', 107, 304},                    {"WcSetBootupMode", 'b', 106, 256},
    {"WcSetSecureErased", 'b', 106, 256},                 {"CreateTpControllerLun", 'b', 107, 304},             {"GetEthSettings", 'h', 21, 28},
    {"listenMgmtLinkChangeEvent", 'h', 22, 1},            {"SetSystemCapabilities", 'b', 115, 72},              {"SyncMirrorLunDatabase", 'b', 117, 4},
    {"ScanMirrorLunDatabase", 'b', 116, 4},               {"WaitForAppReqResp", 'b', 120, 44},                  {"SendAppReqResp", 'b', 120, 44},
    {"WaitForCmdExecConfirm", 'b', 120, 44},              {"SendAcbAppRsp", 'b', 120, 44},                      {"TestScsiComm", 'b', 121, 4},
    {"ClusterKeyOps", 'b', 123, 24},                      {"ClusterMemberOps", 'b', 122, 2208},                 {"SetAdapterId", 'h', 26, 8},
    {"PersistenceBootComplete", 'b', 124, 4},             {"GetFwCompStatus", 'h', 28, 12},                     {"SetOrClearFwCompStatus", 'h', 28, 12},
    {"CacheStorePhyDrvOps", 'b', 125, 392},               {"GetDriveFromConfiguredStoragePool", 'b', 125, 392}, {"GetDriveFromFreeStoragePool", 'b', 125, 392},
    {"AddDriveToConfiguredStoragePool", 'b', 125, 392},   {"SendClusterAppRsp", 'b', 120, 44},                  {"SetClusterMetadata", 'b', 127, 64},
    {"SetClusterCachedLun", 'b', 128, 304},               {"SetTempData", 'b', 149, 36},                        {"SendAsyncEventToPCIeHost", 'b', 145, 36},
};
// clang-format on

struct Word {
    std::size_t offset;
    std::size_t width;
    uint32_t value;
};

// What operations do to the caller's record before it is sent, or which one of zeros they make.
enum class Start { callers, required, zeros };
struct Change {
    Start start = Start::callers;
    std::vector<Word> words;
};
// clang-format off
const std::map<std::string, Change> changes = {
    {"SetWriteCacheParams", {Start::callers, {{0, 4, 1}}}},                {"GetWriteCacheParams", {Start::callers, {{0, 4, 2}}}},
    {"ClearWriteCacheStats", {Start::callers, {{0, 4, 3}}}},               {"WcSetSecureErased", {Start::callers, {{0, 4, 5}}}},
    {"WcSetBootupMode", {Start::zeros, {{0, 4, 0x80000002}}}},             {"SetDriveConfig", {Start::zeros, {{0, 4, 1}}}},
    {"SetBaseMac", {Start::callers, {{0, 4, 2}}}},                         {"SetBuildWriteCache", {Start::callers, {{0, 4, 3}}}},
    {"SetWriteCacheMarkers", {Start::required, {{0, 4, 4}}}},              {"SetStoragePool", {Start::required, {{0, 4, 5}}}},
    {"GetStoragePool", {Start::required, {{0, 4, 6}}}},                    {"CreateTpControllerLun", {Start::required, {{0, 4, 7}}}},
    {"SendAppReqResp", {Start::callers, {{7, 1, 3}}}},                     {"WaitForAppReqResp", {Start::callers, {{7, 1, 2}}}},
    {"WaitForCmdExecConfirm", {Start::callers, {{7, 1, 4}}}},              {"SendAcbAppRsp", {Start::callers, {{7, 1, 5}}}},
    {"SendClusterAppRsp", {Start::callers, {{7, 1, 6}}}},                  {"GetDriveFromConfiguredStoragePool", {Start::callers, {{4, 4, 1}}}},
    {"GetDriveFromFreeStoragePool", {Start::callers, {{4, 4, 2}}}},        {"AddDriveToConfiguredStoragePool", {Start::callers, {{0, 4, 2}, {4, 4, 0}}}},
    {"GetHeartBeatStatus", {Start::callers, {{19, 1, 0}}}},                {"SetHeartBeatServiceStatus", {Start::callers, {{19, 1, 1}}}},
    {"ReqOrNotifyPeer", {Start::zeros, {{0, 2, 0x8102}, {2, 2, 0x1234}}}}, {"SetAdapterId", {Start::zeros, {{0, 4, 0x80000001}, {4, 4, 0x12345678}}}},
    {"PersistenceBootComplete", {Start::zeros, {{0, 4, 0x90ABCDEF}}}},     {"TestScsiComm", {Start::zeros, {{0, 4, 0x01020304}}}},
    {"SelectPrimaryEEPROM", {Start::zeros, {{0, 4, 2}}}},                  {"SelectSecondaryEEPROM", {Start::zeros, {{0, 4, 3}}}},
    {"SelectEEPROMMux", {Start::zeros, {{0, 1, 1}}}},                      {"getTwoBladesActive", {Start::zeros, {}}},
};
// clang-format on

Change changeOf(const std::string& operation) {
    auto const found = changes.find(operation);
    return found == changes.end() ? Change{} : found->second;
}

void put(const Word& word, unsigned char* record) {
    for (std::size_t i = 0; i < word.width; ++i) {
        record[word.offset + i] = static_cast<unsigned char>(word.value >> (8 * i));
    }
}

uint32_t twoBladesActive = 99;

using Call = int (*)(void* record);
#define CALL(operation, ...) {#operation, [](void* record) { return XBMGT_##operation(record); }},
#define CALL_TYPED(operation, device, group, number, size, type)                                   \
    {#operation, [](void* record) { return XBMGT_##operation(static_cast<type*>(record)); }},
#define CALLED_ABOVE(...)
// clang-format off
const std::map<std::string, Call> calls = {
    {"SetPortParams", [](void* p) { return XBMGT_SetPortParams(static_cast<PortParams*>(p)); }},
    {"SetNvRam", [](void* record) { return XBMGT_SetNvRam(record); }},
    {"SetLed", [](void* record) { return XBMGT_SetLed(record); }},
    {"SendAppReqResp", [](void* record) { return XBMGT_SendAppReqResp(record, 3); }},
    {"AddDriveToConfiguredStoragePool", [](void* record) { return XBMGT_AddDriveToConfiguredStoragePool(record); }},
    {"SetDriveConfig", [](void*) { return XBMGT_SetDriveConfig(); }},
    {"WcSetBootupMode", [](void*) { return XBMGT_WcSetBootupMode(0x80000002); }},
    {"ReqOrNotifyPeer", [](void*) { return XBMGT_ReqOrNotifyPeer(0x8102, 0x1234); }},
    {"SetAdapterId", [](void*) { return XBMGT_SetAdapterId(0x80000001, 0x12345678); }},
    {"PersistenceBootComplete", [](void*) { return XBMGT_PersistenceBootComplete(0x90ABCDEF); }},
    {"TestScsiComm", [](void*) { return XBMGT_TestScsiComm(0x01020304); }},
    {"SelectPrimaryEEPROM", [](void*) { return XBMGT_SelectPrimaryEEPROM(2); }},
    {"SelectSecondaryEEPROM", [](void*) { return XBMGT_SelectSecondaryEEPROM(3); }},
    {"SelectEEPROMMux", [](void*) { return XBMGT_SelectEEPROMMux(1); }},
    {"getTwoBladesActive", [](void*) { return XBMGT_getTwoBladesActive(&twoBladesActive); }},
    VXBLADE_REQUESTS(CALL, CALL_TYPED, CALL, CALL, CALLED_ABOVE)
};
// clang-format on

std::string codeOf(const Row& row) {
    return row.group + std::to_string(row.number);
}

std::string traced(const Row& row, const std::string& result) {
    const char* const device = row.group == 'b'   ? "vxbrapp "
                               : row.group == 'h' ? "vxgpdev "
                                                  : "vxllednode ";
    return device + codeOf(row) + " " + std::to_string(row.size) + " = " + result + "\n";
}

// A record of no two equal neighbours, and room behind it that no driver may touch.
Bytes recordOf(const Row& row) {
    Bytes record(row.size + 32);
    for (std::size_t i = 0; i < record.size(); ++i) {
        record[i] = static_cast<unsigned char>(0x40 + i % 251);
    }
    return record;
}

class Requests : public DriversTest {};

TEST_F(Requests, AllRows) {
    ASSERT_EQ(std::size(rows), 129U);
    ASSERT_EQ(calls.size(), 129U);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.operation);
        Change const change = changeOf(row.operation);
        Bytes record = recordOf(row);
        Bytes expected = change.start == Start::zeros ? Bytes(row.size) : record;
        for (const Word& word : change.words) {
            put(word, expected.data());
            if (change.start == Start::required) {
                put(word, record.data());
            }
        }
        Bytes const own = record; // kept where the function makes its record itself
        control("answer " + codeOf(row) + " a5\nreturn " + codeOf(row) + " 7");
        printedBy([&] { EXPECT_EQ(calls.at(row.operation)(record.data()), 7); });
        EXPECT_EQ(issued(), traced(row, "7"));
        EXPECT_EQ(passed(codeOf(row)), Bytes(expected.data(), expected.data() + row.size));
        expected[0] = 0xA5;
        EXPECT_EQ(record, change.start == Start::zeros ? own : expected);
        control("reset");
    }
}

// No record: refused where a selector belongs in it, the driver's affair elsewhere.
TEST_F(Requests, NullRecords) {
    for (const Row& row : rows) {
        Change const change = changeOf(row.operation);
        bool const isCopied =
            row.operation == std::string("SetClusterCachedLun"); // by system_calls
        if (change.start == Start::zeros || isCopied) {
            continue;
        }
        errno = 0;
        printedBy([&] { EXPECT_EQ(calls.at(row.operation)(nullptr), -1) << row.operation; });
        EXPECT_EQ(errno, change.words.empty() ? EFAULT : 0) << row.operation;
    }
    EXPECT_EQ(XBMGT_getTwoBladesActive(nullptr), -1);
    EXPECT_EQ(issued(), "");
}

TEST_F(Requests, RefusedSelectors) {
    for (auto const& [operation, change] : changes) {
        if (change.start != Start::required) {
            continue;
        }
        uint32_t const wanted = change.words[0].value;
        for (uint32_t const word : {0U, wanted - 1, wanted + 1, wanted | 0x100U, wanted << 24U}) {
            Bytes record(304, static_cast<unsigned char>(wanted));
            put({0, 4, word}, record.data());
            Bytes const before = record;
            EXPECT_EQ(calls.at(operation)(record.data()), -1) << operation << word;
            EXPECT_EQ(record, before);
        }
    }
    Bytes const before(44, 0x11);
    for (int const other : {0, 2, 4, 5, 6, -1, 257, 259}) {
        Bytes record = before;
        errno = 0;
        EXPECT_EQ(XBMGT_SendAppReqResp(record.data(), other), -1) << other;
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(record, before);
    }
    EXPECT_EQ(issued(), "");
    Bytes record = before;
    EXPECT_EQ(XBMGT_SendAppReqResp(record.data(), 1), 0);
    EXPECT_EQ(passed("b120").at(7), 1);
}

TEST_F(Requests, EepromSelection) {
    struct {
        int (*select)(int32_t);
        const char* request;
        int first, last;
        std::size_t width;
    } const cases[] = {{XBMGT_SelectPrimaryEEPROM, "vxgpdev h8 4 = 0\n", 1, 2, 4},
                       {XBMGT_SelectSecondaryEEPROM, "vxgpdev h8 4 = 0\n", 3, 4, 4},
                       {XBMGT_SelectEEPROMMux, "vxgpdev h18 1 = 0\n", 0, 1, 1}};
    for (auto const& c : cases) {
        for (int const which : {-1, 0, 1, 2, 3, 4, 5, 256, 257, 259}) {
            SCOPED_TRACE(std::to_string(c.first) + ": " + std::to_string(which));
            bool const accepted = which >= c.first && which <= c.last;
            std::string const invalid =
                "XBMGT_SelectEEPROMMux 1424: Invalid parameter " + std::to_string(which) + "\n";
            EXPECT_EQ(printedBy([&] { EXPECT_EQ(c.select(which), accepted ? 0 : -1); }),
                      accepted || c.width == 4 ? "" : invalid);
            EXPECT_EQ(issued(), accepted ? c.request : "");
            if (accepted) {
                Bytes expected(c.width);
                expected[0] = static_cast<unsigned char>(which);
                EXPECT_EQ(passed(c.width == 4 ? "h8" : "h18"), expected);
            }
        }
    }
}

TEST_F(Requests, AnswersAreStored) {
    control("answer h14 02\nanswer h27 0807060504030201\nanswer h7 5a");
    uint32_t active = 0xFFFFFFFF;
    EXPECT_EQ(XBMGT_getTwoBladesActive(&active), 0);
    EXPECT_EQ(active, 2U);
    uint64_t slot = 0;
    EXPECT_EQ(XBMGT_GetBladeSlotPostition(&slot), 0);
    EXPECT_EQ(slot, 0x0102030405060708U);
    uint8_t status = 0;
    EXPECT_EQ(XBMGT_GetInterfaceLinkStatus(&status), 0);
    EXPECT_EQ(status, 0x5A);
    control("reset");
    control("fail vxgpdev h14 EIO 1");
    EXPECT_EQ(XBMGT_getTwoBladesActive(&active), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(active, 0U);
}

TEST_F(Requests, ErrorsAreTheDrivers) {
    Bytes record(2360, 1);
    control("fail vxbrapp b19 EINVAL 1");
    EXPECT_EQ(XBMGT_UnMapTargetDevice(record.data()), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(XBMGT_MapTargetDevice(record.data()), 0);
    EXPECT_EQ(issued(), "vxbrapp b19 2360 = -EINVAL\nvxbrapp b19 2360 = 0\n");
    ::close(BrAppHandle);
    ::close(gpDevHandle);
    BrAppHandle = gpDevHandle = -1;
    for (Call const call : {calls.at("GetLunInfo"), calls.at("GetPCMStatus")}) {
        EXPECT_EQ(call(record.data()), -1);
        EXPECT_EQ(errno, EBADF);
    }
}

// The LED node is opened for each request; closing it does not hide why the request failed.
TEST_F(Requests, Led) {
    Bytes record = {1, 2};
    int const lowest = ::dup(0);
    ::close(lowest);
    control("fail vxllednode l1 EIO 1");
    closeErrno = ENOSPC;
    EXPECT_EQ(XBMGT_SetLed(record.data()), -1);
    EXPECT_EQ(errno, EIO);
    closeErrno = 0;
    EXPECT_EQ(XBMGT_SetLed(record.data()), 0);
    int const lowestAfter = ::dup(0);
    ::close(lowestAfter);
    EXPECT_EQ(lowestAfter, lowest) << "left open";
    EXPECT_EQ(issued(), "vxllednode l1 2 = -EIO\nvxllednode l1 2 = 0\n");
}

} // namespace
