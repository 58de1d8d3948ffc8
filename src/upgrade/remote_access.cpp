// The configuration files of remote access, made where they are missing.
#include "upgrade/remote_access.h"

#include "common/files.h"
#include "upgrade/report.h"

#include <vxblade/platform.h>

namespace vx {

namespace {

// The messages are the field's own, blanks and names included.
struct RemoteAccessFile {
    const char* path;
    int missingLine;
    const char* missing;
    int (*initialize)();
    int existsLine;
    const char* exists;
};
constexpr RemoteAccessFile remoteAccessFiles[] = {
    {VX_TELNET_CONFIG_PATH, 1397,
     "VerifyTelnetandSshConfigFiles: TelnetConfig File doesn't exist \n",
     InitializeTelnetConfigFile, 1401, " VerifyTelnetandSshConfigFiles: TelnetFile Exists \n"},
    {VX_SSH_CONFIG_PATH, 1405, "VerifyTelnetandSshConfigFiles: SshConfig File doesn't exist \n",
     InitializeSshConfigFile, 1408, " VerifyTelnetandSshConfigFiles: SshFile Exists\n"},
    {VX_FTP_CONFIG_PATH, 1413, "VerifyTelnetandSshConfigFiles: ftpConfig File doesn't exist \n",
     InitializeftpConfigFile, 1416, " VerifyTelnetSshFtpConfigFiles: ftpFile Exists\n"},
};

} // namespace

int VerifyTelnetandSshConfigFiles() {
    constexpr const char* operation = "VerifyTelnetandSshConfigFiles";
    report(operation, 1392, " VerifyTelnetandSshConfigFiles: Entered \n");
    for (const RemoteAccessFile& file : remoteAccessFiles) {
        if (!fileExists(file.path)) {
            report(operation, file.missingLine, "%s", file.missing);
            (void)file.initialize();
        } else {
            removeTemporary(file.path);
        }
        report(operation, file.existsLine, "%s", file.exists);
    }
    return 0;
}

} // namespace vx
