#include "tools/blade/backup.h"

#include "tools/blade/archive.h"
#include "tools/blade/members.h"
#include "tools/blade/store_files.h"
#include "upgrade/driver.h"

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace tools {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t sumLength = 64;               // hexadecimal digits
constexpr uint64_t largestFile = uint64_t{1} << 28; // far more than any file of a store has

std::string memberOf(const std::string& path) {
    return path.substr(1);
}

// --- Writing.

// What tells whether a file was changed meanwhile.
using Still = std::vector<FileStatus>;

Still stateOf(const Place& place) {
    Still state;
    for (const std::string& path : storeFiles()) {
        state.push_back(place.statusOf(path));
    }
    return state;
}

using Members = std::map<std::string, std::string>; // by path

// The sums of all files that are there, as their member.
std::string sumsOf(const Place& place, const Members& ofBlade) {
    std::string sums;
    for (auto const& [path, content] : ofBlade) {
        sums += sha256(content) + "  " + memberOf(path) + "\n";
    }
    for (const std::string& path : storeFiles()) {
        FileStatus const status = place.statusOf(path);
        if (status.kind == FileKind::other) {
            throw std::runtime_error(place.nameOf(path) + " is no regular file");
        }
        if (status.kind == FileKind::regular) {
            sums += sha256(place.read(path)) + "  " + memberOf(path) + "\n";
        }
    }
    return sums;
}

// False where a file is not what the sums say.
bool addFiles(const Place& place, const Members& ofBlade, const std::string& sums,
              ArchiveWriter& archive, BackupReport& report) {
    archive.add({.name = sumsMember, .size = sums.size(), .mode = 0644}, sums);
    for (auto const& [path, content] : ofBlade) {
        archive.add({memberOf(path), content.size(), 0644}, content);
    }
    for (const std::string& path : storeFiles()) {
        FileStatus const status = place.statusOf(path);
        if (status.kind != FileKind::regular) {
            continue;
        }
        std::string const content = place.read(path);
        if (sums.find(sha256(content) + "  " + memberOf(path) + "\n") == std::string::npos) {
            return false;
        }
        archive.add({memberOf(path), content.size(), status.mode}, content);
        report.files += 1;
        report.bytes += content.size();
    }
    return true;
}

// One try; nothing where a program changed a file meanwhile.
std::optional<BackupReport> tryBackup(const Place& place, bool isBlade, const fs::path& file) {
    Still const before = stateOf(place);
    Members const ofBlade = bladeMembers(place, isBlade);
    std::string const sums = sumsOf(place, ofBlade);
    BackupReport report;
    ArchiveWriter archive(file);
    if (!addFiles(place, ofBlade, sums, archive, report) || stateOf(place) != before) {
        return {};
    }
    archive.finish();
    report.archiveSize = fs::file_size(file);
    return report;
}

// Removes what an attempt left, unless it got its name.
class Unfinished {
  public:
    explicit Unfinished(fs::path path) : path_(std::move(path)) {}
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;
    ~Unfinished() {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }

  private:
    fs::path path_;
};

// --- Reading.

// Of what is passed this much is kept, which is all of the files that hold settings; of a larger
// file that was asked for only so much that its header is there.
constexpr std::size_t keptSize = std::size_t{1} << 16;
constexpr std::size_t headSize = 4096;

class Backup : public Place {
  public:
    explicit Backup(fs::path file) : file_(std::move(file)) {
        restart();
        std::istringstream lines(sums_);
        for (std::string line; std::getline(lines, line);) {
            addSum(line);
        }
    }

    [[nodiscard]] FileStatus statusOf(const std::string& path) const override {
        return sumOf_.contains(path) ? reach(path, 0).status : FileStatus{};
    }

    [[nodiscard]] std::string read(const std::string& path, std::size_t limit) const override {
        if (!sumOf_.contains(path)) {
            throw std::runtime_error(nameOf(path) + " is not in the backup");
        }
        Member& member = reach(path, limit);
        if (limit >= member.status.size && !member.isChecked) {
            check(path, member);
        }
        return member.content.substr(0, limit);
    }

    void verify(const std::string& path) const override {
        if (sumOf_.contains(path)) {
            (void)read(path, SIZE_MAX);
        }
    }

    [[nodiscard]] std::vector<std::string> files() const override { return paths_; }

    // A blade whose volumes are missing gives no backup.
    [[nodiscard]] bool hasVolume(const std::string& /*volume*/) const override { return true; }

    [[nodiscard]] std::string nameOf(const std::string& path) const override {
        return file_.string() + ":" + path;
    }

  private:
    struct Member {
        FileStatus status;
        std::string content; // its first bytes
        bool isChecked = false;
    };

    void restart() const {
        reader_.emplace(file_);
        auto const first = reader_->next();
        if (!first || first->name != sumsMember || first->size > largestFile) {
            throw std::runtime_error(file_.string() + " is no backup of a blade");
        }
        sums_ = reader_->read(first->size);
    }

    // Only files that a store may have are taken from an archive, each once.
    void addSum(const std::string& line) {
        std::string const path = "/" + line.substr(std::min(line.size(), sumLength + 2));
        bool const isOfStore = std::ranges::find(storeFiles(), path) != storeFiles().end();
        bool const isKnown = isOfStore || path == identityMember || path == environmentMember;
        if (!isKnown || !sumOf_.emplace(path, line.substr(0, sumLength)).second) {
            throw std::runtime_error(file_.string() + " is no backup of a blade: \"" + line +
                                     "\" is not one of its files");
        }
        if (isOfStore) {
            paths_.push_back(path);
        }
    }

    // A file of which at least `wanted` bytes, or all, are there.
    Member& reach(const std::string& path, std::size_t wanted) const {
        auto const isEnough = [wanted](const Member& member) {
            return member.content.size() >= std::min<uint64_t>(wanted, member.status.size);
        };
        auto const known = members_.find(path);
        if (known != members_.end() && isEnough(known->second)) {
            return known->second;
        }
        try {
            if (known != members_.end()) {
                restart(); // it was passed
            }
            return find(path, wanted);
        } catch (const std::runtime_error& error) {
            throw DamagedCopy(error.what());
        }
    }

    Member& find(const std::string& path, std::size_t wanted) const {
        while (auto const next = reader_->next()) {
            std::string const name = "/" + next->name;
            Member& member = members_[name];
            if (!sumOf_.contains(name) || next->size > largestFile) {
                throw std::runtime_error(nameOf(name) + " does not belong into a backup");
            }
            std::size_t const kept = name != path            ? keptSize
                                     : next->size > keptSize ? std::max(headSize, wanted)
                                                             : next->size;
            member.status = {FileKind::regular, next->size, next->mode, 0};
            member.content = reader_->read(std::min<uint64_t>(kept, next->size));
            member.isChecked = false;
            if (name == path) {
                return member;
            }
        }
        throw std::runtime_error(nameOf(path) + " is missing: the backup is not whole");
    }

    void check(const std::string& path, Member& member) const {
        if (sha256(member.content) != sumOf_.at(path)) {
            throw DamagedCopy(nameOf(path) + " is damaged: it does not match its sum");
        }
        member.isChecked = true;
    }

    fs::path file_;
    std::map<std::string, std::string> sumOf_; // by path
    std::vector<std::string> paths_;
    mutable std::optional<ArchiveReader> reader_;
    mutable std::string sums_;
    mutable std::map<std::string, Member> members_; // what was passed
};

} // namespace

BackupReport writeBackup(const Place& place, bool isBlade, const fs::path& file) {
    constexpr int tries = 3;
    vx::Descriptor const turn = isBlade ? vx::waitForTurn() : vx::Descriptor();
    fs::path const part = file.string() + ".part";
    Unfinished const unfinished(part);
    for (int count = 0; count < tries; ++count) {
        if (auto const report = tryBackup(place, isBlade, part)) {
            if (report->files == 0) {
                throw std::runtime_error("there is no file of a store");
            }
            fs::rename(part, file);
            return *report;
        }
    }
    throw std::runtime_error("a program changes the store all the time: stop it first");
}

std::unique_ptr<Place> openBackup(const fs::path& file) {
    return std::make_unique<Backup>(file);
}

} // namespace tools
