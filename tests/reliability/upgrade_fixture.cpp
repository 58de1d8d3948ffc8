#include "tests/reliability/upgrade_fixture.h"

#include "settings/saved_files.h"
#include "store/creators.h"
#include "upgrade/driver.h"

#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// The samples change no text that is merged under the condition.
void makeNewFile() {
    std::string text = readText(SAMPLES "/personality-5.3.0.cfg");
    for (auto const& [from, to] : {std::pair{"\"GROUP_0\"", "\"GROUP_FIRST\""},
                                   std::pair{"\"GROUP_1\"", "\"A_SECOND_GROUP_OF_HOSTS\""}}) {
        text.replace(text.find(from), std::string_view(from).size(), to);
    }
    writeText(UpgradeTest::newFile, text);
}

// What a child process leaves for its parent; of several at once, nothing that is of use.
struct Report {
    OperationLog log;
    int descriptors;
}* const report = static_cast<Report*>(
    ::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

[[noreturn]] void runChild(const Fault& fault, int (*work)()) {
    ::alarm(120); // a hang ends by a signal
    int const out = ::open(UpgradeTest::printed, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(out, STDERR_FILENO);
    systemCalls.fault = fault;
    systemCalls.operations = 0;
    report->log.count = 0;
    int const status = work();
    systemCalls.operationLog = nullptr;
    systemCalls.fault = {};
    close_all_files();
    report->descriptors =
        static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
    std::fflush(stdout);
    ::_exit(status);
}

// Files that a whole run and one that was interrupted and repeated may leave different: the
// counter, the marks for the next backup, and what the run itself did.
bool isLoose(const std::string& path) {
    return path.ends_with("brapp_seqno.cfg") || path.starts_with("/mnt/nand0/backup_bitmap.bin") ||
           path.starts_with(vx::upgradeReport);
}

// Migration parameters that cannot be read are moved aside, and made anew; the old defaults of what
// could not be merged are kept. A seal is written beside its file, where a cut may leave it.
bool isMovedAside(const std::string& path) {
    return path.starts_with(primary(36) + ".") || path.ends_with(".unmerged") ||
           path.ends_with(".replacing");
}

// Nothing where there is no such file.
const Bytes* contentOf(const Volumes& volumes, const std::string& path) {
    auto const found = volumes.find(path);
    return found == volumes.end() ? nullptr : found->second;
}

} // namespace

// As the command does it: the target is emptied, filled piece by piece, and not synced.
static bool copyInSteps(const char* to) {
    int const source = ::open(UpgradeTest::newFile, O_RDONLY);
    int const target = source < 0 ? -1 : ::open(to, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    char piece[8192];
    ssize_t got = 0;
    bool good = target >= 0;
    while (good && (got = ::read(source, piece, sizeof piece)) > 0) {
        good = ::write(target, piece, static_cast<std::size_t>(got)) == got;
    }
    ::close(target);
    ::close(source);
    return good && got == 0;
}

int runInProcess(const std::string& command) {
    std::string const path = command.substr(command.rfind(' ') + 1);
    if (command.starts_with("cp ")) {
        return copyInSteps(path.c_str()) ? 0 : 256;
    }
    if (command.starts_with("mv -f ")) {
        return std::rename(command.substr(6, command.find(' ', 6) - 6).c_str(), path.c_str());
    }
    return command.starts_with("mount ")   ? systemCalls.mountStatus
           : command.starts_with("chmod ") ? 0
                                           : 256;
}

const Bytes* kept(const Bytes& content) {
    static std::set<Bytes> contents;
    return &*contents.insert(content).first;
}

Volumes volumesNow() {
    Volumes volumes;
    for (std::string const& path : volumeFiles()) {
        volumes[path] = kept(readBytes(path));
    }
    return volumes;
}

void restore(const Volumes& volumes) {
    Volumes const before = volumesNow();
    for (auto const& [path, bytes] : before) {
        if (!volumes.contains(path)) {
            fs::remove(path);
        }
    }
    for (auto const& [path, bytes] : volumes) {
        if (contentOf(before, path) != bytes) {
            writeBytes(path, *bytes);
        }
    }
}

bool longRun() {
    const char* const mode = std::getenv("RELIABILITY");
    return mode != nullptr && std::string_view(mode) == "long";
}

int (*UpgradeTest::work)();

void UpgradeTest::SetUp() {
    BladeTest::SetUp();
    makeStore();
    shortenFiles(1400000, 10000); // all 512 target devices are read, and nothing that is longer
    fs::copy_file(SAMPLES "/personality-5.2.1.cfg", savedCopy);
    fs::copy_file(SAMPLES "/personality-5.2.1.cfg", secondSavedCopy);
    ASSERT_EQ(vxpmgr_init_lite(), 0);
    ASSERT_EQ(readDefaultConfiguration(), 0);
    BridgeConfig record;
    vxpmgr_GetBridgeConfigInfo(&record);
    record.BridgeLogSize = 9999; // the user's, like the zeros
    record.BridgeLogLevel = 0;
    record.BridgeRemoteCommandTimeout = 0;
    std::fill(std::begin(record.opaque656), std::end(record.opaque656), uint8_t{0xA5});
    std::fill(std::begin(record.opaque1100), std::end(record.opaque1100), uint8_t{0x5A});
    ASSERT_EQ(vxpmgr_UpdateBridgeConfigInfo(&record, PSST_WRITE_THROUGH), 0);
    PortParams params;
    vxpmgr_GetPortParams(&params, PORT_TYPE_ISCSI, 0);
    params.TcpMaxWinSize = 0;
    ASSERT_EQ(vxpmgr_UpdatePortParams(&params, PSST_WRITE_THROUGH), 0);
    PortEntry port{};
    std::memset(&port.record, 0x3C, sizeof port.record);
    port.prefix.index = 31;
    ASSERT_EQ(WriteBridgeConfigFile(&port, PSST_PORT_CONFIG), 0);
    close_all_files();
    fs::path const workFolder = fs::path(newFile).parent_path();
    fs::create_directory(workFolder);
    makeNewFile();
    fs::current_path(workFolder);
    work = vx::runUpgrade;
    arrange();
    systemCalls.shell = runInProcess;
    start = volumesNow();
    systemCalls.operationLog = &report->log;
    Run const run = upgrade();
    systemCalls.operationLog = nullptr;
    ASSERT_TRUE(run.reachedEnd());
    operations = run.operations;
    descriptors = run.descriptors;
    end = volumesNow();
}

// Takes away what only newer firmware has, and one of the VPD twins.
void UpgradeTest::arrange() {
    for (int const file : {7, 32, 33, 36, 39, 42}) {
        fs::remove(primary(file));
        fs::remove(mirror(file));
    }
}

Trace UpgradeTest::traceOfUpgrade() {
    Trace trace;
    systemCalls.trace = &trace;
    (void)printedBy([] { EXPECT_EQ(work(), 0); });
    systemCalls.trace = nullptr;
    close_all_files();
    InitDatabaseLite(); // what it read is not for the next upgrade to find
    return trace;
}

pid_t UpgradeTest::begin(const Fault& fault) {
    report->descriptors = 0;
    std::fflush(stdout);
    pid_t const child = ::fork();
    if (child == 0) {
        runChild(fault, work);
    }
    return child;
}

UpgradeTest::Run UpgradeTest::await(pid_t child) {
    Run result{};
    ::waitpid(child, &result.status, 0);
    result.descriptors = report->descriptors;
    result.operations.assign(report->log.entries, report->log.entries + report->log.count);
    return result;
}

void UpgradeTest::expectWhole(const std::string& in) const {
    Volumes const now = volumesNow();
    for (auto const& [path, bytes] : now) {
        const Bytes* const before = contentOf(start, path);
        const Bytes* const after = contentOf(end, path);
        bool const mayDiffer = before == nullptr
                                   ? path.ends_with(".new") || path == journal ||
                                         isMovedAside(path) || vx::isUnfinished(path.c_str())
                                   : path == secondSavedCopy || // nothing reads it
                                         (path == savedCopy && now.contains(journal));
        if (mayDiffer || isLoose(path) || bytes == before || bytes == after) {
            continue;
        }
        ASSERT_TRUE(before != nullptr && after != nullptr && bytes->size() == before->size())
            << in << ": " << path << " is neither whole nor refused";
        for (std::size_t i = 0; i < bytes->size(); ++i) {
            ASSERT_TRUE((*bytes)[i] == (*before)[i] || (*bytes)[i] == after->at(i))
                << in << ": " << path << " at " << i;
        }
    }
}

void UpgradeTest::expectEnd(const std::string& in, uint64_t sequence,
                            const std::string& behind) const {
    Volumes const now = volumesNow();
    for (auto const& [path, bytes] : end) {
        EXPECT_TRUE(contentOf(now, path) == bytes ||
                    (now.contains(path) && (isLoose(path) || path == behind)))
            << in << ": " << path;
    }
    for (auto const& [path, bytes] : now) {
        EXPECT_TRUE(end.contains(path) || isLoose(path) || isMovedAside(path))
            << in << ": " << path << " is left over";
    }
    EXPECT_GE(sequenceNumberOnFile(), sequence) << in;
    EXPECT_EQ(now.at(primary(PSST_SEQUENCE_INDEX)), now.at(mirror(PSST_SEQUENCE_INDEX))) << in;
}
