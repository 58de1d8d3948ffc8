/*
 * The serial EEPROM's records (bus 0, device 0x50, two-byte addresses), the identification of the
 * memory module (NVDIMM; bus 0, device 0x56, one-byte addresses), the temperature sensors, and the
 * blade's serial and model number.
 *
 * Errors: failures are reported on standard error and in the system log (ident "i2c_access") unless
 * a comment says standard output, and returned; a transfer returns its count, which the caller
 * compares with what was asked. Ownership: buffers and records stay the caller's. Threads: every
 * transfer and reading is under the I2C lock (i2c.h), which a caller must not hold; a record that
 * is read, changed and written is not, and the statistics, the register map's address and the
 * memory sensor's last value have no lock: one thread at a time.
 */
#ifndef VXBLADE_SEEP_H
#define VXBLADE_SEEP_H

#include <stddef.h>

#include <vxblade/export.h>

VXBLADE_BEGIN

/* Where the records are. */
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
VXBLADE_STATIC_ASSERT(sizeof(BistRecord) == 64, "BIST record");
VXBLADE_STATIC_ASSERT(offsetof(BistRecord, testMode) == 8, "BIST test mode");
VXBLADE_STATIC_ASSERT(offsetof(BistRecord, byte10) == 10, "BIST byte 10");
VXBLADE_STATIC_ASSERT(offsetof(BistRecord, execCount) == 57, "BIST execution count");
VXBLADE_STATIC_ASSERT(offsetof(BistRecord, trailer) == 62, "BIST trailer");
VXBLADE_STATIC_ASSERT(offsetof(BistRecord, checksum) == 63, "BIST checksum");

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
VXBLADE_STATIC_ASSERT(sizeof(TolvaneStats) == 256, "statistics");
VXBLADE_STATIC_ASSERT(offsetof(TolvaneStats, nandResets) == 2, "reset counters");
VXBLADE_STATIC_ASSERT(offsetof(TolvaneStats, nvdimmMarker) == 10, "NVDIMM marker");
VXBLADE_STATIC_ASSERT(offsetof(TolvaneStats, nvdimmCount) == 12, "NVDIMM counter");
#define TOLVANE_STATS_STORED 16

/*
 * readI2cDev and writeI2cDev on bus 0 with two-byte memory addresses.
 *   offset   memory address to begin at
 *   buffer   receives, or has, `length` bytes
 *   length   in bytes
 *   devAddr  SEEP_DEVICE, or another device's address
 * Return what these return: the bytes moved, or -1.
 */
VXBLADE_API int readBytesFromSeep(int offset, void* buffer, int length, int devAddr);
VXBLADE_API int writeBytesToSeep(int offset, const void* buffer, int length, int devAddr);

/*
 * PCIe registers: read from the area's start, written at an offset.
 *   buffer  receives, or has, `length` bytes
 *   length  in bytes
 *   offset  in the area
 * Return the bytes moved, or -1.
 */
VXBLADE_API int getPCIeRegsFromSeep(void* buffer, int length);
VXBLADE_API int setPCIeRegsToSeep(const void* buffer, int length, int offset);

/* Returns the sum of the first `count` bytes of `record`, modulo 256. */
VXBLADE_API uint8_t calc_bist_cksum(const void* record, int count);
/*
 * The BIST record as it is stored.
 *   buffer  receives, or has, 64 bytes
 *   size    bytes of `buffer`: at least 64 to get, 64 to set
 * Return the bytes moved, or -1; 0 for another size, and nothing is moved.
 */
VXBLADE_API int getBistFromSeep(void* buffer, int size);
VXBLADE_API int setBistToSeep(const void* buffer, int size);
/* Puts the defaults and the checksum into `record`; its other bytes stay. Returns the checksum. */
VXBLADE_API uint8_t setDefaultBist(BistRecord* record);
/*
 * Changes the stored record. One with a wrong checksum gets the defaults first, which is reported.
 *   testMode   the new test mode
 *   execCount  the new execution count; 0xFFFFFFFF leaves the stored one
 * Returns 0, or -1 where the record cannot be read or written whole.
 */
VXBLADE_API int setBistTestModeAndExecCount(uint16_t testMode, uint32_t execCount);

