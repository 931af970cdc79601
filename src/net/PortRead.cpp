// The read path. One read event reads until the socket would block:
//   deliver the complete records already buffered; with the buffer full of one unfinished
//   record, deliver it as a piece; honour a close put off during delivery; recv into the free
//   space; on data go round, on end of stream deliver everything (the last piece flagged as no
//   end of record) and close. The gate (acceptData, and no interrupt asked for) is tested after
//   every delivery, since each delivery runs host code. With MaxReceiveDataTime a long burst is
//   cut and continued by a self-posted read event.
#include "net/PortClient.h"

#include "frame/Errors.h"
#include "net/NetErrors.h"

#include <cstdio>

namespace quillon {

int PortClient::ReadSocket(int mode) {
  const int64_t started = inRead && maxReceiveDataTime > 0 ? WallClockMillis() : 0;
  lastRecvError = 0;
  const uint32_t serial = socketSerial;
  const auto gone = [&] { return socketSerial != serial; };
  // False when delivery has to stop. An interrupt leaves bytes in the socket that no event
  // announces any more, so a read is posted for the next wait.
  const auto gate = [&] {
    if (!DeliveryAllowed()) return false;
    if (interruptRequested) {
      PostReadEvent();
      return false;
    }
    return true;
  };
  // A close asked for during a delivery that also shut the gate (a tunnel that gave up) is
  // finished here, since no later read would pass the gate to finish it.
  const auto stop = [&]() -> int {
    if (gone() || !closePending || mode != 0) return errNone;
    inRead = false;
    return CloseSocket(deferredCloseCode);
  };
  char* bytes;
  uint32_t size;
  for (;;) {
    if (socketHandle == platform::kInvalidSocket || gone() || !gate()) return errNone;
    while (lineBuffer.NextRecord(bytes, size)) {
      ArmOnTraffic();
      SocketData(bytes, static_cast<int>(size), true);
      if (gone() || !gate()) return stop();
    }
    char* space;
    uint32_t room;
    if (!lineBuffer.FreeSpace(space, 0, room)) {
      // The buffer holds one unfinished record and no room: it goes out as a piece.
      if (!lineBuffer.TakeAll(bytes, size))
        return errNone; // a buffer without any capacity can read nothing
      ArmOnTraffic();
      if (const int rc = SocketData(bytes, static_cast<int>(size), false); rc != 0) {
        // The read ends early; what still waits in the socket gets an event of its own.
        PostReadEvent();
        return rc;
      }
      if (gone() || !gate()) return stop();
    } else {
      if (closePending && mode == 0) {
        inRead = false;
        return CloseSocket(deferredCloseCode);
      }
      const long n = platform::SocketRecv(socketHandle, space, room);
      if (n < 0) {
        const int error = platform::LastSocketError();
        lastRecvError = error;
        // These are followed by a close event, or mean that nothing more is there now.
        if (error == platform::errWouldBlock || error == platform::errNotSocket ||
            error == platform::errConnectionAborted || error == platform::errConnectionReset)
          return error;
        char text[48];
        std::snprintf(text, sizeof text, "socket error in recv: %d", error);
        ReportError(error, text);
        return error;
      }
      if (n > 0 && RecordsWire()) RecordTraffic(1, space, static_cast<int>(n), nullptr, 0);
      if (n > 0 && tunnel.Negotiating() && tunnel.firewallType <= fwSOCKS5) {
        // CONNECT and SOCKS read their replies as raw chunks, straight from the socket.
        ArmOnTraffic();
        const int rc = tunnel.OnSocketData(space, static_cast<int>(n), false);
        if (closePending && mode == 0) {
          inRead = false;
          return CloseSocket(deferredCloseCode);
        }
        return rc;
      }
      if (n > 0 && mode == 0) {
        lineBuffer.Commit(static_cast<uint32_t>(n));
      } else {
        // End of stream, or the last read before a close: everything goes out now.
        lineBuffer.Commit(static_cast<uint32_t>(n));
        while (lineBuffer.NextRecord(bytes, size)) {
          if (!DeliveryAllowed()) continue;
          ArmOnTraffic();
          SocketData(bytes, static_cast<int>(size), true);
          if (gone()) return errNone;
        }
        if (lineBuffer.TakeAll(bytes, size) && DeliveryAllowed()) {
          ArmOnTraffic();
          SocketData(bytes, static_cast<int>(size), false);
          if (gone()) return errNone;
        }
        if (mode == 1) return errNone;
        if (n == 0) {
          inRead = false;
          return mode != 0 ? errNone : CloseSocket(deferredCloseCode);
        }
      }
    }
    if (started > 0 && WallClockMillis() - started > maxReceiveDataTime) {
      PostReadEvent();
      return errNone;
    }
  }
}

int PortClient::SetAcceptData(bool value) {
  ClearLastError();
  acceptData = value;
  if (connected) {
    if (value) PostReadEvent();
    return errNone;
  }
  if (socketHandle != platform::kInvalidSocket && GetTimeout() >= 0) return ReadSocket(3);
  return errNone;
}

namespace {
int SetTerminatorOf(LineBuffer& buffer, const char* bytes, int length) {
  return buffer.SetTerminator(bytes, length > 0 ? static_cast<uint32_t>(length) : 0) != errNone
             ? errOutOfMemory
             : errNone;
}
} // namespace

int PortClient::SetLineTerminator(const char* bytes, int length) {
  ClearLastError();
  if (SetTerminatorOf(RecordBuffer(), bytes, length) != errNone) return errOutOfMemory;
  // What is buffered is cut again by the new rule.
  if (connected) PostReadEvent();
  return errNone;
}

int PortClient::SetWireTerminator(const char* bytes, int length) {
  if (SetTerminatorOf(lineBuffer, bytes, length) != errNone) return errOutOfMemory;
  if (connected) PostReadEvent();
  return errNone;
}

} // namespace quillon
