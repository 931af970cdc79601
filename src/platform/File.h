// Files for FileHandle: POSIX descriptors behind small functions in the engine's terms. The
// Windows sharing modes have no counterpart here and are not emulated.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillon::platform {

constexpr int kInvalidFile = -1;

// Each returns a descriptor, or kInvalidFile with errno set.
int FileOpenRead(const char* path);
int FileOpenReadWrite(const char* path);                     // the file must exist
int FileCreateAlways(const char* path, uint32_t attributes); // truncates an existing file
int FileCreateNew(const char* path);                         // fails if the file exists

bool FileSeek(int file, int64_t offset, int whence); // whence: 0 start, 1 current, 2 end
int64_t FileSize(int file);                          // -1 on failure
// Reads up to `count` bytes, retrying interrupted calls; -1 on failure, 0 at the end.
long FileRead(int file, void* buffer, size_t count);
// Writes all `count` bytes; false on failure.
bool FileWriteAll(int file, const void* bytes, size_t count);
void FileClose(int file);

} // namespace quillon::platform
