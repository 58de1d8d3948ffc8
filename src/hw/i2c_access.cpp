#include <vxblade/i2c.h>

#include "common/files.h"
#include "hw/diagnostics.h"

#include <vxblade/platform.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

int32_t i2cLockFd = -1;
sem_t vxI2CSema;

namespace {

constexpr const char* sourceName = "i2c_access";
constexpr const char* lockPath = "/var/lock/i2cLock";
constexpr int semaphoreWaits = 6;

constexpr int retries = 15;           // after EIO, of one transfer
constexpr useconds_t retryPause = 15; // microseconds
constexpr useconds_t partPause = 10;  // what the parts need before the next transfer
constexpr int readPiece = 8;
constexpr int writePiece = 2; // a page of the smallest parts

// Before main, and so before any thread.
[[maybe_unused]] bool const semaphoreReady = ::sem_init(&vxI2CSema, 0, 1) == 0;

// The address bytes of a memory address, high byte first.
struct MemoryAddress {
    std::array<uint8_t, 2> bytes;
    int size;
};

MemoryAddress memoryAddress(int offset, int bits) {
    auto const high = static_cast<uint8_t>(offset >> 8);
    auto const low = static_cast<uint8_t>(offset);
    return bits == 16 ? MemoryAddress{{high, low}, 2} : MemoryAddress{{low, 0}, 1};
}

struct Outcome {
    ssize_t result;
    int error;
};

// One transfer of `size` bytes, repeated after EIO, which `sayRetry` reports with the result and
// the number of the repetition. errno is cleared first: a short count leaves an older call's there.
template <class Call>
Outcome transfer(int size, Call call, void (*sayRetry)(int, int)) {
    for (int retry = 1;; ++retry) {
        errno = 0;
        ssize_t const result = call();
        int const error = errno;
        if (result == size || error != EIO || retry > retries) {
            return {result, error};
        }
        sayRetry(static_cast<int>(result), retry);
        ::usleep(retryPause);
    }
}

bool setSlave(int bus, int devAddr) {
    return ::ioctl(bus, I2C_SLAVE, static_cast<unsigned long>(devAddr)) >= 0;
}

int openBus(int bus) {
    std::array<char, 32> path{};
    std::snprintf(path.data(), path.size(), "/dev/i2c-%d", bus);
    return vx::openFile(path.data(), O_RDWR);
}

bool lockBus(const char* function) {
    if (VX_openI2CLock() < 0) {
        VX_REPORT(function, "Failed to open lock file\n");
        return false;
    }
    return VX_AcquireI2CLock() >= 0;
}

// --- Reading.

constexpr const char* reading = "readI2cDev";

bool sendAddress(int bus, const MemoryAddress& address) {
    Outcome const sent = transfer(
        address.size,
        [&] { return ::write(bus, address.bytes.data(), static_cast<size_t>(address.size)); },
        [](int result, int retry) {
            VX_REPORT(reading, "write failed(retval = %d)! Retrying ...%d\n", result, retry);
        });
    if (sent.result != address.size) {
        VX_REPORT(reading, "write failed! retval = %d errno = %d\n", static_cast<int>(sent.result),
                  sent.error);
        return false;
    }
    ::usleep(partPause);
    return true;
}

// The bytes of complete pieces. The device goes on from its own address counter.
int readPieces(int bus, uint8_t* buffer, int length) {
    int done = 0;
    while (done < length) {
        int const size = std::min(readPiece, length - done);
        Outcome const piece = transfer(
            size, [&] { return ::read(bus, buffer + done, static_cast<size_t>(size)); },
            [](int result, int retry) {
                VX_REPORT(reading, "read failed(retval = %d)! Retrying ...%d\n", result, retry);
            });
        if (piece.result != size) {
            VX_REPORT(reading, "read failed! retval = %d errno = %d\n",
                      static_cast<int>(piece.result), piece.error);
            break;
        }
        done += size;
    }
    return done;
}

int readFrom(int bus, int devAddr, const MemoryAddress& address, uint8_t* buffer, int length) {
    if (!setSlave(bus, devAddr)) {
        VX_REPORT(reading, "ioctl failed\n");
        return -1;
    }
    uint8_t dummy = 0; // the parts want a read before they are addressed
    (void)!::read(bus, &dummy, sizeof dummy);
    return sendAddress(bus, address) ? readPieces(bus, buffer, length) : -1;
}

// --- Writing.

constexpr const char* writing = "writeI2cDev";

struct WriteJob {
    int bus;
    int devAddr;
    int offset;
    const uint8_t* data;
    int length;
    int bits;
};

// Writes `size` bytes from `done` on, address and data in one transfer.
bool writePieceOf(const WriteJob& job, int fd, int done, int size) {
    MemoryAddress const address = memoryAddress(job.offset + done, job.bits);
    std::array<uint8_t, 2 + writePiece> bytes{};
    std::copy_n(address.bytes.data(), address.size, bytes.data());
    std::copy_n(job.data + done, size, bytes.data() + address.size);
    int const total = address.size + size;
    Outcome const written = transfer(
        total, [&] { return ::write(fd, bytes.data(), static_cast<size_t>(total)); },
        [](int result, int retry) {
            VX_REPORT(writing, "write failed (retval = %d)! Retrying ...%d\n", result, retry);
        });
    if (written.result == total) {
        ::usleep(partPause);
        return true;
    }
    VX_REPORT(writing, "write failed! retval = %d errno %d\n", static_cast<int>(written.result),
              written.error);
    VX_REPORT(writing, "write failed! tmpb[0]: 0x%02x tmpb[1]: 0x%02x bytes to Write : %d\n",
              bytes[0], bytes[1], total);
    VX_REPORT(writing,
              "write failed! bus: %d devaddr: 0x%x addr: 0x%x len: %d i2c_data_addr_bits: %d "
              "i2cdrv: %d\n",
              job.bus, static_cast<unsigned>(job.devAddr), static_cast<unsigned>(job.offset),
              job.length, job.bits, fd);
    return false;
}

// The first piece ends where a page does, so that none of the pieces crosses one.
int writePieces(const WriteJob& job, int fd) {
    int done = 0;
    int size = job.offset % writePiece != 0 ? 1 : writePiece;
    while (done < job.length) {
        size = std::min(size, job.length - done);
        if (!writePieceOf(job, fd, done, size)) {
            break;
        }
        done += size;
        size = writePiece;
    }
    return done;
}

// Of two opens one would be closed again, and a closed descriptor gives up every lock that the
// process has on the file.
class OneAtATime {
  public:
    OneAtATime() { ::pthread_mutex_lock(&mutex_); }
    ~OneAtATime() { ::pthread_mutex_unlock(&mutex_); }
    OneAtATime(const OneAtATime&) = delete;
    OneAtATime& operator=(const OneAtATime&) = delete;

