// The store's system calls, seen and cut by tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct SystemCalls {
    bool recording = false;
    std::vector<std::string> log;     // "write brapp_config.bin", "mark 1" …
    std::function<void()> afterWrite; // called behind each recorded write
    int cutAt = 0;                    // the power goes at the n-th call that changes something
    bool cutHalf = false;             // … after half of a write's bytes
    std::function<int(const std::string&)> runner;  // instead of VX_systemWrapper, where set
    std::vector<std::vector<unsigned char>> pushed; // records handed to the bridge application
    unsigned slept = 0;                             // what an interrupted sleep leaves
    int semaphoreFailures = 0;                      // waits that a signal interrupts
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
