#include "tests/upgrade_fixture.h"

#include "pmgr/creators.h"
#include "props/config_fields.h"
#include "upgrade/driver.h"

#include <vxblade/pmgr.h>
#include <vxblade/props.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <random>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* workFolder = "/mnt/nand0/firmware";
constexpr const char* newFile = UpgradeTest::newFile;
constexpr const char* bitmap = "/mnt/nand0/backup_bitmap.bin";

// Files that only newer firmware has, and one of the VPD twins.
constexpr int missingFiles[] = {7, 32, 33, 36, 39, 42};

// The samples change no text that is merged under the condition.
void makeNewFile() {
    Bytes const sample = readBytes(SAMPLES "/personality-5.3.0.cfg");
    std::string text(sample.begin(), sample.end());
    for (auto const& [from, to] : {std::pair{"\"GROUP_0\"", "\"GROUP_FIRST\""},
                                   std::pair{"\"GROUP_1\"", "\"A_SECOND_GROUP_OF_HOSTS\""}}) {
        text.replace(text.find(from), std::string_view(from).size(), to);
    }
    writeBytes(newFile, Bytes(text.begin(), text.end()));
}

struct Place {
    int file; // by index
    std::size_t offset;
    std::size_t size;
};

// Where the merged fields stand.
std::vector<Place> mergedFields() {
    using namespace vx;
    std::vector<Place> places;
    auto add = [&places](int file, std::size_t record, FieldGroup group) {
        for (const Field& field : group) {
            places.push_back({file, record + field.offset, field.size});
        }
    };
    for (FieldGroup const group :
         {FieldGroup(bridgeSettings), FieldGroup(bridgeDataMigration), FieldGroup(bridgeForced)}) {
        add(1, 64, group);
    }
    add(1, 64 + offsetof(BridgeConfig, cli), cliFields);
    add(1, 2768 + offsetof(MgmtPortSlot, config), mgmtFields);
    for (std::size_t port = 0; port < 6; ++port) {
        constexpr std::size_t params = 3100 + offsetof(PortSlot, params);
        add(1, params + port * sizeof(PortSlot), fcNumbers);
        for (FieldGroup const group :
             {FieldGroup(ipPortNumbers), FieldGroup(portState), FieldGroup(ipv6Numbers)}) {
            add(1, params + (8 + port) * sizeof(PortSlot), group);
        }
    }
    for (std::size_t group = 0; group < 4; ++group) {
        add(20, 64 + group * sizeof(HostGroupConfig), hostGroupSettings);
    }
    return places;
}

// What a child process leaves for its parent.
struct Report {
    OperationLog log;
    int descriptors;
};

using Work = std::function<int()>;

[[noreturn]] void runChild(const Work& prepare, const Work& work, const Fault& fault,
                           Report& report) {
    ::alarm(60); // a hang ends by a signal
    int const out = ::open(UpgradeTest::printed, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(out, STDERR_FILENO);
    systemCalls.shell = runInProcess;
    (void)prepare();
    systemCalls.fault = fault;
    systemCalls.operations = 0;
    systemCalls.operationLog = &report.log;
    int const status = work();
    systemCalls.operationLog = nullptr;
    systemCalls.fault = {};
    close_all_files();
    report.descriptors =
        static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
    std::fflush(stdout);
    ::_exit(status);
}

// The bytes of one side of a file at an instant; empty where it has none.
Bytes at(const Volumes& volumes, const std::string& path, const Place& place) {
    const Volumes::File* const file = volumes.find(path);
    if (file == nullptr || file->bytes.size() < place.offset + place.size) {
        return {};
    }
    auto const begin = file->bytes.begin() + static_cast<std::ptrdiff_t>(place.offset);
    return {begin, begin + static_cast<std::ptrdiff_t>(place.size)};
}

// Files that a whole run and one that was interrupted and repeated may leave different: the
// counter, the marks for the next backup, and the second saved copy, which nothing reads.
bool isLoose(const std::string& path) {
    return path.ends_with("brapp_seqno.cfg") || path == bitmap ||
           path == UpgradeTest::secondSavedCopy;
}

// Migration parameters that cannot be read are moved aside, and made anew.
bool isMovedAside(const std::string& path) {
    return path.starts_with(primary(36) + ".");
}

} // namespace

int runInProcess(const std::string& command) {
    std::string const path = command.substr(command.rfind(' ') + 1);
    if (command.starts_with("cp ")) {
        std::error_code error;
        fs::copy_file(newFile, path, fs::copy_options::overwrite_existing, error);
        return error ? 256 : 0;
    }
    if (command.starts_with("mv -f ")) {
        return std::rename(command.substr(6, command.find(' ', 6) - 6).c_str(), path.c_str());
    }
    return command.starts_with("chmod ") || command.starts_with("mount ") ? 0 : 256;
}

bool longRun() {
    const char* const mode = std::getenv("RELIABILITY");
    return mode != nullptr && std::string_view(mode) == "long";
}

std::vector<Fault> chosen(std::vector<Fault> faults, std::size_t count) {
    std::vector<Fault> some;
    std::sample(faults.begin(), faults.end(), std::back_inserter(some),
                std::min(count, faults.size()), std::mt19937(20260412));
    return some;
}