  private:
    static pthread_mutex_t mutex_;
};
pthread_mutex_t OneAtATime::mutex_ = PTHREAD_MUTEX_INITIALIZER;

} // namespace

int VX_openI2CLock(void) {
    OneAtATime const guard;
    if (i2cLockFd >= 0) {
        return i2cLockFd;
    }
    i2cLockFd = vx::openFile(lockPath, O_RDWR | O_CREAT, vx::lockFileMode);
    if (i2cLockFd < 0) {
        VX_REPORT(__func__, "Failed to open lock file %s\n", lockPath);
        return -1;
    }
    if (::fcntl(i2cLockFd, F_SETFD, FD_CLOEXEC) < 0) {
        VX_REPORT(__func__, "Failed to set FD_CLOEXEC lock file %s\n", lockPath);
    }
    return i2cLockFd;
}

int VX_AcquireI2CLock(void) {
    errno = 0;
    for (int failed = 0; failed < semaphoreWaits && ::sem_wait(&vxI2CSema) != 0; ++failed) {
        std::printf("%s:%d: errno: %d\n", "VX_AcquireI2CLock", 121, errno);
    }
    int const result = VX_openI2CLock() < 0 ? -1 : VX_PosixFileLockUnLock(i2cLockFd, FILE_LOCK);
    if (result < 0) {
        ::sem_post(&vxI2CSema);
    }
    return result;
}

int VX_ReleaseI2CLock(void) {
    int const result = VX_PosixFileLockUnLock(i2cLockFd, FILE_UNLOCK);
    ::sem_post(&vxI2CSema);
    return result;
}

int readI2cDev(int bus, int devAddr, int offset, void* buffer, int length, int i2c_data_addr_bits) {
    if (length <= 0) {
        return 0;
    }
    if (!lockBus(reading)) {
        return -1;
    }
    int count = -1;
    {
        vx::Descriptor const node(openBus(bus));
        if (node.ok()) {
            count = readFrom(node.get(), devAddr, memoryAddress(offset, i2c_data_addr_bits),
                             static_cast<uint8_t*>(buffer), length);
        } else {
            VX_REPORT(reading, "open failed\n");
        }
    }
    VX_ReleaseI2CLock();
    if (count < length) {
        VX_REPORT(reading, "I2c read failed.\n");
    }
    return count;
}

int writeI2cDev(int bus, int devAddr, int offset, const void* buffer, int length,
                int i2c_data_addr_bits) {
    if (length <= 0) {
        return 0;
    }
    WriteJob const job{bus,
                       devAddr,
                       offset,
                       static_cast<const uint8_t*>(buffer),
                       std::min(length, I2C_WRITE_LIMIT),
                       i2c_data_addr_bits};
    if (!lockBus(writing)) {
        return -1;
    }
    int count = 0;
    {
        vx::Descriptor const node(openBus(bus));
        if (!setSlave(node.get(), devAddr)) { // also where the node did not open
            VX_REPORT(writing, "ioctl failed\n");
        } else {
            count = writePieces(job, node.get());
        }
    }
    VX_ReleaseI2CLock();
    if (count < job.length) {
        VX_REPORT(writing, "I2c write failed.\n");
    }
    return count;
}
