// What vxcfg does with defaults files.
#pragma once

#include <string>
#include <vector>

namespace tools {

struct ReportOptions {
    bool isStrict = false; // warnings are errors
    bool isJson = false;
};

// Each returns the status (tools/base/output.h) to end with. A file that cannot be read or written
// is told on standard error and keeps nobody from the others.
int checkFiles(const std::vector<std::string>& files, const ReportOptions& options);
int sealFiles(const std::vector<std::string>& files);
// Throws where a file cannot be read.
int diffFiles(const std::string& oldFile, const std::string& newFile, const ReportOptions& options);

} // namespace tools