void UpgradeTest::SetUp() {
    BladeTest::SetUp();
    makeStore();
    fs::copy_file(SAMPLES "/personality-5.2.1.cfg", savedCopy);
    fs::copy_file(SAMPLES "/personality-5.2.1.cfg", secondSavedCopy);
    ASSERT_EQ(vxpmgr_init_lite(), 0);
    ASSERT_EQ(readDefaultConfiguration(), 0);
    BridgeConfig record;
    vxpmgr_GetBridgeConfigInfo(&record);
    record.BridgeLogSize = 9999; // the user's
    std::fill(std::begin(record.opaque656), std::end(record.opaque656), uint8_t{0xA5});
    std::fill(std::begin(record.opaque1100), std::end(record.opaque1100), uint8_t{0x5A});
    ASSERT_EQ(vxpmgr_UpdateBridgeConfigInfo(&record, PSST_WRITE_THROUGH), 0);
    PortEntry port{};
    std::memset(&port.record, 0x3C, sizeof port.record);
    port.prefix.index = 31;
    ASSERT_EQ(WriteBridgeConfigFile(&port, PSST_PORT_CONFIG), 0);
    close_all_files();
    for (int const file : missingFiles) {
        fs::remove(primary(file));
        fs::remove(mirror(file));
    }
    fs::create_directory(workFolder);
    makeNewFile();
    fs::current_path(workFolder);
    start = Volumes::now();
    Run const run = upgrade();
    ASSERT_TRUE(run.reachedEnd());
    operations = run.operations;
    descriptors = run.descriptors;
    end = Volumes::now();
}

void UpgradeTest::TearDown() {
    fs::current_path("/");
    BladeTest::TearDown();
}

bool UpgradeTest::Run::wasCut() const {
    return WIFEXITED(status) && WEXITSTATUS(status) == powerCutStatus;
}

UpgradeTest::Run UpgradeTest::upgrade(const Fault& fault) {
    return run([] { return 0; }, vx::runUpgrade, fault);
}

UpgradeTest::Run UpgradeTest::run(const Work& prepare, const Work& work, const Fault& fault) {
    static auto* const report = static_cast<Report*>(
        ::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    report->log.count = 0;
    report->descriptors = 0;
    std::fflush(stdout);
    pid_t const child = ::fork();
    if (child == 0) {
        runChild(prepare, work, fault, *report);
    }
    Run result{};
    ::waitpid(child, &result.status, 0);
    result.descriptors = report->descriptors;
    result.operations.assign(report->log.entries, report->log.entries + report->log.count);
    return result;
}

void UpgradeTest::expectWhole(const std::string& in) const {
    Volumes const now = Volumes::now();
    for (auto const& [path, file] : now.files()) {
        const Volumes::File* const before = start.find(path);
        const Volumes::File* const after = end.find(path);
        if (before == nullptr) {
            EXPECT_TRUE(path.ends_with(".new") || isMovedAside(path) ||
                        vx::isUnfinished(path.c_str()) || (after != nullptr && file == *after))
                << in << ": " << path << " is new, and neither whole nor refused";
            continue;
        }
        ASSERT_NE(after, nullptr) << path;
        if (path == bitmap || path.ends_with("brapp_seqno.cfg") || file == *before ||
            file == *after) {
            continue;
        }
        ASSERT_EQ(file.bytes.size(), before->bytes.size()) << in << ": " << path;
        for (std::size_t i = 0; i < file.bytes.size(); ++i) {
            ASSERT_TRUE(file.bytes[i] == before->bytes[i] || file.bytes[i] == after->bytes[i])
                << in << ": " << path << " at " << i;
        }
    }
    static const std::vector<Place> fields = mergedFields();
    for (const Place& field : fields) {
        Bytes const before = at(start, primary(field.file), field);
        Bytes const after = at(end, primary(field.file), field);
        ASSERT_FALSE(after.empty());
        bool whole = false;
        for (std::string const& side : {primary(field.file), mirror(field.file)}) {
            Bytes const value = at(now, side, field);
            whole = whole || value == before || value == after;
        }
        EXPECT_TRUE(whole) << in << ": " << primary(field.file) << " at " << field.offset;
    }
}

void UpgradeTest::expectEnd(const std::string& in, uint64_t sequence) const {
    Volumes const now = Volumes::now();
    for (auto const& [path, file] : end.files()) {
        const Volumes::File* const found = now.find(path);
        ASSERT_NE(found, nullptr) << in << ": " << path << " is missing";
        EXPECT_TRUE(isLoose(path) || *found == file) << in << ": " << path;
    }
    for (auto const& [path, file] : now.files()) {
        EXPECT_TRUE(end.find(path) != nullptr || isMovedAside(path))
            << in << ": " << path << " is left over";
    }
    EXPECT_GE(sequenceNumberOnFile(), sequence) << in;
    EXPECT_EQ(readBytes(primary(PSST_SEQUENCE_INDEX)), readBytes(mirror(PSST_SEQUENCE_INDEX)))
        << in;
}
