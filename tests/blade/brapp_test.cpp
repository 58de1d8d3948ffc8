// Every request to the drivers, issued on simulated ones.
#include "tests/blade/brapp_drivers.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

namespace {

struct Row {
    std::string operation;
    char group;
    unsigned number;
    unsigned size; // of the record
};

// The table of requests, as it is on the wire.
std::vector<Row> readRows() {
    std::ifstream table(TESTS "/brapp_requests.table");
    std::vector<Row> rows;
    for (std::string line; std::getline(table, line);) {
        Row row;
        if (std::istringstream fields(line); !line.starts_with('#') && fields >> row.operation >>
                                                                           row.group >>
                                                                           row.number >> row.size) {
            rows.push_back(row);
        }
    }
    return rows;
}
const std::vector<Row> rows = readRows();

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
    ASSERT_EQ(rows.size(), 129U);
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
        bool const isCopied = row.operation == "SetClusterCachedLun"; // by system_calls
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
        int first, last;
        const char* request;
    } const cases[] = {{XBMGT_SelectPrimaryEEPROM, 1, 2, "h8"},
                       {XBMGT_SelectSecondaryEEPROM, 3, 4, "h8"},
                       {XBMGT_SelectEEPROMMux, 0, 1, "h18"}};
    for (auto const& c : cases) {
        for (int const which : {-1, 0, 1, 2, 3, 4, 5, 256, 257, 259}) {
            SCOPED_TRACE(std::to_string(c.first) + ": " + std::to_string(which));
            bool const accepted = which >= c.first && which <= c.last;
            printedBy([&] { EXPECT_EQ(c.select(which), accepted ? 0 : -1); });
            EXPECT_EQ(issued().empty(), !accepted);
            EXPECT_TRUE(!accepted || passed(c.request)[0] == which);
        }
    }
    EXPECT_EQ(printedBy([] { XBMGT_SelectEEPROMMux(2); }),
              "XBMGT_SelectEEPROMMux 1424: Invalid parameter 2\n");
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
    control("reset\nfail vxgpdev h14 EIO 1");
    EXPECT_EQ(XBMGT_getTwoBladesActive(&active), -1);
    EXPECT_EQ(active, 0U);
}

TEST_F(Requests, ErrorsAreTheDrivers) {
    Bytes record(2360, 1);
    control("fail vxbrapp b19 EINVAL 1");
    EXPECT_EQ(XBMGT_UnMapTargetDevice(record.data()), -1);
    EXPECT_EQ(errno, EINVAL);
    ::close(BrAppHandle);
    ::close(gpDevHandle);
    BrAppHandle = gpDevHandle = -1;
    for (Call const call : {calls.at("GetLunInfo"), calls.at("GetPCMStatus")}) {
        EXPECT_EQ(call(record.data()), -1);
        EXPECT_EQ(errno, EBADF);
    }
}

// The LED node is opened for each request.
TEST_F(Requests, Led) {
    Bytes record = {1, 2};
    std::size_t const open = openDescriptors();
    control("fail vxllednode l1 EIO 1");
    EXPECT_EQ(XBMGT_SetLed(record.data()), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(openDescriptors(), open) << "left open";
}

} // namespace
