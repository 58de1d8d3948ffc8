#include "tools/survey/blade_names.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tools {

namespace {

namespace fs = std::filesystem;

bool isBladesFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(path + "/nand0", ignored) || fs::is_directory(path + "/nand1", ignored);
}

} // namespace

BladeNames::BladeNames(std::vector<std::string> places, std::function<bool()> isStopped)
    : places_(std::make_move_iterator(places.begin()), std::make_move_iterator(places.end())),
      isStopped_(std::move(isStopped)) {}

std::optional<BladeName> BladeNames::next() {
    while (!isStopped_()) {
        std::optional<BladeName> found;
        if (!folders_.empty()) {
            found = nextIn(folders_.back());
        } else if (auto const place = nextPlace()) {
            found = visit(*place);
        } else {
            return {};
        }
        if (found) {
            for (Folder& folder : folders_) {
                folder.isEmpty = false;
            }
            return found;
        }
    }
    return {};
}

// The next of the last folder; nothing where that was its end or another folder begins.
std::optional<BladeName> BladeNames::nextIn(Folder& folder) {
    if (!folder.names.empty()) {
        std::string const path = folder.path + "/" + folder.names.back();
        folder.names.pop_back();
        return visit(path);
    }
    Folder const ended = std::move(folder);
    folders_.pop_back();
    if (ended.isEmpty && folders_.empty()) {
        return BladeName{ended.path, "there is neither a backup nor a folder of volumes in it"};
    }
    return {};
}

std::optional<BladeName> BladeNames::visit(const std::string& path) {
    std::error_code ignored;
    if (!fs::is_directory(path, ignored) || isBladesFolder(path)) {
        return BladeName{path, ""};
    }
    return search(path);
}

std::optional<BladeName> BladeNames::search(const std::string& path) {
    struct stat status {};
    std::error_code error;
    fs::directory_iterator entries(path, error);
    if (error || ::stat(path.c_str(), &status) != 0) {
        return BladeName{path, "cannot be searched: " + error.message()};
    }
    if (std::ranges::any_of(folders_, [&](const Folder& outer) {
            return outer.device == status.st_dev && outer.inode == status.st_ino;
        })) {
        return {}; // a link to where the search is already
    }
    bool const isRoot = path.ends_with('/');
    Folder folder{
        isRoot ? path.substr(0, path.size() - 1) : path, {}, status.st_dev, status.st_ino, true};
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        folder.names.push_back(entries->path().filename().string());
    }
    std::ranges::sort(folder.names, std::greater<>());
    folders_.push_back(std::move(folder));
    return error ? std::optional(BladeName{path, "cannot be searched: " + error.message()})
                 : std::nullopt;
}

std::optional<std::string> BladeNames::nextPlace() {
    if (isReading_) {
        if (auto line = readLine()) {
            return line;
        }
        isReading_ = false;
    }
    if (places_.empty()) {
        return {};
    }
    std::string place = std::move(places_.front());
    places_.pop_front();
    if (place == "-") {
        isReading_ = true;
        return nextPlace();
    }
    return place;
}

// A line that is not empty. Waits by pieces, so that a stop is noticed whichever thread a signal
// interrupts.
std::optional<std::string> BladeNames::readLine() {
    constexpr int patience = 100; // ms
    bool isEnd = false;
    while (!isStopped_()) {
        std::size_t const end = read_.find('\n');
        if (end != std::string::npos || (isEnd && !read_.empty())) {
            std::string line = read_.substr(0, end);
            read_.erase(0, end == std::string::npos ? end : end + 1);
            if (line.empty()) {
                continue;
            }
            return line;
        }
        if (isEnd) {
            return {};
        }
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, 1, patience) <= 0) {
            continue;
        }
        std::array<char, 65536> piece;
        ssize_t const got = ::read(STDIN_FILENO, piece.data(), piece.size());
        read_.append(piece.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        isEnd = got == 0 || (got < 0 && errno != EINTR);
    }
    return {};
}

} // namespace tools
