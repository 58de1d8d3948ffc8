/*
 * The serial EEPROM's records (bus 0, device 0x50, two-byte addresses), the identification of the
 * memory module (NVDIMM; bus 0, device 0x56, one-byte addresses), the temperature sensors, and the
 * blade's serial and model number.
 *
 * Everything here runs under the I2C lock (i2c.h). Failures are reported on standard error and in
 * the system log (ident "i2c_access") unless a comment says standard output.
 */
#ifndef VXBLADE_SEEP_H
#define VXBLADE_SEEP_H

#include <stddef.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Where the records lie. */
enum {
    SEEP_BUS = 0,
    SEEP_DEVICE = 0x50,
    SEEP_PCIE_REGISTERS = 0x0000,
    SEEP_OEM_SPACE = 0x1B00,
    SEEP_HARDWARE_STATS = 0x1D00, /* 16 bytes, struct TolvaneStats */
    SEEP_HARDWARE_VERSION = 0x1E04,
    SEEP_FW_UPGRADE_FLAG = 0x1E06,
    SEEP_BIST = 0x1E18, /* struct BistRecord */
};

/* Record of the built-in self-test. */
typedef struct __attribute__((packed)) BistRecord {
    uint8_t signature[2]; /* 0x7C, 0x49 */
    uint8_t format[2];    /* 3, 4 */
    uint8_t unused4[4];
    uint16_t testMode;
    uint8_t byte10; /* 4 */
    uint8_t unused11[46];
    uint32_t execCount;
    uint8_t unused61;
    uint8_t trailer;  /* 0x53 */
    uint8_t checksum; /* sum of the bytes before it, modulo 256 */
} BistRecord;
static_assert(sizeof(BistRecord) == 64, "BIST record");
static_assert(offsetof(BistRecord, testMode) == 8, "BIST test mode");
static_assert(offsetof(BistRecord, byte10) == 10, "BIST byte 10");
static_assert(offsetof(BistRecord, execCount) == 57, "BIST execution count");
static_assert(offsetof(BistRecord, trailer) == 62, "BIST trailer");
static_assert(offsetof(BistRecord, checksum) == 63, "BIST checksum");

/* Hardware statistics. The EEPROM holds the first 16 bytes; the rest stays zero. */
typedef struct TolvaneStats {
    uint8_t magic; /* 0xC3: initialised */
    uint8_t unused1;
    uint16_t nandResets[4]; /* of nand0, nand1, nand2 and nand4 */
    uint8_t nvdimmMarker;   /* 0xA5 */
    uint8_t nvdimmField;    /* 1, set with the marker */
    uint32_t nvdimmCount;
    uint8_t unused16[240];
} TolvaneStats;
static_assert(sizeof(TolvaneStats) == 256, "statistics");
static_assert(offsetof(TolvaneStats, nandResets) == 2, "reset counters");
static_assert(offsetof(TolvaneStats, nvdimmMarker) == 10, "NVDIMM marker");
static_assert(offsetof(TolvaneStats, nvdimmCount) == 12, "NVDIMM counter");
#define TOLVANE_STATS_STORED 16

/* readI2cDev and writeI2cDev on bus 0 with two-byte addresses. */
VXBLADE_API int readBytesFromSeep(int offset, void* buffer, int length, int devAddr);
VXBLADE_API int writeBytesToSeep(int offset, const void* buffer, int length, int devAddr);

/* PCIe registers: read from the area's start, written at an offset. The bytes moved. */
VXBLADE_API int getPCIeRegsFromSeep(void* buffer, int length);
VXBLADE_API int setPCIeRegsToSeep(const void* buffer, int length, int offset);

/* Sum of the first `count` bytes, modulo 256. */
VXBLADE_API uint8_t calc_bist_cksum(const void* record, int count);
/* The BIST record as it is stored. The bytes moved; 0, and nothing is moved, where `size` is
 * under 64 (get) or is not 64 (set). */
VXBLADE_API int getBistFromSeep(void* buffer, int size);
VXBLADE_API int setBistToSeep(const void* buffer, int size);
/* Puts the defaults and the checksum into a record; other bytes stay. Returns the checksum. */
VXBLADE_API uint8_t setDefaultBist(BistRecord* record);
/* Changes the stored record; an `execCount` of 0xFFFFFFFF leaves that field. One with a wrong
 * checksum gets the defaults first. 0 or -1. */
