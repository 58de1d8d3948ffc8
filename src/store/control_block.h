// The control block's descriptors, and the tables' memory.
#pragma once

#include <vxblade/control_block.h>

#include <cstddef>
#include <cstdint>

namespace vx {

// The open descriptor of a file index; 0 or -1 where there is none.
[[nodiscard]] int descriptorOf(int fileIndex);

// True where the store is open for reading alone, with errno EROFS. Whatever writes a file or
// changes a table on its caller's word asks first.
[[nodiscard]] bool refusesWrites();

// Opens the file of an index (O_SYNC added to `flags`); -1 on failure. Where writes are refused it
// is opened for reading whatever `flags` say.
[[nodiscard]] int openPsstFile(int fileIndex, int flags);

// Puts a descriptor into the slot of its file, a failed one too, and closes what was there. For
// initialisation and the repairs that are part of it.
void keepDescriptor(int fileIndex, int fd);

// Opens the file of an index into its slot; 0 or -1. A slot that failed stays failed.
[[nodiscard]] int openIntoSlot(int fileIndex, int flags);

// Closes the file of an index and marks the slot as not open, unless it failed.
void closeDescriptor(int fileIndex);

// Closes the file of an index after a failed transfer. The slot becomes -1, so that nobody takes
// the number for this file again, whatever file the kernel gives it to next.
void failDescriptor(int fileIndex);

// What a table is known to hold.
enum class Content : uint8_t { any, zeros };

// Copies `size` bytes where they differ from what is there. Tables and most of their files hold
// zeros: a page that is not written costs no memory, and one that need not even be looked at,
// because it is known to be zeros, costs no page fault.
void copyChanged(void* to, const void* from, std::size_t size, Content content);

} // namespace vx
