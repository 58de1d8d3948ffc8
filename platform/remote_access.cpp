#include <vxblade/platform.h>

#include "common/files.h"

#include <string_view>

namespace {

int initialize(const char* path, std::string_view content) {
    return vx::replaceFile(path, content.data(), content.size());
}

} // namespace

// Factory state of remote access: the encrypted shell only.

int InitializeTelnetConfigFile(void) {
    return initialize("/mnt/nand1/telnet.cfg", "enabled=0\nport=23\n");
}

int InitializeSshConfigFile(void) {
    return initialize("/mnt/nand1/ssh.cfg", "enabled=1\nport=22\n");
}

int InitializeftpConfigFile(void) {
    return initialize("/mnt/nand1/ftp.cfg", "enabled=0\nport=21\n");
}
