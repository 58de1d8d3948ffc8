// The configuration files of remote access.
#pragma once

namespace vx {

// Makes those that are missing. Always 0.
int VerifyTelnetandSshConfigFiles();

} // namespace vx