/* Puts the hardware version's two bytes as a number (low byte first) into `result`, which is
 * untouched where they cannot be read. Returns 0. */
VXBLADE_API int getVhHwVersion(uint16_t* result);
/* Writes the characters of `text`, without its NUL, where the version is read. Returns the bytes
 * written, or -1. */
VXBLADE_API int setVhHwVersion(const char* text);

/* Returns the firmware-upgrade flag, 0 where it cannot be read. */
VXBLADE_API uint8_t getFwUpgradeFlagFromSeep(void);
/* Writes the flag. Returns 0 or -1. */
VXBLADE_API int setFwUpgradeFlagToSeep(uint8_t flag);

/* The OEM area has no usable size: each `length` from 1 up is refused, which is reported, and
 * `buffer` is not touched. Return 0. */
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
/*
 * Reads the statistics into vxTolvaneStats, and initialises a stored record that never was.
 *   force  0: not where they are there already
 * Returns 0, or -1 and memory is not changed. Counters and failures are printed on standard output.
 */
VXBLADE_API int loadTolvaneStatsFromSeep(int force);
/*
 * Changes the counters, loads them first if need be, and writes them.
 *   delta  whose counters are added, modulo their width; may be null where `reset` is set
 *   reset  not 0: all counters become 0 instead
 * Returns 0, or -1 and memory is not changed. A write that fails is printed on standard output.
 */
VXBLADE_API int updateStatsToSeep(const TolvaneStats* delta, int reset);
/* Put the reset counters, or the NVDIMM's fields, into `out`, and clear the rest of it; load the
 * statistics first if need be. Return 0; -1 for a null `out`, or where they cannot be loaded. */
VXBLADE_API int getFsResetStatsToSeep(TolvaneStats* out);
VXBLADE_API int getNVDIMMStatsFromSeep(TolvaneStats* out);

/* Device address of the NVDIMM's register map. */
VXBLADE_API extern int32_t default_nvdimm_i2c_addr;
/*
 * The module's identification as strings.
 *   text  receives at most `size` - 1 characters; the rest of it is cleared
 *   size  bytes of `text`; below 1 nothing is done, and the result is 0
 * Return the string's length; 0 where it cannot be read, and the string is zeros then. For the
 * location that is "00", and the result is 2 where `size` is 1 or more.
 */
VXBLADE_API int getNvDimmSerialNumber(char* text, int size);
VXBLADE_API int getNvDimmPartNumber(char* text, int size);
VXBLADE_API int getNvDimmManufLocation(char* text, int size);
/* Puts the manufacturer's number into `result` and prints it on standard output. Returns the bytes
 * read; -1 where there were none, and `result` is untouched. */
VXBLADE_API int getNvDimmManufId(uint16_t* result);
/* Looks for the register map at 0x5E and 0x58, and remembers where it is in
 * default_nvdimm_i2c_addr, which is printed on standard output. Returns the address, or 0. */
VXBLADE_API int verifyAndInitNvDimmI2CregMap(void);

/*
 * Temperatures from the kernel's sensor files, in this order: board, front, rear, mem.
 *   board             as the file has it, in thousandths of a degree
 *   front, rear, mem  in tenths of a degree
 *   a null pointer skips its sensor
 * Returns 0, or -1 at the first that cannot be read, and those after it are untouched. A memory
 * sensor that is not there gives 0, one that cannot be read its last value.
 */
VXBLADE_API int getBoardTemp(uint16_t* front, uint16_t* rear, uint16_t* board, uint16_t* mem);

/*
 * The boot environment's "SERIAL" and "modelNum"; the environment must be loaded (bootenv.h).
 *   text  receives at most 63 characters, or `size` - 1, and a NUL
 *   size  bytes of `text`
 * Return 0, or -1 where the variable is not set.
 */
VXBLADE_API int getBladeSerialNum(char* text, int size);
VXBLADE_API int getBladeModelNum(char* text, int size);
/* Set the variable to `text` and save the environment. Return 0 whatever becomes of that, which
 * bootenv.h reports. */
VXBLADE_API int setBladeSerialNum(const char* text);
VXBLADE_API int setBladeModelNum(const char* text);

VXBLADE_END

#endif
