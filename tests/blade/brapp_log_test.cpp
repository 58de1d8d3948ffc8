// The bridge application's node, log records and what is printed about requests.
#include "tests/blade/brapp_drivers.h"
#include "tests/support/system_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <iterator>

namespace {

bool readsPayloads = false;
Bytes payload; // of the last log record, read while its sender still had it

} // namespace

extern "C" {

int __real_XBMGT_WriteLog(void* record);

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
        readsPayloads = false;
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

TEST_F(BridgeApp, GivesUpAfterTwoMinutes) {
    systemCalls.sleeps = 0;
    EXPECT_EQ(reopen("vx-none"), 0);
    std::string const text = printed();
    EXPECT_TRUE(text.starts_with("Brapp handle not available yet: -1 , 2 \nBrapp handle"));
    EXPECT_TRUE(text.ends_with("\nTime out waiting for Brapp handle: -1 , 2 \n"
                               "MGMT_OpenBridgeApp: Open failed bridgeapphandle = -1\n"
                               "ErrorNumber is No such file or directory\n"));
    EXPECT_EQ(std::ranges::count(text, '\n'), 122 + 3);
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

TEST_F(BridgeApp, PortParametersArePrinted) {
    PortParams record{};
    auto* const bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) {
        bytes[i] = static_cast<unsigned char>(i % 255 + 1); // texts that no NUL ends
    }
    record.type = PORT_TYPE_ISCSI;
    record.number = 3;
    record.iScsiNameString[3] = '\0';
    XBMGT_LogPortParams(&record);
    std::string const lines = printed();
    EXPECT_TRUE(lines.starts_with("Port parameters: Type: 1 Id: 3\n MacAddr: 07-08-09-0a-0b-0c\n"));
    EXPECT_EQ(std::ranges::count(lines, '\n'), 61);
    std::string const serialNumber(record.SerialNumber, sizeof record.SerialNumber);
    for (std::string const line :
         {" IpAddr: 0d-0e-0f-10", "InstanceNo: 26 (0x1a)", " iScsiNameString: \x9f\xa0\xa1",
          "FwOptions: 49600 (0xc1c0)", "LinkCfg: 4193843190 (0xf9f8f7f6)"}) {
        EXPECT_NE(lines.find("\n" + line + "\n"), std::string::npos) << line;
    }
    EXPECT_NE(lines.find("\n SerialNumber: " + serialNumber + "\n"), std::string::npos);
    XBMGT_LogPortParams(nullptr);
    EXPECT_EQ(printed(), "");

    EXPECT_EQ(XBMGT_SetPortParams(&record), 0);
    EXPECT_EQ(printed(), "Inside XBMGT_SetPortParams: \n" + lines);
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
