// Recording what crosses the connection: the traffic records of LogDebugFile and the script of
// RecordToFile, a Tcl `expect` script that plays the peer. What the engine received becomes a
// `send -nonewline` command, what it sent an `expect -exact` command, each quoted:
//   NUL -> \000; CR, LF and printable ASCII as they are, with a backslash in front of \ $ " { } [
//   ]; every other byte -> a backslash and three octal digits.
#include "net/SocketCore.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
int AppendEscaped(BufStrBase& out, const char* bytes, int length) {
  int rc = errNone;
  for (int i = 0; i < length; ++i) {
    const uint8_t byte = static_cast<uint8_t>(bytes[i]);
    if (byte == 0) {
      rc |= out.Append("\\000", 4);
    } else if (byte == '\r' || byte == '\n' || (byte >= 32 && byte <= 126)) {
      switch (byte) {
      case '\\':
      case '$':
      case '"':
      case '{':
      case '}':
      case '[':
      case ']':
        rc |= out.AppendChar('\\');
        break;
      default:
        break;
      }
      rc |= out.AppendChar(static_cast<char>(byte));
    } else {
      const char octal[4] = {'\\', static_cast<char>('0' + (byte >> 6)),
                             static_cast<char>('0' + ((byte >> 3) & 7)),
                             static_cast<char>('0' + (byte & 7))};
      rc |= out.Append(octal, 4);
    }
  }
  return rc != errNone ? errOutOfMemory : errNone;
}
} // namespace

int SocketCore::OpenRecordFile() {
  recordFile.Close();
  if (recordToFile.IsEmpty()) return -1;
  return recordFile.OpenCreate(recordToFile.Data());
}

int SocketCore::RecordTraffic(int direction, const char* bytes, int length, const char* tailBytes,
                              int tailLength) {
  // Bit 1 of LogDebugOption keeps the traffic out of the log.
  if (logEnabled && !(logOption & 2))
    LogTraffic(direction == 0 ? "SEND" : "RECEIVE", bytes, length);
  if (!recordFile.IsOpen()) return errNone;
  BufStr command;
  command.AppendText(direction == 0 ? "\r\nexpect -exact \"" : "\r\nsend -nonewline \"");
  if (AppendEscaped(command, bytes, length) != errNone ||
      AppendEscaped(command, tailBytes, tailLength) != errNone)
    return errOutOfMemory;
  command.AppendText("\"\r\n");
  return recordFile.Write(command.Data(), command.Length());
}

} // namespace quillon
