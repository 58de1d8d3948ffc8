// Every request to the drivers, and log records, on simulated ones.
#include "brapp/request_table.h"
#include "tests/support/devices.h"
#include "tests/support/text.h"

#include <vxblade/brapp.h>
#include <vxblade/hw.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <sstream>

#include <fcntl.h>

namespace {

#define CALL(operation, ...) {#operation, callOf(XBMGT_##operation)},
const Calls calls = {VX_REQUESTS(CALL, CALL, CALL, CALL)};

// A number in a record.
struct Number {
    std::size_t offset;
    std::size_t width;
    uint32_t value;
};

void put(const Number& number, Bytes& record) {
    std::memcpy(&record.at(number.offset), &number.value, number.width);
}

// Each test starts with both devices open and drivers that accept everything.
class Requests : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        BrAppHandle = ::open("/dev/vxbrapp", O_RDWR | O_CLOEXEC);
        gpDevHandle = ::open("/dev/vxgpdev", O_RDWR | O_CLOEXEC);
    }
};

// An operation's result, and the record that it was given.
std::string resultOf(const std::string& operation, const Words& words) {
    std::string result;
    printedBy([&] { result = calls.at(operation)(words); });
    return result;
}

// The requests that drivers saw since the last call: "vxbrapp b18 712 = 0\n" …
std::string issued() {
    return replaced(traced(), ".* (open|close) .*\n", "");
}

// A row of the table: an operation as it is on the wire.
void expectRow(std::istringstream& row) {
    std::string operation, kind;
    char group = 0;
    unsigned number = 0, size = 0;
    row >> operation >> group >> number >> size >> kind;
    SCOPED_TRACE(operation);
    bool const isOwn = kind == "own";
    bool const isRequired = kind == "require";
    Bytes record(size + 32); // no driver may touch the room after it
    for (std::size_t i = 0; i < record.size() && !isOwn; ++i) {
        record[i] = static_cast<unsigned char>(0x40 + i % 251); // no two equal neighbours
    }
    Bytes sent = record;
    Words words;
    Number selector{};
    for (Number n{}; row >> n.offset >> n.width >> n.value; selector = n) {
        put(n, sent);
        words.push_back(std::to_string(n.value));
    }
    if (!isOwn) {
        words.insert(words.begin(), "*" + hex(isRequired ? sent : record));
    }
    std::string const code = group + std::to_string(number);
    control("reset\nanswer " + code + " a5\nreturn " + code + " 7");
    std::string const result = resultOf(operation, words);
    std::string const device = group == 'b' ? "vxbrapp" : group == 'h' ? "vxgpdev" : "vxllednode";
    EXPECT_EQ(issued(), device + " " + code + " " + std::to_string(size) + " = 7\n");
    EXPECT_EQ(readBytes("/dev/blade/requests/" + code + ".bin"), bytesOf(sent.data(), size));
    sent[0] = 0xA5;
    EXPECT_EQ(result, isOwn ? "7" : "7 " + hex(sent));
    if (isOwn || operation == "SetClusterCachedLun") { // system_calls copies its record
        return;
    }
    // Without a record: refused where a selector belongs in it, the driver's affair elsewhere.
    // With another selector than it must have: refused.
    control("reset");
    words[0] = "null";
    errno = 0;
    EXPECT_EQ(resultOf(operation, words), "-1");
    EXPECT_EQ(errno, words.size() > 1 ? 0 : EFAULT);
    for (uint32_t const wrong : {1U, 0xFFU, 0x100U, 1U << 24U}) {
        put({0, 4, isRequired ? selector.value ^ wrong : 0}, record);
        EXPECT_TRUE(!isRequired || resultOf(operation, {hex(record)}) == "-1");
    }
    EXPECT_EQ(issued(), "");
}

TEST_F(Requests, AllRows) {
    std::ifstream table(TESTS "/brapp_requests.table");
    std::size_t rows = 0;
    for (std::string line; std::getline(table, line);) {
        if (std::istringstream row(line); !line.starts_with('#')) {
            row.unsetf(std::ios::basefield); // hexadecimal numbers too
            expectRow(row);
            ++rows;
        }
    }
    EXPECT_EQ(rows, 129U);
}

TEST_F(Requests, RefusedParameters) {
    std::tuple<const char*, Words, std::vector<uint32_t>, int> const cases[] = {
        {"SendAppReqResp", {"[44]"}, {1, 3}, EINVAL},
        {"SelectPrimaryEEPROM", {}, {1, 2}, 0},
        {"SelectSecondaryEEPROM", {}, {3, 4}, 0},
        {"SelectEEPROMMux", {}, {0, 1}, 0}};
    for (auto const& [operation, record, good, error] : cases) {
        for (uint32_t const value : {~0U, 0U, 1U, 2U, 3U, 4U, 5U, 256U, 257U, 259U}) {
            SCOPED_TRACE(operation + std::to_string(value));
            Words words = record;
            words.push_back(std::to_string(value));
            bool const isGood = std::ranges::count(good, value) != 0;
            errno = 0;
            EXPECT_TRUE(resultOf(operation, words).starts_with(isGood ? "0" : "-1"));
            EXPECT_EQ(errno, isGood ? 0 : error);
            EXPECT_EQ(issued().empty(), !isGood);
        }
    }
}

