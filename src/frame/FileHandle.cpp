#include "frame/FileHandle.h"

#include "frame/Errors.h"
#include "platform/File.h"

#include <cstring>

namespace quillon {

namespace {
// Converts a wide path to bytes; an unconvertible path opens nothing.
bool WidePath(BufStr& out, const WideChar* path) {
  if (WideToBytes(out, path, kUtf8CodePage) != errNone) return false;
  return true;
}
} // namespace

void FileHandle::Close() {
  platform::FileClose(handle);
  handle = -1;
}

int FileHandle::OpenRead(const char* path, int64_t offset) {
  Close();
  handle = platform::FileOpenRead(path);
  if (handle < 0) return errFileOpenRead;
  if (offset != 0 && !platform::FileSeek(handle, offset, 1)) {
    Close();
    return errFileSeek;
  }
  return errNone;
}

int FileHandle::OpenCreate(const char* path, uint32_t attributes) {
  Close();
  handle = platform::FileCreateAlways(path, attributes);
  return handle < 0 ? errFileOpenWrite : errNone;
}

int FileHandle::OpenNew(const char* path) {
  Close();
  handle = platform::FileCreateNew(path);
  return handle < 0 ? errFileOpenWrite : errNone;
}

int FileHandle::OpenAppend(const char* path) {
  if (OpenNew(path) == errNone) return errNone;
  handle = platform::FileOpenReadWrite(path);
  if (handle < 0) return errFileOpenWrite;
  if (!platform::FileSeek(handle, 0, 2)) {
    Close();
    return errFileSeek;
  }
  return errNone;
}

int FileHandle::OpenReadW(const WideChar* path, int64_t offset) {
  BufStr bytes;
  return WidePath(bytes, path) ? OpenRead(bytes.Data(), offset) : errFileOpenRead;
}

int FileHandle::OpenCreateW(const WideChar* path, uint32_t attributes) {
  BufStr bytes;
  return WidePath(bytes, path) ? OpenCreate(bytes.Data(), attributes) : errFileOpenWrite;
}

int FileHandle::OpenNewW(const WideChar* path) {
  BufStr bytes;
  return WidePath(bytes, path) ? OpenNew(bytes.Data()) : errFileOpenWrite;
}

int FileHandle::OpenAppendW(const WideChar* path) {
  BufStr bytes;
  return WidePath(bytes, path) ? OpenAppend(bytes.Data()) : errFileOpenWrite;
}

int FileHandle::ReadExact(void* buffer, int count) {
  if (handle < 0) return errFileClosed;
  char* p = static_cast<char*>(buffer);
  int done = 0;
  while (done < count) {
    long n = platform::FileRead(handle, p + done, static_cast<size_t>(count - done));
    if (n < 0) {
      Close();
      return errFileRead;
    }
    if (n == 0) {
      Close();
      return errFileShortRead;
    }
    done += static_cast<int>(n);
  }
  return errNone;
}

int FileHandle::ReadSome(void* buffer, int count, int* got) {
  *got = 0;
  if (handle < 0) return errFileClosed;
  const long n = platform::FileRead(handle, buffer, static_cast<size_t>(count < 0 ? 0 : count));
  if (n < 0) {
    Close();
    return errFileRead;
  }
  *got = static_cast<int>(n);
  return errNone;
}

int FileHandle::ReadAll(BufStrBase& out) {
  if (handle < 0) return errFileClosed;
  out.Resize(0, nullptr);
  const int64_t size = platform::FileSize(handle);
  int chunk = size > 0 && size < 0x7FFF0000 ? static_cast<int>(size) + 1 : 65536;
  while (true) {
    const int start = out.Length();
    if (static_cast<long long>(start) + chunk >= 0x7FFFFFFF) return errOutOfMemory;
    if (out.Resize(start + chunk, nullptr) != errNone) return errOutOfMemory;
    long n = platform::FileRead(handle, out.Data() + start, static_cast<size_t>(chunk));
    if (n < 0) {
      out.Resize(start, nullptr);
      Close();
      return errFileRead;
    }
    out.Resize(start + static_cast<int>(n), nullptr);
    if (n == 0) return errNone;
    chunk = 65536;
  }
}

int FileHandle::WriteText(const char* text) {
  return Write(text, text ? static_cast<int>(std::strlen(text)) : 0);
}

int FileHandle::Write(const void* bytes, int count) {
  if (handle < 0) return errFileClosed;
  if (count > 0 && !platform::FileWriteAll(handle, bytes, static_cast<size_t>(count))) {
    Close();
    return errFileWrite;
  }
  return errNone;
}

int64_t FileHandle::Size() const {
  return handle < 0 ? -1 : platform::FileSize(handle);
}

} // namespace quillon
