// The content of a simulated blade's volumes: remembered, compared and brought back.
#pragma once

#include "tests/support/blade_files.h"

#include <map>
#include <memory>
#include <string>

class Volumes {
  public:
    // What a file holds. Of one that is large, and that nothing here may touch, which file it is
    // and when it was last written.
    struct File {
        Bytes bytes;
        std::array<int64_t, 4> identity{};
        [[nodiscard]] bool isLarge() const { return identity[0] != 0; }
        bool operator==(const File&) const = default;
    };

    // The volumes as they are now.
    [[nodiscard]] static Volumes now();
    // Makes the volumes hold these files and no others.
    void restore() const;
    // These volumes with other files; the large ones stay.
    [[nodiscard]] Volumes
    with(const std::map<std::string, std::shared_ptr<const Bytes>>& files) const;

    [[nodiscard]] const File* find(const std::string& path) const;
    [[nodiscard]] const std::map<std::string, File>& files() const { return files_; }

  private:
    std::map<std::string, File> files_;
};
