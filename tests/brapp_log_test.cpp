// The bridge application's node, log records and what is printed about requests.
#include "tests/brapp_drivers.h"
#include "tests/system_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <iterator>

int closeErrno = 0;

namespace {

bool fcntlFails = false;
bool readsPayloads = false;
Bytes payload; // of the last log record, read while its sender still had it

} // namespace

extern "C" {

int __real_close(int fd);
int __real_fcntl64(int fd, int command, ...);
int __real_XBMGT_WriteLog(void* record);

int __wrap_close(int fd) {
    int const result = __real_close(fd);
    errno = closeErrno != 0 ? closeErrno : errno;
    return result;
}

int __wrap_fcntl64(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (fcntlFails && command == F_SETFD) {
        errno = EPERM;
        return -1;
    }
    return __real_fcntl64(fd, command, argument);
}

int __wrap_XBMGT_WriteLog(void* record) {
    if (readsPayloads) {
        uint32_t length = 0;
        const unsigned char* address = nullptr;
        std::memcpy(&length, static_cast<char*>(record) + 4, sizeof length);
        std::memcpy(&address, static_cast<char*>(record) + 8, sizeof address);
        payload.assign(address, address + length);
    }
    return __real_XBMGT_WriteLog(record);
}
}

namespace {

class BridgeApp : public DriversTest {
  protected:
    void SetUp() override {
        DriversTest::SetUp();
        testing::internal::CaptureStdout();
    }
    void TearDown() override {
        testing::internal::GetCapturedStdout();
        readsPayloads = fcntlFails = false;
        DriversTest::TearDown();
    }
    static std::string printed() {
        std::string text = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return text;
    }
    static int reopen(const char* name) {
        ::close(BrAppHandle);
        BrAppHandle = -1;
        return XBMGT_OpenBridgeApp(name);
    }
};

TEST_F(BridgeApp, OpensOnce) {
    int const fd = reopen("vxbrapp");
    EXPECT_GE(fd, 3);
    EXPECT_EQ(BrAppHandle, fd);
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(XBMGT_OpenBridgeApp("vx-none"), fd);
    EXPECT_EQ(printed(), "Brapp handle already initialized! " + std::to_string(fd) + " \n");
    EXPECT_EQ(XBMGT_CloseBridgeApp(fd), 0);
    EXPECT_EQ(BrAppHandle, fd);
    EXPECT_EQ(XBMGT_CloseBridgeApp(fd), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(BridgeApp, OpensWithoutCloseOnExec) {
    ::close(gpDevHandle);
    gpDevHandle = -1;
    fcntlFails = true;
    int const bridge = reopen("vxbrapp");
    int const general = XBMGT_OpenGeneralPurposeDev("vxgpdev");
    fcntlFails = false;
    EXPECT_GE(bridge, 3);
    EXPECT_GE(general, 3);
    EXPECT_EQ(printed(), "Fcntl failed for " + std::to_string(bridge) + ".\nFcntl failed for " +
                             std::to_string(general) + ".errno: 1\n");
}

TEST_F(BridgeApp, GivesUpAfterTwoMinutes) {
    systemCalls.sleeps = 0;
    EXPECT_EQ(reopen("vx-none"), 0);
    std::string expected;
    for (int attempt = 0; attempt < 122; ++attempt) {
        expected += "Brapp handle not available yet: -1 , 2 \n";
    }
    EXPECT_EQ(printed(), expected + "Time out waiting for Brapp handle: -1 , 2 \n"
                                    "MGMT_OpenBridgeApp: Open failed bridgeapphandle = -1\n"
                                    "ErrorNumber is No such file or directory\n");
    EXPECT_EQ(systemCalls.sleeps, 121);
    EXPECT_EQ(BrAppHandle, -1);
}

Bytes bytesOfWords(const std::vector<uint32_t>& words) {
    return bytesOf(words.data(), words.size() * sizeof(uint32_t));
}

TEST_F(BridgeApp, LogRecords) {
    static constexpr uint32_t words[] = {1, 0x80000002, 3};
    static constexpr char text[] = "a text";
    constexpr uint32_t code = 0xF0000123; // its top bits give way to the kind
    constexpr uint32_t wordsKind = 0x10000123;
    struct {
        std::function<int()> send;
        uint32_t sent;
        std::vector<uint32_t> words; // of the payload
        const void* address = nullptr;
    } const cases[] = {
        // clang-format off
        {[] { return XBRPC_LOG0(code); }, wordsKind, {}},
        {[] { return XBRPC_LOG1(code, 7); }, wordsKind, {7}},
        {[] { return XBRPC_LOG2(code, 7, 9); }, wordsKind, {7, 9}},
        {[] { return XBRPC_LOG3(code, 7, 9, 11); }, wordsKind, {7, 9, 11}},
        {[] { return XBRPC_LOG4(code, 4, 3, 2, 1); }, wordsKind, {4, 3, 2, 1}},
        {[] { return XBRPC_LOG5(code, 5, 4, 3, 2, 1); }, wordsKind, {5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG8(code, 8, 7, 6, 5, 4, 3, 2, 1); }, wordsKind, {8, 7, 6, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOG9(code, 9, 8, 7, 6, 5, 4, 3, 2, 1); }, wordsKind, {9, 8, 7, 6, 5, 4, 3, 2, 1}},
        {[] { return XBRPC_LOGn(code, words, 3); }, wordsKind, {1, 0x80000002, 3}, words},
        {[] { return XBRPC_LOGn(code, words, 0); }, wordsKind, {}, words},
        {[] { return XBRPC_LogData(code, words, 8); }, 0x40000123, {1, 0x80000002}, words},
        {[] { return XBRPC_LogString(9, text + 6); }, 0x30000009, {}, text + 6},
        // clang-format on
    };
    readsPayloads = true;
    for (auto const& c : cases) {
        SCOPED_TRACE(&c - cases);
        control("return b39 5");
        EXPECT_EQ(c.send(), 5);
        EXPECT_EQ(issued(), "vxbrapp b39 16 = 5\n");
        Bytes expected = bytesOfWords({c.sent, static_cast<uint32_t>(4 * c.words.size())});
        Bytes sent = passed("b39");
        ASSERT_EQ(sent.size(), 16U);
        if (c.address != nullptr) {
            std::ranges::copy(bytesOf(&c.address, 8), std::back_inserter(expected));
        } else { // an array of the call's own
            sent.resize(8);
        }
        EXPECT_EQ(sent, expected);
        EXPECT_EQ(payload, bytesOfWords(c.words));
    }
    EXPECT_EQ(XBRPC_LogString(code, text), 5);
    EXPECT_EQ(passed("b39").at(4), 6) << "without its NUL";
    EXPECT_EQ(payload, Bytes(text, text + 6));
    (void)issued();
    EXPECT_EQ(XBRPC_LOGn(code, words, 0x40000000), -1) << "a length of 2^32";
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(issued(), "");
}

// Name and size of each field: b bytes, t a text, else a number.
constexpr const char* ipPortFields =
    "MacAddr b6 IpAddr b4 SubnetMask b4 GatewayIpAddr b4 PortState 1 InstanceNo 1 "
    "IpAddr_ipv60 b16 IpAddr_ipv61 b16 Ipv6LinkLocalAddr b16 Ipv6DefaultRouterAddr b16 "
    "Ipv6iSnsIpAddr b16 SecIpAddr b4 PriDnsIpAddr b4 SecDnsIpAddr b4 iSnsIpAddr b4 SlpDaAddr b4 "
    "SerialNumber t32 iScsiNameString t256 iScsiAlias b32 FwOptions 2 AddlFwOptions 2 IpOptions 2 "
    "TcpOptions 2 iScsiOptions 2 PortNumber 2 MaxEthernetFrameSize 2 MaxRcvDataSegLen 2 "
    "VlanPriority 2 ConnKeepAliveTo 2 iScsiDefT2R 2 iScsiDefT2W 2 iScsiFirstBurstSize 2 "
    "iScsiMaxBurstSize 2 iScsiMaxOutStandingR2T 2 iScsiRcvMarkerInterval 2 "
    "iScsiSendMarkerInterval 2 iSnsClientPortNo 2 iSnsEsiPortNo 2 iSnsScnPortNo 2 "
    "iSnsServerPortNo 2 Ipv6Options 2 Ipv6AdditionalOptions 2 Ipv6TcpOptions 2 Ipv6PortNumber 2 "
    "Ipv6FlowLabel 2 Ipv6TagControlInfo 2 LinkCfg 4 TcpMaxWinSize 4 Ipv6NDReachableTime 4 "
    "Ipv6NDRexmitTime 4 Ipv6StaleTimeout 4 HeartbeatInterval 1 TimeToLive 1 TypeOfService 1 "
    "TcpWindowScaleFactor 1 Ipv6Enabled 1 Ipv6HopLimit 1 Ipv6DupDetectionCnt 1 "
    "Ipv6TcpWindowScaleFactor 1 Ipv6TrafficClass 1";

std::string lineOf(const std::string& name, const std::string& shape, const unsigned char* at) {
    char text[32];
    if (shape[0] == 't') {
        auto const* const value = reinterpret_cast<const char*>(at);
        return " " + name + ": " + std::string(value, ::strnlen(value, std::stoul(&shape[1]))) +
               "\n";
    }
    if (shape[0] == 'b') {
        std::string line;
        for (std::size_t i = 0; i < std::stoul(&shape[1]); ++i) {
            std::snprintf(text, sizeof text, "%02x", static_cast<unsigned>(at[i]));
            line += (line.empty() ? " " + name + ": " : "-") + text;
        }
        return line + "\n";
    }
    unsigned number = 0;
    for (std::size_t i = std::stoul(shape); i-- > 0;) {
        number = number << 8U | at[i];
    }
    std::snprintf(text, sizeof text, "%u (0x%x)", number, number);
    return name + ": " + text + "\n";
}

TEST_F(BridgeApp, PortParametersArePrinted) {
    PortParams record{};
    auto* const bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) {
        bytes[i] = static_cast<unsigned char>(i % 255 + 1); // texts that no NUL ends
    }
    record.type = PORT_TYPE_ISCSI;
    record.number = 3;
    record.iScsiNameString[3] = '\0';
    std::string expected = "Port parameters: Type: 1 Id: 3\n";
    std::istringstream fields(ipPortFields);
    std::size_t offset = 6;
    for (std::string name, shape; fields >> name >> shape;) {
        expected += lineOf(name, shape, bytes + offset);
        offset += std::stoul(std::isdigit(shape[0]) != 0 ? shape : &shape[1]);
    }
    XBMGT_LogPortParams(&record);
    std::string const lines = printed();
    EXPECT_EQ(lines, expected);
    EXPECT_NE(lines.find("\n MacAddr: 07-08-09-0a-0b-0c\n"), std::string::npos);
    EXPECT_NE(lines.find("\nInstanceNo: 26 (0x1a)\n"), std::string::npos);
    XBMGT_LogPortParams(nullptr);
    EXPECT_EQ(printed(), "");

    EXPECT_EQ(XBMGT_SetPortParams(&record), 0);
    EXPECT_EQ(printed(), "Inside XBMGT_SetPortParams: \n" + expected);
    EXPECT_EQ(passed("b18"), Bytes(bytes, bytes + sizeof record));
    for (uint16_t const type : {PORT_TYPE_FC, PORT_TYPE_GIGE}) {
        record.type = type;
        EXPECT_EQ(XBMGT_SetPortParams(&record), 0);
        EXPECT_EQ(printed(), "Inside XBMGT_SetPortParams: \nPort parameters: Type: " +
                                 std::to_string(type) + " Id: 3\n");
    }
    EXPECT_EQ(XBMGT_SetPortParams(nullptr), -1);
    EXPECT_EQ(printed(), "Inside XBMGT_SetPortParams: \n");
    EXPECT_EQ(XBMGT_SetNvRam(bytes), 0);
    EXPECT_EQ(printed(), "XBMGT_SetNvRam: Handle = " + std::to_string(BrAppHandle) + " \n");
}

} // namespace
