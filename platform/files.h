// Whole small files of the stand-ins.
#pragma once

#include <cstddef>

namespace vxplatform {

// Replaces the file at `path` by `size` bytes, so that a power cut leaves the old or the new
// content: written beside it, synced, renamed. 0 or -1.
[[nodiscard]] int replaceFile(const char* path, const void* data, std::size_t size);

// Reads up to `size` bytes; the count, or -1 where the file cannot be read.
[[nodiscard]] int readFile(const char* path, void* data, std::size_t size);

} // namespace vxplatform
