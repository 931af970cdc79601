// The end of the Config chain, the error helpers and the traffic log.
#include "frame/ComponentCore.h"

#include "frame/Errors.h"
#include "frame/FileHandle.h"
#include "frame/Text.h"
#include "platform/Clock.h"
#include "platform/CodePage.h"
#include "platform/SystemError.h"

#include <cinttypes>
#include <cstdio>

namespace quillon {

namespace {
struct SocketErrorRow {
  int code;
  const char* text;
};

// Socket errors keep the Windows numbers on every platform.
constexpr SocketErrorRow kSocketErrors[] = {
    {10004, "Interrupted system call"},
    {10009, "Bad file number"},
    {10013, "Access denied"},
    {10014, "Bad address"},
    {10022, "Invalid argument"},
    {10024, "Too many open files"},
    {10035, "Operation would block"},
    {10036, "Operation now in progress"},
    {10037, "Operation already in progress"},
    {10038, "Socket operation on non-socket"},
    {10039, "Destination address required"},
    {10040, "Message too long"},
    {10041, "Protocol wrong type for socket"},
    {10042, "Bad protocol option"},
    {10043, "Protocol not supported"},
    {10044, "Socket type not supported"},
    {10045, "Operation not supported on socket"},
    {10046, "Protocol family not supported"},
    {10047, "Address family not supported by protocol family"},
    {10048, "Address already in use"},
    {10049, "Can't assign requested address"},
    {10050, "Network is down"},
    {10051, "Network is unreachable"},
    {10052, "Net dropped connection or reset"},
    {10053, "Software caused connection abort"},
    {10054, "Connection reset by peer"},
    {10055, "No buffer space available"},
    {10056, "Socket is already connected"},
    {10057, "Socket is not connected"},
    {10058, "Can't send after socket shutdown"},
    {10059, "Too many references, can't splice"},
    {10060, "Connection timed out"},
    {10061, "Connection refused"},
    {10062, "Too many levels of symbolic links"},
    {10063, "File name too long"},
    {10064, "Host is down"},
    {10065, "No route to host"},
    {10066, "Directory not empt"},
    {10067, "Too many processes"},
    {10068, "Too many users"},
    {10069, "Disc Quota Exceeded"},
    {10070, "Stale NFS file handle"},
    {10071, "Too many levels of remote in path"},
    {10091, "Network subsystem is unavailable"},
    {10092, "WINSOCK DLL Version out of range"},
    {10093, "Winsock not loaded yet (WSANOTINITIALISED)"},
    {11001, "Host not found"},
    {11002, "Non-authoritative 'Host not found' (try again or check DNS setup)"},
    {11003, "Non-recoverable errors: FORMERR, REFUSED, NOTIMP"},
    {11004, "Valid name, no data record (check DNS setup)"},
    {0, nullptr},
};

const char* SocketErrorText(int code) {
  for (const SocketErrorRow* row = kSocketErrors; row->code; ++row)
    if (row->code == code) return row->text;
  return nullptr;
}
} // namespace

void ComponentCore::SetErrorParts(const char* a, const char* b, const char* c, const char* d) {
  ClearLastError();
  lastError.AppendText(a);
  lastError.AppendText(b);
  lastError.AppendText(c);
  lastError.AppendText(d);
}

void ComponentCore::SetErrorNumbered(const char* prefix, int64_t number, const char* suffix) {
  ClearLastError();
  lastError.AppendText(prefix);
  lastError.AppendDecimal(number);
  lastError.AppendText(suffix);
}

void ComponentCore::SetErrorHex(const char* text, uint32_t number, const char* suffix) {
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%x", number);
  lastError.Assign(text);
  lastError.AppendText(hex);
  lastError.AppendText(suffix);
}

void ComponentCore::SetErrorSystem(const char* text) {
  char number[32];
  std::snprintf(number, sizeof number, " (error 0x%x).",
                static_cast<uint32_t>(platform::LastSystemError()));
  lastError.Assign(text);
  lastError.AppendText(number);
}

int ComponentCore::DescribeError(int code) {
  if (code == 0) return 0;
  if (code == 301) {
    lastError.Assign("Interrupted.");
    return code;
  }
  if (code == 200) {
    lastError.Assign("Out of memory.");
    return code;
  }
  if (!lastError.IsEmpty()) return code;
  lastError.AppendChar('[');
  lastError.AppendDecimal(code);
  lastError.AppendText("] ");
  const char* text = SocketErrorText(code);
  lastError.AppendText(text ? text : "(no description available)");
  return code;
}

void ComponentCore::ResetCore() {
  ClearLastError();
  charsetMode = DefaultCodePage() == 932 ? 1 : 0;
}

int ComponentCore::ConfigText(const char* text, const char** result) {
  const char* ignored;
  if (!result) result = &ignored;
  *result = "";
  ConfigRequest request;
  if (int rc = request.Parse(text); rc != errNone) return rc;
  return Config(request, result);
}

int ComponentCore::Config(ConfigRequest& request, const char** result) {
  const BufStrBase& name = request.name;
  if (EqualsNoCase(name.View(), "CodePage")) {
    if (request.isGet) return ReturnSigned(result, codePage);
    codePage = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
    return errNone;
  }
  if (EqualsNoCase(name.View(), "CharsetMode")) {
    if (request.isGet) return ReturnSigned(result, charsetMode);
    charsetMode = static_cast<int8_t>(ParseConfigNumber(request.value.Data()));
    return errNone;
  }
  if (EqualsNoCase(name.View(), "LogDebugFile")) {
    if (request.isGet) return ReturnText(result, logFile);
    if (logFile.Assign(request.value) != errNone) return errOutOfMemory;
    logEnabled = !logFile.IsEmpty();
    return errNone;
  }
  if (EqualsNoCase(name.View(), "LogDebugOption")) {
    if (request.isGet) return ReturnUnsigned(result, logOption);
    logOption = static_cast<uint32_t>(ParseConfigNumber(request.value.Data()));
    return errNone;
  }
  if (EqualsNoCase(name.View(), "LastError")) {
    if (request.isGet) return ReturnText(result, lastError);
    return errNone;
  }
  *result = "";
  return Fail(errUnknownConfig, "Unknown config setting.");
}

int ComponentCore::ReturnText(const char** out, const char* text) {
  int rc = configResult.Assign(text);
  *out = configResult.Data();
  return rc;
}

int ComponentCore::ReturnText(const char** out, const BufStrBase& text) {
  int rc = configResult.Assign(text);
  *out = configResult.Data();
  return rc;
}

int ComponentCore::ReturnUnsigned(const char** out, uint32_t value) {
  return ReturnInt64(out, static_cast<int64_t>(value));
}

int ComponentCore::ReturnSigned(const char** out, int32_t value) {
  return ReturnInt64(out, static_cast<int64_t>(value));
}

int ComponentCore::ReturnInt64(const char** out, int64_t value) {
  char digits[40];
  FormatInt64(value, digits);
  return ReturnText(out, digits);
}

int ComponentCore::LogTraffic(const char* label, const char* bytes, int count) {
  if (!logEnabled) return errNone;
  const platform::LocalTime now = platform::GetLocalTime();
  char stamp[64];
  std::snprintf(stamp, sizeof stamp, "[%04d/%02d/%02d %02d:%02d:%02d] ", now.year, now.month,
                now.day, now.hour, now.minute, now.second);
  BufStr head;
  head.AppendChar('[');
  head.AppendDecimal(static_cast<int64_t>(reinterpret_cast<uintptr_t>(this)));
  head.AppendChar(']');
  head.AppendText(stamp);
  head.AppendText("------");
  head.AppendText(label);
  head.AppendText("------(");
  head.AppendDecimal(count);
  head.AppendText(" bytes)\r\n");

  FileHandle file;
  if (int rc = file.OpenAppend(logFile.Data()); rc != errNone) return rc;
  if (file.Write(head.Data(), head.Length()) != errNone) return errFileWrite;
  if (logOption & 1) {
    BufStr dump;
    if (HexDump(bytes, count, dump) != errNone) return errOutOfMemory;
    if (file.Write(dump.Data(), dump.Length()) != errNone) return errFileWrite;
  } else if (file.Write(bytes, count) != errNone) {
    return errFileWrite;
  }
  if (file.Write("\r\n", 2) != errNone) return errFileWrite;
  return errNone;
}

} // namespace quillon
