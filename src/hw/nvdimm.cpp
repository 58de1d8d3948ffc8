// The memory module's identification, by the standard's presence-detect registers.
#include <vxblade/i2c.h>
#include <vxblade/seep.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

int32_t default_nvdimm_i2c_addr = 0x5E;

namespace {

constexpr int module = 0x56;
constexpr int addressBits = 8;
constexpr int registerMaps[] = {0x5E, 0x58};

constexpr int manufacturerRegister = 0x75;
constexpr int locationRegister = 0x77;
constexpr int yearRegister = 0x78; // year, week, serial number
constexpr int partNumberRegister = 0x80;

constexpr std::size_t partNumberSize = 18;
constexpr const char* unreadable = "0000000000000";

template <std::size_t size>
bool readRegisters(int device, int first, std::array<uint8_t, size>& bytes) {
    return readI2cDev(SEEP_BUS, device, first, bytes.data(), static_cast<int>(size), addressBits) ==
           static_cast<int>(size);
}

bool clear(char* text, int size) {
    if (text == nullptr || size < 1) {
        return false;
    }
    std::memset(text, 0, static_cast<std::size_t>(size));
    return true;
}

int failedText(char* text, int size) {
    std::snprintf(text, static_cast<std::size_t>(size), "%s", unreadable);
    return 0;
}

} // namespace

int getNvDimmSerialNumber(char* text, int size) {
    if (!clear(text, size)) {
        return 0;
    }
    std::array<uint8_t, 6> bytes{};
    if (!readRegisters(module, yearRegister, bytes)) {
        return failedText(text, size);
    }
    uint32_t serial = 0;
    for (std::size_t i = 2; i < bytes.size(); ++i) {
        serial = serial << 8 | bytes[i];
    }
    std::snprintf(text, static_cast<std::size_t>(size), "20%X%09d", bytes[0],
                  static_cast<int32_t>(serial));
    return static_cast<int>(std::strlen(text));
}

int getNvDimmPartNumber(char* text, int size) {
    if (!clear(text, size)) {
        return 0;
    }
    std::array<uint8_t, partNumberSize> bytes{};
    if (!readRegisters(module, partNumberRegister, bytes)) {
        return failedText(text, size);
    }
    auto const length = std::min(bytes.size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(text, bytes.data(), length);
    return static_cast<int>(length);
}

int getNvDimmManufLocation(char* text, int size) {
    if (!clear(text, size)) {
        return 0;
    }
    std::array<uint8_t, 1> location{};
    if (!readRegisters(module, locationRegister, location)) {
        location[0] = 0;
    }
    std::snprintf(text, static_cast<std::size_t>(size), "%02X", location[0]);
    return 2;
}

int getNvDimmManufId(uint16_t* result) {
    std::array<uint8_t, 2> id{};
    int const count = readI2cDev(SEEP_BUS, module, manufacturerRegister, id.data(),
                                 static_cast<int>(id.size()), addressBits);
    if (count < 1) {
        return -1;
    }
    *result = static_cast<uint16_t>(id[1] << 8 | id[0]);
    std::printf("manufId: %x\n", static_cast<unsigned>(*result));
    return count;
}

int verifyAndInitNvDimmI2CregMap(void) {
    for (int const address : registerMaps) {
        if (std::array<uint8_t, 4> start{}; readRegisters(address, 0, start)) {
            default_nvdimm_i2c_addr = address;
            std::printf("%s:%d: Using NVDIMM Register Map address: %02x\n", __func__, 1160,
                        static_cast<unsigned>(address));
            return address;
        }
    }
    return 0;
}
