// The blades that the places of a command line name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tools {

struct BladeName {
    std::string name;
    std::string problem; // why no blade can be there; mostly empty
};

// Gives one after the other: a place that is a file, a folder with nand0 or nand1 in it, or in any
// other folder what it and those below it hold of both, in the order of the names. Links are
// followed, but into no folder that is being searched. "-" reads places from standard input, one a
// line. Only the names in the folders that are being searched are held.
class BladeNames {
  public:
    // Reading of names ends where `isStopped` says so.
    BladeNames(std::vector<std::string> places, std::function<bool()> isStopped);

    // Nothing at the end.
    [[nodiscard]] std::optional<BladeName> next();

  private:
    struct Folder {
        std::string path;
        std::vector<std::string> names; // of its entries, the last one first
        uint64_t device;
        uint64_t inode;
        bool isEmpty; // no blade was found in it
    };

    std::optional<BladeName> nextIn(Folder& folder);
    std::optional<BladeName> visit(const std::string& path);
    std::optional<BladeName> search(const std::string& path);
    std::optional<std::string> nextPlace();
    std::optional<std::string> readLine();

    std::deque<std::string> places_;
    std::function<bool()> isStopped_;
    std::vector<Folder> folders_; // that are being searched, each in the one before
    bool isReading_ = false;      // standard input
    std::string read_;            // of it, without what was given
};

} // namespace tools
