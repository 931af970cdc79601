// The window table is process-wide behind a mutex, so that an object destroyed on one thread can
// take its window out of every other thread's sight; queues and socket registries are per thread
// and unlocked, as a window's messages are handled by its own thread only.
//
// A registered socket is in one of these states:
//   connecting  - polled for writability; then one connect message (with the connect's error),
//                 and on success a write message as the socket is writable;
//   open        - polled for input while read is armed and for room while write is armed; input
//                 with a hang-up or an error is probed with a one-byte peek: bytes give a read
//                 message, end of stream or an error gives the close message, after which the
//                 socket stays silent. Input without either is bytes, and gives the read message.
#include "platform/MessageQueue.h"

#include "frame/Memory.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>

namespace quillon::platform {

namespace {
// A growable array of plain records on the engine's allocator. It frees nothing by itself, so
// that the process-wide table may outlive every static destructor.
template <class T> class RecordArray {
public:
  int Count() const { return count; }
  T& operator[](int i) { return items[i]; }
  bool Append(const T& item) {
    if (count == capacity && !Grow()) return false;
    items[count++] = item;
    return true;
  }
  void RemoveAt(int i) {
    std::memmove(static_cast<void*>(items + i), items + i + 1,
                 static_cast<size_t>(count - i - 1) * sizeof(T));
    --count;
  }
  void Release() {
    MemFree(items);
    items = nullptr;
    count = capacity = 0;
  }

private:
  bool Grow() {
    const int next = capacity ? capacity * 2 : 8;
    void* block = MemRealloc(items, static_cast<size_t>(next) * sizeof(T));
    if (!block) return false;
    items = static_cast<T*>(block);
    capacity = next;
    return true;
  }

  T* items = nullptr;
  int count = 0;
  int capacity = 0;
};

struct WindowRecord {
  WindowId id;
  WindowProcedure procedure;
  void* target;
  uint64_t ownerThread; // threadState.tag of the creating thread
};

struct SocketRecord {
  SocketId socket;
  WindowId window;
  uint32_t message;
  uint32_t mask;  // the events asked for
  uint32_t armed; // evRead and evWrite while they may be posted
  bool connecting;
  bool closed;    // the close was posted; nothing follows
  int takenError; // the error a receive or send took from the socket, for the close
};

std::mutex windowLock;
RecordArray<WindowRecord> windows; // guarded by windowLock
std::atomic<uint64_t> nextWindowId{1};
std::atomic<uint64_t> nextThreadTag{1};

struct ThreadState {
  RecordArray<WindowMessage> queue;
  RecordArray<SocketRecord> sockets;
  bool quitPosted = false;
  int quitCode = 0;
  const uint64_t tag = nextThreadTag.fetch_add(1);

