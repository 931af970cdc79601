// WaitStep, one step of every blocking wait:
//   1. an interrupt asked for ends the wait ("Interrupted.");
//   2. window-message mode: dispatch one message (a quit is posted again and ends the wait, a
//      close ends it after dispatch), or with none wait up to the step's time for one;
//      poll mode: one SelectPump round;
//   3. an interrupt asked for by an event handler ends the wait;
//   4. a deadline that has passed ends it ("Timeout.");
//   5. the wait goes on while the window exists.
// Both modes raise the same socket events through HandleSocketMessage on the caller's thread.
#include "net/SocketCore.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "net/NetErrors.h"
#include "platform/Ticks.h"

#include <cstdio>
#include <cstring>

namespace quillon {

namespace {
int32_t ConfigNumber(const ConfigRequest& request) {
  return static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
}

bool ConfigFlag(const ConfigRequest& request) {
  return IsTrueText(request.value.Data());
}

bool IsAnyAddress(const platform::IPv6Address& address) {
  for (uint8_t byte : address.address)
    if (byte != 0) return false;
  return true;
}
} // namespace

SocketCore::SocketCore() {
  ResetCore();
  sslProvider.Assign("Microsoft Unified Security Protocol Provider");
  windowHandle = platform::CreateMessageWindow(&WindowProcedure, this);
}

SocketCore::~SocketCore() {
  if (windowHandle) platform::DestroyMessageWindow(windowHandle);
}

int SocketCore::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  const bool get = request.isGet;
  if (EqualsNoCase(name, "SelectWaitMillis")) {
    if (get) return ReturnSigned(result, selectWaitMillis);
    selectWaitMillis = ConfigNumber(request);
    return errNone;
  }
  if (EqualsNoCase(name, "AbsoluteTimeout")) {
    if (get) return ReturnFlag(result, absoluteTimeout);
    absoluteTimeout = ConfigFlag(request);
    return errNone;
  }
  if (EqualsNoCase(name, "TimeoutInMilliseconds")) {
    if (get) return ReturnSigned(result, timeoutInMilliseconds ? 1 : 0);
    // The number that Timeout shows stays; only its unit changes.
    const int shown = GetTimeout();
    timeoutInMilliseconds = ConfigFlag(request) ? 1 : 0;
    SetTimeout(shown, true);
    return errNone;
  }
  if (EqualsNoCase(name, "WinsockStatus")) {
    if (get) return ReturnSigned(result, platform::SocketsStartupStatus());
    return errNone;
  }
  if (EqualsNoCase(name, "IgnoreExternalEvents")) {
    if (get) return ReturnFlag(result, ignoreExternalEvents);
    ignoreExternalEvents = ConfigFlag(request);
    return errNone;
  }
  if (EqualsNoCase(name, "IgnoreOtherWindowEvents")) {
    if (get) return ReturnFlag(result, ignoreOtherWindowEvents);
    ignoreOtherWindowEvents = ConfigFlag(request);
    return errNone;
  }
  if (EqualsNoCase(name, "WinsockVersion")) {
    if (get) {
      const uint16_t version = platform::SocketsVersion();
      char text[16];
      std::snprintf(text, sizeof text, "%d.%d", version & 0xFF, version >> 8);
      return ReturnText(result, text);
    }
    return errNone;
  }
  if (EqualsNoCase(name, "UseWindowsMessages")) {
    if (get) return ReturnSigned(result, useWindowsMessages ? 1 : 0);
    return SetUseWindowsMessages(ConfigFlag(request));
  }
  if (EqualsNoCase(name, "UseIPv6")) {
    if (get) return ReturnFlag(result, useIPv6);
    useIPv6 = ConfigFlag(request);
    return errNone;
  }
  bool handled = false;
  const int rc = StoredConfig(request, result, handled);
  return handled ? rc : ComponentCore::Config(request, result);
}

int SocketCore::AsyncSelect(platform::SocketId s, platform::WindowId window, uint32_t message,
                            uint32_t mask) {
  selectSocket = s;
  selectMessage = message;
  selectMask = mask;
  if (useWindowsMessages) {
    const platform::WindowId before = windowHandle;
    EnsureWindowHere();
    if (window == before) window = windowHandle;
    return platform::AsyncSelectSocket(s, window, message, mask);
  }
  if (mask != 0) platform::SocketSetNonBlocking(s);
  return errNone;
}

intptr_t SocketCore::HandleSocketMessage(uint32_t, uintptr_t, intptr_t) {
  // A message window on Linux has no default handling: whatever reaches this link is ignored,
  // as are, with ignoreExternalEvents, the messages that a host's loop brings outside a wait.
  return 0;
}

