// What an upgrade decided, kept in /mnt/nand0/upgrade.report for "vxcfg last".
//
// Lines of fields with tabs between them:
//
//     vxpvh upgrade report 1
//     old     VERSION  PRODUCT
//     new     VERSION  PRODUCT
//     time    SECONDS              since 1970, by the blade's clock
//     resumed                      where an interrupted run had done a part
//     ACTION  KEY  RECORD  LIVE  OLD  NEW   each default that changed, as the upgrade met them:
//                                  CHANGE, KEEP, FORCE or NEVER; RECORD is the live setting's key
//     FAILED  SECTION  RESULT      its changes could not be stored
//     omitted COUNT                lines for which there was no room
//     end
//
// Fields are as they are in defaults files; a backslash and control characters are "\\xNN".
#pragma once

#include "upgrade/change.h"

#include <cstddef>
#include <cstdio>

namespace vx {

class ChangeReport {
  public:
    static constexpr std::size_t largest = 65536; // bytes of the file
    static constexpr const char* firstLine = "vxpvh upgrade report 1";

    ChangeReport(const VersionBlock& oldVersion, const VersionBlock& newVersion, bool isResumed);
    ~ChangeReport();
    ChangeReport(const ChangeReport&) = delete;
    ChangeReport& operator=(const ChangeReport&) = delete;

    void add(const Change& change);
    void addFailure(const Section& section, uint32_t number, int result);
    // Replaces the report of the upgrade before. A failure is reported.
    void install();

  private:
    bool hasRoom();
    void putField(const char* field);

    char* text_ = nullptr; // of the stream, which owns it until it is closed
    std::size_t size_ = 0;
    FILE* stream_; // null where there is no memory
    unsigned omitted_ = 0;
};

} // namespace vx
