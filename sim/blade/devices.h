// The blade's devices as their drivers show them. Results are what a system call returns: a count
// or 0, or a negative errno.
#pragma once

#include "sim/blade/mapped_file.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <mtd/mtd-user.h>

namespace sim {

// An operation that was asked for and not yet carried out.
struct Operation {
    std::string name;   // "read", "erase", "h27": what faults and the trace know it by
    std::string detail; // the rest of its line in the trace
    std::size_t size;   // bytes that it moves or erases
    std::function<int(std::size_t count)> perform; // on its first `count` bytes
};

// What a driver keeps for each opening of its node.
struct OpenNode {
    unsigned slave = 0; // address on the I2C bus
};

class Device {
  public:
    virtual ~Device() = default;
    virtual Operation read(OpenNode& node, std::span<uint8_t> to, uint64_t offset);
    virtual Operation write(OpenNode& node, std::span<const uint8_t> from, uint64_t offset);
    // `argument` is the request's third argument, `record` the copy of what it points to, as many
    // bytes as the code says.
    virtual Operation request(OpenNode& node, unsigned code, uintptr_t argument,
                              std::span<uint8_t> record);
    // True for the name of one of its operations.
    [[nodiscard]] virtual bool knows(std::string_view operation) const;
    // Takes a command of the device's own from the control file. False: not one of its commands.
    virtual bool command(const std::vector<std::string>& words);
};

// The NOR flash: programming clears bits, erasing sets a block's. State: nor.bin, nor.geometry.
//   flash BLOCKxCOUNT... [regions]  another flash, blank; its groups of blocks are erase regions
//                                   where there are more than one, or the last word says so
class NorFlash : public Device {
  public:
    explicit NorFlash(std::filesystem::path state);
    Operation read(OpenNode& node, std::span<uint8_t> to, uint64_t offset) override;
    Operation write(OpenNode& node, std::span<const uint8_t> from, uint64_t offset) override;
    Operation request(OpenNode& node, unsigned code, uintptr_t argument,
                      std::span<uint8_t> record) override;
    bool command(const std::vector<std::string>& words) override;
    [[nodiscard]] bool knows(std::string_view operation) const override;

  private:
    void load();
    int erase(const erase_info_user& range, std::size_t count);

    std::filesystem::path state_;
    std::vector<region_info_user> groups_; // of blocks of one size
    bool hasRegions_ = false;
    std::unique_ptr<MappedFile> image_;
};

// An I2C bus with its EEPROMs. State: i2c-<bus>-<address>.bin of each.
class I2cBus : public Device {
  public:
    I2cBus(const std::filesystem::path& state, unsigned bus);
    Operation read(OpenNode& node, std::span<uint8_t> to, uint64_t offset) override;
    Operation write(OpenNode& node, std::span<const uint8_t> from, uint64_t offset) override;
    Operation request(OpenNode& node, unsigned code, uintptr_t argument,
                      std::span<uint8_t> record) override;
    [[nodiscard]] bool knows(std::string_view operation) const override;

  private:
    struct Eeprom {
        MappedFile image;
        std::size_t addressBytes;
        std::size_t page; // a write goes round within a page
        std::size_t at = 0;
    };
    int store(Eeprom& part, std::span<const uint8_t> from);
    std::map<unsigned, Eeprom> parts_;
};

// A driver that takes records of any size. State: requests/<group><number>.bin, the last record.
//   answer REQUEST HEX     what the driver puts at the start of the record ("answer h27 02")
//   return REQUEST RESULT  what the request returns
//   reset                  both as they were
class RequestDriver : public Device {
  public:
    RequestDriver(const std::filesystem::path& state, std::string groups);
    Operation request(OpenNode& node, unsigned code, uintptr_t argument,
                      std::span<uint8_t> record) override;
    bool command(const std::vector<std::string>& words) override;
    [[nodiscard]] bool knows(std::string_view operation) const override;

  private:
    std::filesystem::path records_;
    std::string groups_;
    std::map<std::string, std::vector<uint8_t>> answers_;
    std::map<std::string, int> results_;
};

} // namespace sim