const char* SocketCore::GetLocalHost() {
  localHostName.Clear();
  const bool addressSet = useIPv6 ? !IsAnyAddress(localAddress6) : localAddress != 0;
  if (addressSet && useIPv6) return NumericIPv6Text(localAddress6, localAddress6Text);
  if (addressSet) {
    localHostName.Assign(DottedText(localAddress, addressText));
    return localHostName.Data();
  }
  char name[101];
  if (const int rc = platform::LocalHostName(name, sizeof name); rc != 0) {
    SetSocketErrorText(rc);
    return localHostName.Data();
  }
  localHostName.Assign(name);
  return localHostName.Data();
}

int SocketCore::SetLocalHost(const char* name) {
  ClearLastError();
  if (!name || !*name) {
    localAddress = 0;
    localAddress6Text.Clear();
    localAddress6 = platform::IPv6Address{};
    return errNone;
  }
  if (useIPv6) return ResolveIPv6(name, localAddress6, 0, 0);
  const uint32_t numeric = platform::ParseIPv4(name);
  if (numeric != 0xFFFFFFFFu) {
    localAddress = numeric;
    return errNone;
  }
  localAddress = 0;
  const int rc = platform::ResolveIPv4(name, localAddress);
  return rc == platform::errSocketsNotStarted ? errNone : rc;
}

bool SocketCore::EndWait(const char* text) {
  SetLastErrorText(text);
  return false;
}

bool SocketCore::Interrupted() {
  interruptRequested = false;
  wasInterrupted = true;
  return EndWait("Interrupted.");
}

bool SocketCore::WaitStep(uint32_t milliseconds, platform::WindowId window) {
  if (interruptRequested) return Interrupted();
  if (useWindowsMessages) {
    const platform::WindowId before = windowHandle;
    EnsureWindowHere();
    if (window == before) window = windowHandle;
    platform::WindowMessage message;
    if (platform::PeekWindowMessage(ignoreOtherWindowEvents ? window : 0, message)) {
      if (message.message == platform::kMessageQuit) {
        // The host's own loop has to see the quit as well.
        platform::PostQuit(static_cast<int>(message.first));
        return false;
      }
      const bool outer = inDispatch;
      inDispatch = true;
      ++eventsDelivered;
      platform::DispatchWindowMessage(message);
      inDispatch = outer;
      if (message.message == platform::kMessageClose || !platform::IsMessageWindow(window))
        return false;
    } else if (milliseconds != 0) {
      platform::WaitForWindowMessages(ignoreOtherWindowEvents ? window : 0,
                                      static_cast<int>(milliseconds));
    }
  } else {
    SelectPump(milliseconds, selectMessage);
  }
  if (interruptRequested) return Interrupted();
  if (deadlineTick != 0 && platform::TickCount() > deadlineTick) return EndWait("Timeout.");
  return platform::IsMessageWindow(window);
}

void SocketCore::ArmDeadline() {
  deadlineTick =
      timeoutMillis != 0 ? platform::TickCount() + static_cast<int64_t>(timeoutMillis) : 0;
}

void SocketCore::SetTimeout(int value, bool clearDeadline) {
  if (clearDeadline) deadlineTick = 0;
  timeoutMillis = timeoutInMilliseconds ? value : value * 1000;
}

int SocketCore::GetTimeout() const {
  return timeoutInMilliseconds ? timeoutMillis : timeoutMillis / 1000;
}

void SocketCore::Raise(uint32_t message, platform::SocketId s, uint32_t event, int error) {
  const uint32_t status = event | (static_cast<uint32_t>(error) << 16);
  ++eventsDelivered;
  HandleSocketMessage(message, static_cast<uintptr_t>(s), static_cast<intptr_t>(status));
}

int SocketCore::SelectPump(uint32_t milliseconds, uint32_t message) {
  using namespace platform;
  const SocketId s = selectSocket;
  if (s == kInvalidSocket) return 0;
  // An event may close the socket, and the next socket may get the same number at once: the
  // round ends as soon as the socket it started with is gone.
  const uint32_t serial = socketSerial;
  const auto gone = [&] { return socketSerial != serial; };
  if (readPending) {
    readPending = false;
    Raise(message, s, evRead, 0);
    if (gone()) return 0;
  }
  SocketReadiness ready;
  int rc = -1;
  for (int attempt = 0; attempt < 3 && rc < 0; ++attempt) {
    rc = SocketPoll(s, (selectMask & evWrite) != 0, static_cast<int>(milliseconds), ready);
    if (rc < 0 && LastSocketError() != errSocketInterrupted) {
      if (selectMask & evClose) Raise(message, s, evClose, LastSocketError());
      return -1;
    }
  }
  if (rc <= 0) return 0;
  if (ready.exceptional && (selectMask & evConnect)) {
    selectMask ^= evConnect;
    Raise(message, s, evConnect, SocketPeerCheck(s));
    if (gone()) return 0;
  }
  if (ready.writable) {
    if (selectMask & evConnect) {
      const int error = SocketPendingError(s);
      selectMask ^= evConnect;
      Raise(message, s, evConnect, error);
      if (gone()) return 0;
    }
    if (selectMask & evWrite) {
      selectMask ^= evWrite;
      Raise(message, s, evWrite, 0);
      if (gone()) return 0;
    }
  }
  if (ready.readable) {
    if (selectMask & evAccept) {
      Raise(message, s, evAccept, 0);
      return 0;
    }
    lastRecvError = 0;
    Raise(message, s, evRead, 0);
    if (gone()) return 0;
    const int error = lastRecvError;
    if (error != 0 && (selectMask & evClose) && error != errWouldBlock &&
        error != errSocketInterrupted)
      Raise(message, s, evClose, error);
  }
  return 0;
}

