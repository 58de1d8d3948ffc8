// The operations that do more than hand on the caller's record.
#include "brapp/requests.h"

#include "common/files.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

namespace requests = vx::requests;

// A record of zeros but for its first word.
template <const vx::Request& request>
int issueFirstWord(uint32_t word) {
    std::array<uint32_t, request.size / sizeof(uint32_t)> record{word};
    return vx::issueOwn<request>(record);
}

// The two serial EEPROMs that a selection offers, `first` and the next one.
template <const vx::Request& request>
int selectEeprom(int32_t which, int32_t first) {
    return which == first || which == first + 1 ? vx::issueOwn<request>(which) : -1;
}

} // namespace

int XBMGT_SetPortParams(PortParams* record) {
    std::printf("Inside XBMGT_SetPortParams: \n");
    XBMGT_LogPortParams(record);
    return vx::issue(requests::SetPortParams, record);
}

int XBMGT_SetNvRam(void* record) {
    std::printf("XBMGT_SetNvRam: Handle = %d \n", BrAppHandle);
    return vx::issue(requests::SetNvRam, record);
}

int XBMGT_SetLed(void* record) {
    int const fd = vx::openFile("/dev/vxllednode", O_RDWR);
    int const result = vx::issueOn(fd, requests::SetLed, record); // fails where the open did
    int const error = errno;
    ::close(fd);
    errno = error;
    return result;
}

int XBMGT_SetDriveConfig(void) {
    constexpr uint32_t driveConfiguration = 1;
    return issueFirstWord<requests::SetDriveConfig>(driveConfiguration);
}

int XBMGT_WcSetBootupMode(uint32_t mode) {
    return issueFirstWord<requests::WcSetBootupMode>(mode);
}

int XBMGT_SendAppReqResp(void* record, int32_t operation) {
    if (operation != 1 && operation != 3) {
        errno = EINVAL;
        return -1;
    }
    return vx::issueWith(requests::SendAppReqResp, {7, 1, static_cast<uint32_t>(operation)},
                         record);
}

int XBMGT_AddDriveToConfiguredStoragePool(void* record) {
    if (record == nullptr) {
        return -1;
    }
    constexpr uint32_t add = 2;
    std::memcpy(record, &add, sizeof add);
    return vx::issueWith(requests::AddDriveToConfiguredStoragePool, {4, 4, 0}, record);
}

int XBMGT_ReqOrNotifyPeer(uint16_t kind, uint16_t value) {
    std::array<uint16_t, 36> record{kind, value};
    return vx::issueOwn<requests::ReqOrNotifyPeer>(record);
}

int XBMGT_SetAdapterId(uint32_t first, uint32_t second) {
    std::array<uint32_t, 2> record{first, second};
    return vx::issueOwn<requests::SetAdapterId>(record);
}

int XBMGT_PersistenceBootComplete(uint32_t value) {
    return vx::issueOwn<requests::PersistenceBootComplete>(value);
}

int XBMGT_TestScsiComm(uint32_t value) {
    return vx::issueOwn<requests::TestScsiComm>(value);
}

int XBMGT_SelectPrimaryEEPROM(int32_t which) {
    return selectEeprom<requests::SelectPrimaryEEPROM>(which, 1);
}

int XBMGT_SelectSecondaryEEPROM(int32_t which) {
    return selectEeprom<requests::SelectSecondaryEEPROM>(which, 3);
}

int XBMGT_SelectEEPROMMux(int32_t which) {
    if (which != 0 && which != 1) {
        // The number is the report's own.
        std::printf("%s %d: Invalid parameter %d\n", "XBMGT_SelectEEPROMMux", 1424, which);
        return -1;
    }
    auto side = static_cast<uint8_t>(which);
    return vx::issueOwn<requests::SelectEEPROMMux>(side);
}

int XBMGT_getTwoBladesActive(uint32_t* result) {
    if (result == nullptr) {
        return -1;
    }
    *result = 0;
    return vx::issueOwn<requests::getTwoBladesActive>(*result);
}