Bytes* sentLog = nullptr; // where set, a log record's code and payload go there, not to the driver

TEST_F(Requests, LogRecords) {
    static constexpr uint32_t words[] = {1, 0x80000002, 3};
    constexpr uint32_t code = 0xF0000123; // its top bits give way to the kind
    // What sends a record, and its code and payload.
    std::pair<std::function<int()>, std::vector<uint32_t>> const cases[] = {
        // clang-format off
        {[] { return XBRPC_LOG0(code); }, {0x10000123}},
        {[] { return XBRPC_LOG1(code, 7); }, {0x10000123, 7}},
        {[] { return XBRPC_LOG2(code, 7, 9); }, {0x10000123, 7, 9}},
        {[] { return XBRPC_LOG3(code, 7, 9, 11); }, {0x10000123, 7, 9, 11}},
        {[] { return XBRPC_LOG4(code, 4, 3, 2, 1); }, {0x10000123, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG5(code, 5, 4, 3, 2, 1); }, {0x10000123, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG8(code, 8, 7, 6, 5, 4, 3, 2, 1); }, {0x10000123, 8, 7, 6, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG9(code, 9, 8, 7, 6, 5, 4, 3, 2, 1); }, {0x10000123, 9, 8, 7, 6, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOGn(code, words, 3); }, {0x10000123, 1, 0x80000002, 3}},
        {[] { return XBRPC_LogData(code, words, 8); }, {0x40000123, 1, 0x80000002}},
        {[] { return XBRPC_LogString(code, "12345678"); }, {0x30000123, 0x34333231, 0x38373635}},
        {[] { return XBRPC_LogString(code, ""); }, {0x30000123}},
        // clang-format on
    };
    for (auto const& [send, expected] : cases) {
        Bytes sent;
        sentLog = &sent;
        EXPECT_EQ(send(), 5);
        EXPECT_EQ(sent, bytesOf(expected.data(), 4 * expected.size()));
    }
    sentLog = nullptr;
    EXPECT_EQ(XBRPC_LOGn(code, words, 0x40000000), -1) << "a length of 2^32";
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(issued(), "");
}

TEST_F(Requests, PortParametersArePrinted) {
    auto record = filled<PortParams>('a'); // strings that no NUL ends
    record.type = PORT_TYPE_ISCSI;
    record.number = 3;
    record.IpAddr.octets[0] = 1;
    record.LinkCfg = 0xf9f8f7f6;
    record.iScsiNameString[3] = '\0';
    std::string const lines = printedBy([&] { XBMGT_LogPortParams(&record); });
    EXPECT_TRUE(lines.starts_with("Port parameters: Type: 1 Id: 3\n MacAddr: 61-61-61-61-61-61\n"));
    EXPECT_EQ(std::ranges::count(lines, '\n'), 61);
    for (std::string const& line : std::vector<std::string>{
             " IpAddr: 01-61-61-61", "InstanceNo: 97 (0x61)", " iScsiNameString: aaa",
             " SerialNumber: " + std::string(sizeof record.SerialNumber, 'a'),
             "LinkCfg: 4193843190 (0xf9f8f7f6)"}) {
        EXPECT_NE(lines.find("\n" + line + "\n"), std::string::npos) << line;
    }
    record.type = PORT_TYPE_GIGE;
    EXPECT_EQ(printedBy([&] { XBMGT_SetPortParams(&record); }),
              "Inside XBMGT_SetPortParams: \nPort parameters: Type: 2 Id: 3\n");
    EXPECT_EQ(printedBy([] { XBMGT_LogPortParams(nullptr); }), "");
}

} // namespace

extern "C" {

int __real_XBMGT_WriteLog(void* record);

int __wrap_XBMGT_WriteLog(void* record) {
    if (sentLog == nullptr) {
        return __real_XBMGT_WriteLog(record);
    }
    auto const* const codeAndLength = static_cast<const uint32_t*>(record);
    const unsigned char* payload = nullptr;
    std::memcpy(&payload, codeAndLength + 2, sizeof payload);
    *sentLog = bytesOf(codeAndLength, sizeof *codeAndLength);
    sentLog->insert(sentLog->end(), payload, payload + codeAndLength[1]);
    return 5;
}
}
