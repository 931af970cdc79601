// Feeds response bytes to an HttpClient's reader the way the port's read path does, without a
// socket: bytes go into the port's line buffer, complete records come out with the end-of-record
// flag, a full buffer of one unfinished record comes out as a piece, and the end of the stream
// delivers what is left and then the disconnect.
#pragma once

#include "http/HttpClient.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace quillon::test {

inline void DeliverBuffered(HttpClient& client) {
  LineBuffer& buffer = client.lineBuffer;
  char* bytes;
  uint32_t size;
  for (;;) {
    while (client.acceptData && buffer.NextRecord(bytes, size))
      client.OnDataEvent(bytes, static_cast<int>(size), true);
    char* space;
    uint32_t room;
    if (!client.acceptData || buffer.FreeSpace(space, 0, room)) return;
    if (!buffer.TakeAll(bytes, size)) return;
    client.OnDataEvent(bytes, static_cast<int>(size), false);
  }
}

// One read of the socket: `piece` as it came.
inline void FeedPiece(HttpClient& client, std::string_view piece) {
  LineBuffer& buffer = client.lineBuffer;
  while (!piece.empty()) {
    DeliverBuffered(client);
    if (!client.acceptData) return;
    char* space;
    uint32_t room;
    buffer.FreeSpace(space, 0, room);
    const uint32_t n = std::min<uint32_t>(room, static_cast<uint32_t>(piece.size()));
    std::memcpy(space, piece.data(), n);
    buffer.Commit(n);
    piece.remove_prefix(n);
  }
  DeliverBuffered(client);
}

// The end of the stream: every buffered byte goes out, then the connection ends.
inline void FeedEnd(HttpClient& client) {
  DeliverBuffered(client);
  char* bytes;
  uint32_t size;
  if (client.acceptData && client.lineBuffer.TakeAll(bytes, size))
    client.OnDataEvent(bytes, static_cast<int>(size), false);
  client.OnDisconnected(0);
}

} // namespace quillon::test