VXBLADE_API int setBistTestModeAndExecCount(uint16_t testMode, uint32_t execCount);

/* The hardware version's two bytes as a number; untouched when they cannot be read. Returns 0. */
VXBLADE_API int getVhHwVersion(uint16_t* result);
/* Writes the text's characters, without its end, where the version is read. The bytes written. */
VXBLADE_API int setVhHwVersion(const char* text);

/* The flag, 0 when it cannot be read; 0 or -1. */
VXBLADE_API uint8_t getFwUpgradeFlagFromSeep(void);
VXBLADE_API int setFwUpgradeFlagToSeep(uint8_t flag);

/* The OEM area has no usable size: every length from 1 up is refused. Both return 0. */
VXBLADE_API int getOemSpace(void* buffer, int length);
VXBLADE_API int setOemSpace(const void* buffer, int length);

/* The manufacturing EEPROM is not fitted on this board: these do nothing and return 0. */
VXBLADE_API int readBytesFromMfgSeep(int offset, void* buffer, int length, int devAddr);
VXBLADE_API int writeBytesToMfgSeep(int offset, const void* buffer, int length, int devAddr);
VXBLADE_API int getMfgSpace(void* buffer, int length);
VXBLADE_API int setMfgSpace(const void* buffer, int length);
VXBLADE_API int loadBladeSeep(void);

/* The statistics as they were last read or written; zero before. */
VXBLADE_API extern TolvaneStats vxTolvaneStats;
/* Reads the statistics unless they are there already and `force` is 0; initialises a record that
 * never was. Prints the counters. 0 or -1; what is in memory changes only as a whole. */
VXBLADE_API int loadTolvaneStatsFromSeep(int force);
/* Adds `delta`'s counters, or with `reset` clears all counters (`delta` may then be null), and
 * writes them. 0, or -1 and nothing is changed. */
VXBLADE_API int updateStatsToSeep(const TolvaneStats* delta, int reset);
/* The reset counters; the NVDIMM's fields. All else of `out` is cleared. 0 or -1. */
VXBLADE_API int getFsResetStatsToSeep(TolvaneStats* out);
VXBLADE_API int getNVDIMMStatsFromSeep(TolvaneStats* out);

/* Device address of the NVDIMM's register map. */
VXBLADE_API extern int32_t default_nvdimm_i2c_addr;
/* Texts of the module's identification, cut to `size` - 1 characters, the rest of the buffer
 * cleared. The text's length, or 0 with zeros as the text when it cannot be read (the location
 * is "00" then, and its length still 2). */
VXBLADE_API int getNvDimmSerialNumber(char* text, int size);
VXBLADE_API int getNvDimmPartNumber(char* text, int size);
VXBLADE_API int getNvDimmManufLocation(char* text, int size);
/* The manufacturer's number, printed on standard output. The bytes read, or -1. */
VXBLADE_API int getNvDimmManufId(uint16_t* result);
/* Finds the register map at 0x5E or 0x58 and remembers where. The address, or 0. */
VXBLADE_API int verifyAndInitNvDimmI2CregMap(void);

/*
 * Temperatures from the kernel's sensor files: `board` as the file has it (thousandths of a
 * degree), the others in tenths. A null pointer skips its sensor. 0, or -1 at the first that
 * cannot be read; a memory sensor that is not there gives 0, one that cannot be read its last
 * value.
 */
VXBLADE_API int getBoardTemp(uint16_t* front, uint16_t* rear, uint16_t* board, uint16_t* mem);

/* The boot environment's "SERIAL" and "modelNum", at most 63 characters. 0, or -1 when not set.
 * Setting saves the environment and returns 0 whatever becomes of that. */
VXBLADE_API int getBladeSerialNum(char* text, int size);
VXBLADE_API int getBladeModelNum(char* text, int size);
VXBLADE_API int setBladeSerialNum(const char* text);
VXBLADE_API int setBladeModelNum(const char* text);

VXBLADE_END

#endif