int SocketCore::ResolveIPv6(const char* name, platform::IPv6Address& destination, int flags,
                            int socketType) {
  if (!name || !*name) {
    destination = platform::IPv6Address{};
    return errNone;
  }
  BufStr host;
  if (host.Assign(name) != errNone) return errOutOfMemory;
  uint32_t scope = 0;
  if (const int percent = host.Find("%"); percent >= 0) {
    scope = static_cast<uint32_t>(ParseDec32(host.Data() + percent + 1));
    host.Resize(percent, nullptr);
  }
  const int rc = platform::ResolveIPv6(host.Data(), flags, socketType, destination);
  if (rc == errNone && scope != 0) destination.scopeId = scope;
  return rc;
}

const char* SocketCore::NumericIPv6Text(const platform::IPv6Address& address,
                                        BufStrBase& destination) {
  char text[60];
  platform::NumericIPv6Text(address, text, sizeof text);
  destination.Assign(text);
  return destination.Data();
}

const char* SocketCore::DottedText(uint32_t address, BufStrBase& destination) {
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&address);
  char text[20];
  std::snprintf(text, sizeof text, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
  destination.Assign(text);
  return destination.Data();
}

int SocketCore::SetSocketErrorText(int code) {
  lastError.Clear();
  DescribeError(code);
  return lastError.EndsWith("(no description available)") ? 1 : 0;
}

int64_t SocketCore::WallClockMillis() {
  return platform::WallClockMillis();
}

int SocketCore::DoEvents(int milliseconds) {
  const uint64_t end =
      platform::TickCount() + static_cast<uint64_t>(milliseconds > 0 ? milliseconds : 0);
  for (;;) {
    const uint64_t now = platform::TickCount();
    const int remaining = now < end ? static_cast<int>(end - now) : 0;
    if (useWindowsMessages) {
      EnsureWindowHere();
      platform::WindowMessage message;
      if (platform::PeekWindowMessage(0, message)) {
        // A host's loop ends where it meets the quit.
        if (message.message == platform::kMessageQuit) return errNone;
        platform::DispatchWindowMessage(message);
      } else if (remaining > 0) {
        platform::WaitForWindowMessages(0, remaining);
      }
    } else {
      // Without a socket nothing can be delivered in this mode.
      if (selectSocket == platform::kInvalidSocket) return errNone;
      SelectPump(static_cast<uint32_t>(remaining < selectWaitMillis ? remaining : selectWaitMillis),
                 selectMessage);
    }
    if (platform::TickCount() >= end) return errNone;
  }
}

int SocketCore::SetUseWindowsMessages(bool value) {
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errDeliveryModeBusy, "UseWindowsMessages cannot be changed at this time. A "
                                     "connection is in progress.");
  useWindowsMessages = value;
  return errNone;
}

void SocketCore::PostReadEvent() {
  if (!useWindowsMessages) {
    readPending = true;
    return;
  }
  EnsureWindowHere();
  platform::PostWindowMessage(windowHandle, kSocketMessage, static_cast<uintptr_t>(socketHandle),
                              platform::evRead);
}

void SocketCore::EnsureWindowHere() {
  if (windowHandle && platform::IsWindowOfThisThread(windowHandle)) return;
  if (windowHandle) platform::DestroyMessageWindow(windowHandle);
  windowHandle = platform::CreateMessageWindow(&WindowProcedure, this);
  if (windowHandle && useWindowsMessages && socketHandle != platform::kInvalidSocket &&
      selectSocket == socketHandle && selectMask != 0)
    platform::AsyncSelectSocket(socketHandle, windowHandle, selectMessage, selectMask);
}

intptr_t SocketCore::WindowProcedure(void* target, platform::WindowId window, uint32_t message,
                                     uintptr_t first, intptr_t second) {
  SocketCore* core = static_cast<SocketCore*>(target);
  if (!core || core->windowHandle != window) return 0;
  return core->HandleSocketMessage(message, first, second);
}

} // namespace quillon
