// The events of a Quillon object. A host derives from QuillonEvents, overrides what it wants and
// passes the object to Quillon::SetEventHandler. Every event arrives on the host's own thread,
// inside the Quillon call that caused it. Texts are UTF-8. The operations stand in the order of
// their ids (EventId): Connected is 1, Transfer 14.
#pragma once

#include "quillon/QuillonTypes.h"

#include <cstdint>
#include <string>

namespace quillon {

class QUILLON_API QuillonEvents {
public:
  virtual ~QuillonEvents() = default;

  virtual void Connected(int /*statusCode*/, const std::string& /*description*/) {}
  virtual void Disconnected(int /*statusCode*/, const std::string& /*description*/) {}
  // `direction` is 0 for what the component sends, 1 for what it receives.
  virtual void EndTransfer(int /*direction*/) {}
  virtual void Entity(const std::string& /*name*/) {}
  virtual void Entry(const std::string& /*id*/, const std::string& /*title*/,
                     const std::string& /*summary*/, const std::string& /*etag*/) {}
  virtual void Error(int /*errorCode*/, const std::string& /*description*/) {}
  virtual void Header(const std::string& /*field*/, const std::string& /*value*/) {}
  virtual void Property(const std::string& /*name*/, const std::string& /*typeName*/,
                        bool /*nullable*/) {}
  virtual void SetCookie(const std::string& /*name*/, const std::string& /*value*/,
                         const std::string& /*expires*/, const std::string& /*domain*/,
                         const std::string& /*path*/, bool /*secure*/) {}
  // `certEncoded` holds the certificate's bytes; set `accept` to take or refuse the server.
  virtual void SSLServerAuthentication(const std::string& /*certEncoded*/,
                                       const std::string& /*certSubject*/,
                                       const std::string& /*certIssuer*/,
                                       const std::string& /*status*/, bool& /*accept*/) {}
  virtual void SSLStatus(const std::string& /*message*/) {}
  virtual void StartTransfer(int /*direction*/) {}
  virtual void Status(const std::string& /*httpVersion*/, int /*statusCode*/,
                      const std::string& /*description*/) {}
  // `text` holds the bytes of this piece exactly.
  virtual void Transfer(int /*direction*/, int64_t /*bytesTransferred*/, int /*percentDone*/,
                        const std::string& /*text*/) {}
};

} // namespace quillon
