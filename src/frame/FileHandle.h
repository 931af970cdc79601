// One open file, closed by the destructor. Results are the small file codes of frame/Errors.h
// (3 to 10); the operation that used the file turns them into its own code and text.
#pragma once

#include "frame/BufStr.h"
#include "platform/CodePage.h"

#include <cstdint>

namespace quillon {

class FileHandle {
public:
  FileHandle() = default;
  virtual ~FileHandle() { Close(); }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  bool IsOpen() const { return handle >= 0; }
  void Close();

  // Opens an existing file for reading; a non-zero `offset` then seeks from the start of the
  // file. 3 when the open fails, 8 when the seek fails.
  int OpenRead(const char* path, int64_t offset = 0);
  // Creates the file anew, replacing any old one. 4 when the open fails.
  int OpenCreate(const char* path, uint32_t attributes = 0);
  // Creates the file; fails with 4 if it exists.
  int OpenNew(const char* path);
  // OpenNew, or else the existing file for reading and writing; then seeks to the end.
  // 4 when neither open succeeds, 8 when the seek fails.
  int OpenAppend(const char* path);
  // The same with a wide path, converted to UTF-8 file names.
  int OpenReadW(const WideChar* path, int64_t offset = 0);
  int OpenCreateW(const WideChar* path, uint32_t attributes = 0);
  int OpenNewW(const WideChar* path);
  int OpenAppendW(const WideChar* path);

  // Reads exactly `count` bytes. 5 when closed; 6 on a failure and 10 on a short read, both of
  // which close the handle.
  int ReadExact(void* buffer, int count);
  // Reads up to `count` bytes; `*got` receives how many, 0 at the end of the file. 5 when closed;
  // 6 on a failure, which closes the handle.
  int ReadSome(void* buffer, int count, int* got);
  // Reads the rest of the file into `out`, replacing its content. 5, 6 or 200.
  int ReadAll(BufStrBase& out);
  // Writes a NUL-terminated text, or `count` bytes. 5 when closed; 7 on a failure, which closes
  // the handle.
  int WriteText(const char* text);
  int Write(const void* bytes, int count);
  int64_t Size() const;

private:
  int handle = -1; // the descriptor, or -1 while closed
};

} // namespace quillon
