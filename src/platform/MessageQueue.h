// Window messages on Linux, for the engine's window-message delivery: message windows (a
// procedure and its target, owned by the thread that created it), and per thread a queue of
// posted messages and the registry of sockets whose events become messages (AsyncSelectSocket).
#pragma once

#include "platform/Socket.h"

#include <cstdint>

namespace quillon::platform {

using WindowId = uint64_t; // 0 is no window; ids are never reused within a process
using WindowProcedure = intptr_t (*)(void* target, WindowId window, uint32_t message,
                                     uintptr_t first, intptr_t second);

constexpr uint32_t kMessageClose = 16;
constexpr uint32_t kMessageQuit = 18;

struct WindowMessage {
  WindowId window = 0; // 0 for the quit message, which belongs to the thread
  uint32_t message = 0;
  uintptr_t first = 0;
  intptr_t second = 0;
};

// Windows. Creation fails (0) only without memory. A window may be destroyed from any thread.
WindowId CreateMessageWindow(WindowProcedure procedure, void* target);
void DestroyMessageWindow(WindowId window);
bool IsMessageWindow(WindowId window);
bool IsWindowOfThisThread(WindowId window);

// Posting, always to the calling thread's queue: 0, or 10055 without memory, 10022 for a window
// that does not exist.
int PostWindowMessage(WindowId window, uint32_t message, uintptr_t first, intptr_t second);
// The quit message comes out of an unfiltered peek once the queue holds nothing else.
void PostQuit(int exitCode);

// Takes the next message for `filter` (0: any window of this thread, and the quit). With none
// queued, the registered sockets are looked at once, without waiting, and their events queued.
bool PeekWindowMessage(WindowId filter, WindowMessage& message);
// Calls the window's procedure; a message for a window that is gone or belongs to another thread
// is dropped (result 0).
intptr_t DispatchWindowMessage(const WindowMessage& message);
// Returns when a message for `filter` is queued or a registered socket has an event for it, or
// after `milliseconds`.
void WaitForWindowMessages(WindowId filter, int milliseconds);

// Event delivery for socket `s` as messages (`message`, s, event | error << 16) to `window`;
// `mask` holds SocketEvent bits, 0 cancels. The socket becomes non-blocking. Each event comes
// once and is armed again by the step that consumes it: read by a receive, write by a send that
// would block or fell short (and once after the connect), connect and close never. A close comes
// only once nothing is left to read.
int AsyncSelectSocket(SocketId s, WindowId window, uint32_t message, uint32_t mask);

// Hooks of the socket functions.
void NoteSocketConnecting(SocketId s);
void NoteSocketReceived(SocketId s);
void NoteSocketBlocked(SocketId s);
// A receive or send took the socket's error (a reset): the close will carry it, since the stream
// shows only its end from then on.
void NoteSocketFailed(SocketId s, int code);
// Drops the socket's registration and the messages queued about it: after close the number may
// come back at once for another socket.
void ForgetSocketEvents(SocketId s);

} // namespace quillon::platform
