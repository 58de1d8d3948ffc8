// The bridge application's node, every request to the drivers, and log records, on simulated ones.
#include "brapp/request_table.h"
#include "tests/support/devices.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <tuple>

#include <fcntl.h>

namespace {

using namespace std::string_literals;

struct Word {
    std::size_t offset;
    std::size_t width;
    uint32_t value;
};

struct Row {
    char group;
    unsigned number;
    unsigned size;    // of the record
    std::string kind; // put, require, own or none
    std::vector<Word> words;

    [[nodiscard]] std::string code() const { return group + std::to_string(number); }
};

// The table of requests, as it is on the wire, by operation.
const std::map<std::string, Row> rows = [] {
    std::ifstream table(TESTS "/brapp_requests.table");
    std::map<std::string, Row> all;
    for (std::string line, operation; std::getline(table, line);) {
        std::istringstream fields(line);
        fields.unsetf(std::ios::basefield); // hexadecimal numbers too
        Row row;
        if (fields >> operation >> row.group >> row.number >> row.size) {
            fields >> row.kind;
            for (Word w{}; fields >> w.offset >> w.width >> w.value;) {
                row.words.push_back(w);
            }
            all[operation] = row;
        }
    }
    return all;
}();

// Calls a function with the caller's record and the row's numbers.
using Call = std::function<int(void* record, const Row&)>;
template <class Type>
Type argument(void* record, const Word*& next) {
    if constexpr (std::is_pointer_v<Type>) {
        return static_cast<Type>(record);
    } else {
        return static_cast<Type>((next++)->value);
    }
}
template <class... Parameters>
Call callOf(int (*function)(Parameters...)) {
    return [function]([[maybe_unused]] void* record, const Row& row) {
        [[maybe_unused]] const Word* next = row.words.data();
        return std::apply(function, std::tuple{argument<Parameters>(record, next)...});
    };
}
#define CALL(operation, ...) {#operation, callOf(XBMGT_##operation)},
const std::map<std::string, Call> calls = {VX_REQUESTS(CALL, CALL, CALL, CALL)};

void put(const Word& word, Bytes& record) {
    std::memcpy(&record.at(word.offset), &word.value, word.width);
}

// Each test starts with both devices open and drivers that accept everything.
class Requests : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        BrAppHandle = ::open("/dev/vxbrapp", O_RDWR | O_CLOEXEC);
        gpDevHandle = ::open("/dev/vxgpdev", O_RDWR | O_CLOEXEC);
    }

    // The requests that drivers saw since the last call: "vxbrapp b18 712 = 0\n" …
    static std::string issued() {
        static const std::regex request(" [bhl][0-9]");
        std::vector<std::string> lines = traced();
        std::erase_if(lines, [](auto& line) { return !std::regex_search(line, request); });
        return joined(lines);
    }

    // The record of the last such request, as its caller passed it: "b18".
    static Bytes passed(const std::string& request) {
        return readBytes("/dev/blade/requests/" + request + ".bin");
    }
};

TEST_F(Requests, AllRows) {
    ASSERT_EQ(rows.size(), 129U);
    for (auto const& [operation, row] : rows) {
        SCOPED_TRACE(operation);
        std::string const device = row.group == 'b'   ? "vxbrapp "
                                   : row.group == 'h' ? "vxgpdev "
                                                      : "vxllednode ";
        Bytes record(row.size + 32); // no driver may touch the room after it
        for (std::size_t i = 0; i < record.size(); ++i) {
            record[i] = static_cast<unsigned char>(0x40 + i % 251); // no two equal neighbours
        }
        bool const isOwn = row.kind == "own";
        Bytes expected = isOwn ? Bytes(record.size()) : record;
        for (const Word& word : row.words) {
            put(word, expected);
            if (row.kind == "require") {
                put(word, record);
            }
        }
        Bytes const before = record;
        control("answer " + row.code() + " a5\nreturn " + row.code() + " 7");
        printedBy([&] { EXPECT_EQ(calls.at(operation)(record.data(), row), 7); });
        EXPECT_EQ(issued(), device + row.code() + " " + std::to_string(row.size) + " = 7\n");
        EXPECT_EQ(passed(row.code()), Bytes(expected.data(), expected.data() + row.size));
        expected[0] = 0xA5;
        EXPECT_EQ(record, isOwn ? before : expected);
        control("reset");
        if (isOwn || operation == "SetClusterCachedLun") { // system_calls copies its record
            continue;
        }
        // Without a record: refused where a selector belongs in it, the driver's affair elsewhere.
        // With another selector than it must have: refused.
        errno = 0;
        EXPECT_EQ(calls.at(operation)(nullptr, row), -1);
        EXPECT_EQ(errno, row.words.empty() ? EFAULT : 0);
        for (uint32_t const wrong : {1U, 0xFFU, 0x100U, 1U << 24U}) {
            put({0, 4, row.kind == "require" ? row.words[0].value ^ wrong : 0}, record);
            EXPECT_TRUE(row.kind != "require" || calls.at(operation)(record.data(), row) == -1);
        }
        EXPECT_EQ(issued(), "");
    }
}

TEST_F(Requests, RefusedParameters) {
    std::tuple<const char*, std::vector<uint32_t>, int> const cases[] = {
        {"SendAppReqResp", {1, 3}, EINVAL},
        {"SelectPrimaryEEPROM", {1, 2}, 0},
        {"SelectSecondaryEEPROM", {3, 4}, 0},
        {"SelectEEPROMMux", {0, 1}, 0}};
    for (auto const& [operation, good, error] : cases) {
        for (uint32_t const value : {~0U, 0U, 1U, 2U, 3U, 4U, 5U, 256U, 257U, 259U}) {
            SCOPED_TRACE(operation + std::to_string(value));
            Row row = rows.at(operation);
            row.words[0].value = value;
            Bytes record(44, 0x11);
            errno = 0;
            bool const isGood = std::ranges::count(good, value) != 0;
            EXPECT_EQ(calls.at(operation)(record.data(), row), isGood ? 0 : -1);
            EXPECT_EQ(issued().empty(), !isGood);
            EXPECT_EQ(errno, isGood ? 0 : error);
        }
    }
}

