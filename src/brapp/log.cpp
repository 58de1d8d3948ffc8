// Log records for the bridge application.
#include <vxblade/brapp.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>

namespace {

enum class Payload : uint32_t { words = 1, string = 3, data = 4 };

// As the driver takes it. The address has 64 bits so that the record is the same on a 32-bit
// blade, where its upper half is zero, and on a 64-bit machine.
struct LogRecord {
    uint32_t code;
    uint32_t length; // of the payload, in bytes
    uint64_t address;
};
static_assert(sizeof(LogRecord) == XBMGT_WriteLog_SIZE);

int sendLog(uint32_t code, Payload payload, const void* data, uint64_t length) {
    if (length > UINT32_MAX) {
        errno = EMSGSIZE;
        return -1;
    }
    constexpr uint32_t codeBits = 0x0FFFFFFFU;
    LogRecord record = {
        .code = (code & codeBits) | static_cast<uint32_t>(payload) << 28U,
        .length = static_cast<uint32_t>(length),
        .address = reinterpret_cast<uintptr_t>(data),
    };
    return XBMGT_WriteLog(&record);
}

int sendWords(uint32_t code, std::initializer_list<uint32_t> words) {
    return sendLog(code, Payload::words, words.begin(), words.size() * sizeof(uint32_t));
}

} // namespace

int XBRPC_LOG0(uint32_t code) {
    return sendWords(code, {});
}

int XBRPC_LOG1(uint32_t code, uint32_t a1) {
    return sendWords(code, {a1});
}

int XBRPC_LOG2(uint32_t code, uint32_t a1, uint32_t a2) {
    return sendWords(code, {a1, a2});
}

int XBRPC_LOG3(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3) {
    return sendWords(code, {a1, a2, a3});
}

int XBRPC_LOG4(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4) {
    return sendWords(code, {a1, a2, a3, a4});
}

int XBRPC_LOG5(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5) {
    return sendWords(code, {a1, a2, a3, a4, a5});
}

int XBRPC_LOG8(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5,
               uint32_t a6, uint32_t a7, uint32_t a8) {
    return sendWords(code, {a1, a2, a3, a4, a5, a6, a7, a8});
}

int XBRPC_LOG9(uint32_t code, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5,
               uint32_t a6, uint32_t a7, uint32_t a8, uint32_t a9) {
    return sendWords(code, {a1, a2, a3, a4, a5, a6, a7, a8, a9});
}

int XBRPC_LOGn(uint32_t code, const uint32_t* words, uint32_t count) {
    return sendLog(code, Payload::words, words, uint64_t{count} * sizeof *words);
}

int XBRPC_LogString(uint32_t code, const char* text) {
    return sendLog(code, Payload::string, text, std::strlen(text));
}

int XBRPC_LogData(uint32_t code, const void* data, uint32_t length) {
    return sendLog(code, Payload::data, data, length);
}
