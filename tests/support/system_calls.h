// The system calls of the code under test, seen, cut and failed by tests.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

enum class Operation : uint8_t { open, create, read, write, sync, seek, rename, unlink, shell };

// True for what changes a medium.
constexpr bool isDurable(Operation operation) {
    return operation != Operation::open && operation != Operation::read &&
           operation != Operation::seek;
}

// What befalls one operation of a process: it ends there, as when the power goes, or the operation
// fails, or moves fewer bytes than were asked for.
struct Fault {
    enum class Kind : uint8_t { none, powerCut, error, shortTransfer };
    Kind kind = Kind::none;
    int at = 0;            // the operation, counted from 1
    int error = 0;         // what an error leaves in errno
    std::size_t bytes = 0; // that a write moves before a cut, a transfer before its end
};

// How a process ends at a power cut.
inline constexpr int powerCutStatus = 99;

// The operations of a process, kept where its parent can see them.
struct OperationLog {
    struct Entry {
        Operation operation;
        uint32_t size;  // of a transfer
        int64_t offset; // of a transfer
        char name[80];  // of the file, or the command
    };
    int count = 0;
    Entry entries[4000];
};

// What a process did to the volumes, in order and with all bytes.
struct Change {
    Operation kind; // create (of a file that exists, empty it), write, sync, rename or unlink
    bool isSynced;  // the file was opened so that each write is durable when it returns
    int64_t offset;
    std::string path; // of a sync, also a folder's
    std::string from; // of a rename
    std::vector<unsigned char> data;
};
using Trace = std::vector<Change>;

struct SystemCalls {
    bool recording = false;
    std::vector<std::string> log; // "write brapp_config.bin", "mark 1" …
    Fault fault;
    int operations = 0;                             // that were counted against the fault
    OperationLog* operationLog = nullptr;           // filled where set
    Trace* trace = nullptr;                         // filled where set
    std::function<int(const std::string&)> shell;   // instead of system, where set
    std::function<void(unsigned)> pause;            // instead of usleep, where set
    std::function<int(const std::string&)> runner;  // instead of VX_systemWrapper, where set
    std::vector<std::vector<unsigned char>> pushed; // records handed to the bridge application
    unsigned slept = 0;                             // what an interrupted sleep leaves
    int semaphoreFailures = 0;                      // waits that a signal interrupts
    int mountStatus = 0;                            // of the mount check without a shell
    int sleeps = 0;                                 // seconds that were asked for and not slept
};
extern SystemCalls systemCalls;

// What a piece of work calls, in order.
std::vector<std::string> callsOf(const auto& work) {
    systemCalls.recording = true;
    systemCalls.log.clear();
    work();
    systemCalls.recording = false;
    return systemCalls.log;
}
