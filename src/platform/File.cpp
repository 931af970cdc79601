#include "platform/File.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillon::platform {

namespace {
constexpr uint32_t kAttributeReadOnly = 0x1; // FILE_ATTRIBUTE_READONLY

int OpenRetrying(const char* path, int flags, mode_t mode) {
  if (!path) return kInvalidFile;
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}
} // namespace

int FileOpenRead(const char* path) {
  return OpenRetrying(path, O_RDONLY, 0);
}

int FileOpenReadWrite(const char* path) {
  return OpenRetrying(path, O_RDWR, 0);
}

int FileCreateAlways(const char* path, uint32_t attributes) {
  const mode_t mode = attributes & kAttributeReadOnly ? 0444 : 0666;
  return OpenRetrying(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int FileCreateNew(const char* path) {
  return OpenRetrying(path, O_WRONLY | O_CREAT | O_EXCL, 0666);
}

bool FileSeek(int file, int64_t offset, int whence) {
  const int mode = whence == 0 ? SEEK_SET : whence == 1 ? SEEK_CUR : SEEK_END;
  return ::lseek(file, static_cast<off_t>(offset), mode) >= 0;
}

int64_t FileSize(int file) {
  struct stat info;
  if (::fstat(file, &info) != 0) return -1;
  return static_cast<int64_t>(info.st_size);
}

long FileRead(int file, void* buffer, size_t count) {
  ssize_t n;
  do {
    n = ::read(file, buffer, count);
  } while (n < 0 && errno == EINTR);
  return static_cast<long>(n);
}

bool FileWriteAll(int file, const void* bytes, size_t count) {
  const char* p = static_cast<const char*>(bytes);
  while (count > 0) {
    ssize_t n = ::write(file, p, count);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    count -= static_cast<size_t>(n);
  }
  return true;
}

void FileClose(int file) {
  if (file >= 0) ::close(file);
}

} // namespace quillon::platform