TEST_F(Requests, Led) {
    Bytes record(2360, 1);
    std::size_t const open = openDescriptors();
    control("fail vxllednode l1 EIO 1");
    EXPECT_EQ(XBMGT_SetLed(record.data()), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(openDescriptors(), open) << "the LED node is left open";
}

TEST_F(Requests, BridgeAppIsOpenedOnce) {
    XBMGT_CloseBridgeApp(std::exchange(BrAppHandle, -1));
    int const fd = XBMGT_OpenBridgeApp("vxbrapp");
    EXPECT_EQ(BrAppHandle, fd);
    EXPECT_EQ(XBMGT_OpenBridgeApp("vx-none"), fd) << "already initialised";
    EXPECT_EQ(XBMGT_CloseBridgeApp(fd), 0);
    EXPECT_EQ(XBMGT_CloseBridgeApp(fd), -1);
    EXPECT_EQ(std::exchange(BrAppHandle, -1), fd);
}

bool takesLogs = false; // instead of the driver
struct {
    uint32_t code, length;
    const void* payload;
} logRecord;
Bytes payload; // read while its sender still has it

TEST_F(Requests, LogRecords) {
    static constexpr uint32_t words[] = {1, 0x80000002, 3};
    static constexpr char text[] = "12345678";
    constexpr uint32_t code = 0xF0000123; // its top bits give way to the kind
    struct {
        std::function<int()> send;
        uint32_t kind;
        std::vector<uint32_t> words; // of the payload
    } const cases[] = {
        // clang-format off
        {[] { return XBRPC_LOG0(code); }, 1, {}},
        {[] { return XBRPC_LOG1(code, 7); }, 1, {7}},
        {[] { return XBRPC_LOG2(code, 7, 9); }, 1, {7, 9}},
        {[] { return XBRPC_LOG3(code, 7, 9, 11); }, 1, {7, 9, 11}},
        {[] { return XBRPC_LOG4(code, 4, 3, 2, 1); }, 1, {4, 3, 2, 1}},
        {[] { return XBRPC_LOG5(code, 5, 4, 3, 2, 1); }, 1, {5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG8(code, 8, 7, 6, 5, 4, 3, 2, 1); }, 1, {8, 7, 6, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG9(code, 9, 8, 7, 6, 5, 4, 3, 2, 1); }, 1, {9, 8, 7, 6, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOGn(code, words, 3); }, 1, {1, 0x80000002, 3}},
        {[] { return XBRPC_LogData(code, words, 8); }, 4, {1, 0x80000002}},
        {[] { return XBRPC_LogString(code, text); }, 3, {0x34333231, 0x38373635}},
        {[] { return XBRPC_LogString(code, text + 8); }, 3, {}},
        // clang-format on
    };
    takesLogs = true;
    for (auto const& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(c.send(), 5);
        EXPECT_EQ(logRecord.code, 0x123 | c.kind << 28);
        EXPECT_EQ(payload, bytesOf(c.words.data(), 4 * c.words.size()));
    }
    takesLogs = false;
    EXPECT_EQ(XBRPC_LOGn(code, words, 0x40000000), -1) << "a length of 2^32";
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(issued(), "");
}

TEST_F(Requests, PortParametersArePrinted) {
    PortParams record{};
    auto* const bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) {
        bytes[i] = static_cast<unsigned char>(i % 255 + 1); // strings that no NUL ends
    }
    record.type = PORT_TYPE_ISCSI;
    record.number = 3;
    record.iScsiNameString[3] = '\0';
    std::string const lines = printedBy([&] { XBMGT_LogPortParams(&record); });
    EXPECT_TRUE(lines.starts_with("Port parameters: Type: 1 Id: 3\n MacAddr: 07-08-09-0a-0b-0c\n"));
    EXPECT_EQ(std::ranges::count(lines, '\n'), 61);
    std::string const serialNumber(record.SerialNumber, sizeof record.SerialNumber);
    for (std::string const& line :
         {" IpAddr: 0d-0e-0f-10"s, "InstanceNo: 26 (0x1a)"s, " iScsiNameString: \x9f\xa0\xa1"s,
          " SerialNumber: " + serialNumber, "LinkCfg: 4193843190 (0xf9f8f7f6)"s}) {
        EXPECT_NE(lines.find("\n" + line + "\n"), std::string::npos) << line;
    }
    auto const set = [&] { EXPECT_EQ(XBMGT_SetPortParams(&record), 0); };
    EXPECT_EQ(printedBy(set), "Inside XBMGT_SetPortParams: \n" + lines);
    record.type = PORT_TYPE_GIGE;
    EXPECT_EQ(printedBy(set), "Inside XBMGT_SetPortParams: \nPort parameters: Type: 2 Id: 3\n");
    EXPECT_EQ(printedBy([] { XBMGT_LogPortParams(nullptr); }), "");
}

} // namespace

extern "C" {

int __real_XBMGT_WriteLog(void* record);

int __wrap_XBMGT_WriteLog(void* record) {
    if (!takesLogs) {
        return __real_XBMGT_WriteLog(record);
    }
    std::memcpy(&logRecord, record, sizeof logRecord);
    payload = bytesOf(logRecord.payload, logRecord.length);
    return 5;
}
}
