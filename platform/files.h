// Whole small files of the stand-ins.
#pragma once

#include <cstddef>

namespace vxplatform {

// Replaces the file at `path` by `size` bytes, so that a power cut leaves the old or the new
// content: written beside it, synced, renamed, the folder synced. 0 or -1.
[[nodiscard]] int replaceFile(const char* path, const void* data, std::size_t size);

// Writes `size` bytes at the start of the file, made where it is missing, and keeps the rest. 0 or
// -1.
[[nodiscard]] int overwriteStart(const char* path, const void* data, std::size_t size);

// Reads up to `size` bytes; the count, or -1 where the file cannot be read.
[[nodiscard]] int readFile(const char* path, void* data, std::size_t size);

// Removes the file, durably. 0 or -1.
int removeFile(const char* path);

} // namespace vxplatform