  ~ThreadState() {
    queue.Release();
    sockets.Release();
  }
};
thread_local ThreadState threadState;

int FindWindow(WindowId id) {
  for (int i = 0; i < windows.Count(); ++i)
    if (windows[i].id == id) return i;
  return -1;
}

SocketRecord* FindSocket(SocketId s) {
  RecordArray<SocketRecord>& sockets = threadState.sockets;
  for (int i = 0; i < sockets.Count(); ++i)
    if (sockets[i].socket == s) return &sockets[i];
  return nullptr;
}

void Post(const SocketRecord& record, uint32_t event, int error) {
  const uint32_t status = event | (static_cast<uint32_t>(error) << 16);
  threadState.queue.Append({record.window, record.message, static_cast<uintptr_t>(record.socket),
                            static_cast<intptr_t>(status)});
}

bool TakeQueued(WindowId filter, WindowMessage& message) {
  RecordArray<WindowMessage>& queue = threadState.queue;
  for (int i = 0; i < queue.Count(); ++i) {
    if (filter != 0 && queue[i].window != filter) continue;
    message = queue[i];
    queue.RemoveAt(i);
    return true;
  }
  return false;
}

bool HasQueued(WindowId filter) {
  RecordArray<WindowMessage>& queue = threadState.queue;
  for (int i = 0; i < queue.Count(); ++i)
    if (filter == 0 || queue[i].window == filter) return true;
  return filter == 0 && threadState.quitPosted;
}

short WantedEvents(const SocketRecord& record) {
  if (record.connecting) return POLLOUT;
  short events = 0;
  if (record.armed & evRead) events |= POLLIN | POLLRDHUP;
  if (record.armed & evWrite) events |= POLLOUT;
  return events;
}

void ConnectFinished(SocketRecord& record, short revents) {
  const int error = SocketPendingError(record.socket);
  record.connecting = false;
  if (record.mask & evConnect) Post(record, evConnect, error);
  if (error != 0) {
    record.armed = 0;
    record.closed = true;
    return;
  }
  if ((record.mask & evWrite) && (revents & POLLOUT))
    Post(record, evWrite, 0);
  else
    record.armed |= evWrite;
}

void InputArrived(SocketRecord& record, short revents) {
  // Input without a hang-up or an error is bytes to read; only the others need the peek to tell
  // bytes from the end of the stream.
  char probe;
  const long n = (revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0
                     ? 1
                     : ::recv(record.socket, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
  if (n > 0) {
    if (record.mask & evRead) Post(record, evRead, 0);
    record.armed &= ~evRead;
    return;
  }
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
  record.armed = 0;
  record.closed = true;
  if (record.mask & evClose) Post(record, evClose, n == 0 ? record.takenError : MapErrno(errno));
}

// Looks at the registered sockets of `filter` (0: all), waiting up to `milliseconds` for one,
// and queues the messages of what happened.
void CollectSocketEvents(WindowId filter, int milliseconds) {
  RecordArray<SocketRecord>& sockets = threadState.sockets;
  const int count = sockets.Count();
  if (count <= 0) {
    // Nothing registered: the round is only the wait.
    ::poll(nullptr, 0, milliseconds < 0 ? 0 : milliseconds);
    return;
  }
  constexpr int kInlineSockets = 16;
  pollfd inlineSet[kInlineSockets];
  pollfd* set = inlineSet;
  if (count > kInlineSockets) {
    set = static_cast<pollfd*>(MemAlloc(static_cast<size_t>(count) * sizeof(pollfd)));
    if (!set) return;
  }
  int timeout = milliseconds < 0 ? 0 : milliseconds;
  for (int i = 0; i < count; ++i) {
    const SocketRecord& record = sockets[i];
    const bool included = (filter == 0 || record.window == filter) && !record.closed;
    // A negative descriptor makes poll pass over the entry.
    set[i] = {included && WantedEvents(record) ? record.socket : -1, WantedEvents(record), 0};
    if (included && record.connecting && SocketConnectFailed(record.socket)) timeout = 0;
  }
  const int rc = ::poll(set, static_cast<nfds_t>(count), timeout);
  for (int i = 0; rc >= 0 && i < count; ++i) {
    SocketRecord& record = sockets[i];
    if (set[i].fd < 0) continue;
    const short revents = set[i].revents;
    if (record.connecting) {
      if ((revents & (POLLOUT | POLLERR | POLLHUP)) || SocketConnectFailed(record.socket))
        ConnectFinished(record, revents);
      continue;
    }
    if ((record.armed & evRead) && (revents & (POLLIN | POLLRDHUP | POLLHUP | POLLERR)))
      InputArrived(record, revents);
    if ((record.armed & evWrite) && (revents & (POLLOUT | POLLHUP | POLLERR))) {
      if (record.mask & evWrite) Post(record, evWrite, 0);
      record.armed &= ~evWrite;
    }
  }
  if (set != inlineSet) MemFree(set);
}
} // namespace

WindowId CreateMessageWindow(WindowProcedure procedure, void* target) {
  const WindowId id = nextWindowId.fetch_add(1);
  std::lock_guard<std::mutex> hold(windowLock);
  if (!windows.Append({id, procedure, target, threadState.tag})) return 0;
  return id;
}

void DestroyMessageWindow(WindowId window) {
  {
    std::lock_guard<std::mutex> hold(windowLock);
    const int i = FindWindow(window);
    if (i >= 0) windows.RemoveAt(i);
  }
  RecordArray<WindowMessage>& queue = threadState.queue;
  for (int i = queue.Count() - 1; i >= 0; --i)
    if (queue[i].window == window) queue.RemoveAt(i);
}

bool IsMessageWindow(WindowId window) {
  std::lock_guard<std::mutex> hold(windowLock);
  return window != 0 && FindWindow(window) >= 0;
}

bool IsWindowOfThisThread(WindowId window) {
  std::lock_guard<std::mutex> hold(windowLock);
  const int i = FindWindow(window);
  return i >= 0 && windows[i].ownerThread == threadState.tag;
}

int PostWindowMessage(WindowId window, uint32_t message, uintptr_t first, intptr_t second) {
  if (!IsMessageWindow(window)) return errInvalidArgument;
  if (!threadState.queue.Append({window, message, first, second})) return errNoBufferSpace;
  return 0;
}

void PostQuit(int exitCode) {
  threadState.quitPosted = true;
  threadState.quitCode = exitCode;
}

bool PeekWindowMessage(WindowId filter, WindowMessage& message) {
  if (TakeQueued(filter, message)) return true;
  CollectSocketEvents(filter, 0);
  if (TakeQueued(filter, message)) return true;
  if (filter == 0 && threadState.quitPosted) {
    threadState.quitPosted = false;
    message = {0, kMessageQuit, static_cast<uintptr_t>(threadState.quitCode), 0};
    return true;
  }
  return false;
}

intptr_t DispatchWindowMessage(const WindowMessage& message) {
  WindowProcedure procedure = nullptr;
  void* target = nullptr;
  {
    std::lock_guard<std::mutex> hold(windowLock);
    const int i = FindWindow(message.window);
    if (i < 0 || windows[i].ownerThread != threadState.tag) return 0;
    procedure = windows[i].procedure;
    target = windows[i].target;
  }
  return procedure(target, message.window, message.message, message.first, message.second);
}

void WaitForWindowMessages(WindowId filter, int milliseconds) {
  if (!HasQueued(filter)) CollectSocketEvents(filter, milliseconds);
}

int AsyncSelectSocket(SocketId s, WindowId window, uint32_t message, uint32_t mask) {
  RecordArray<SocketRecord>& sockets = threadState.sockets;
  SocketRecord* record = FindSocket(s);
  if (mask == 0) {
    if (record) sockets.RemoveAt(static_cast<int>(record - &sockets[0]));
    return 0;
  }
  if (int rc = SocketSetNonBlocking(s); rc != 0) return rc;
  const SocketRecord fresh = {s, window, message, mask, evRead | evWrite, false, false, 0};
  if (!record) return sockets.Append(fresh) ? 0 : errNoBufferSpace;
  record->window = window;
  record->message = message;
  record->mask = mask;
  if (!record->closed) record->armed = evRead | evWrite;
  return 0;
}

void NoteSocketConnecting(SocketId s) {
  if (SocketRecord* record = FindSocket(s)) {
    record->connecting = true;
    record->armed = evRead;
  }
}

void NoteSocketReceived(SocketId s) {
  if (SocketRecord* record = FindSocket(s); record && !record->closed) record->armed |= evRead;
}

void NoteSocketBlocked(SocketId s) {
  if (SocketRecord* record = FindSocket(s); record && !record->closed) record->armed |= evWrite;
}

void NoteSocketFailed(SocketId s, int code) {
  if (SocketRecord* record = FindSocket(s); record && !record->closed) record->takenError = code;
}

void ForgetSocketEvents(SocketId s) {
  RecordArray<SocketRecord>& sockets = threadState.sockets;
  if (SocketRecord* record = FindSocket(s))
    sockets.RemoveAt(static_cast<int>(record - &sockets[0]));
  // Messages from 1024 up are the engine's own; lower numbers are system messages.
  RecordArray<WindowMessage>& queue = threadState.queue;
  for (int i = queue.Count() - 1; i >= 0; --i)
    if (queue[i].first == static_cast<uintptr_t>(s) && queue[i].message >= 1024) queue.RemoveAt(i);
}

} // namespace quillon::platform
