// The root of the engine's class chain and of the XML parser and writer: the last error beside
// the integer result, the Config mechanism that passes "name=value" texts down the chain, the
// code page, the traffic log and the event sink. Links above add their own Config keys.
#pragma once

#include "frame/BufStr.h"
#include "frame/ConfigRequest.h"
#include "frame/EventSink.h"

#include <cstdint>

namespace quillon {

class ComponentCore {
public:
  ComponentCore() = default;
  virtual ~ComponentCore() = default;
  ComponentCore(const ComponentCore&) = delete;
  ComponentCore& operator=(const ComponentCore&) = delete;

  // Error text
  const char* LastErrorText() const { return lastError.Data(); }
  void SetLastErrorText(const char* text) { lastError.Assign(text); }
  void SetLastErrorText(std::string_view text) { lastError.Assign(text); }
  // Stores `text` and returns `code`, so a failure site reads `return Fail(code, "Text.");`.
  int Fail(int code, const char* text) {
    lastError.Assign(text);
    return code;
  }
  void ClearLastError() {
    lastError.Resize(0, nullptr);
    pendingError = 0;
  }
  void SetErrorParts(const char* a, const char* b = nullptr, const char* c = nullptr,
                     const char* d = nullptr);
  void SetErrorNumbered(const char* prefix, int64_t number, const char* suffix);
  void SetErrorHex(const char* text, uint32_t number, const char* suffix);
  // `text`, then " (error 0x..)." with the platform's last error number.
  void SetErrorSystem(const char* text);
  // Fills in a text for `code` when none stands (always for 200 and 301) and returns `code`.
  int DescribeError(int code);
  // Clears the error fields and recomputes charsetMode from the default code page.
  void ResetCore();

  // Config
  // Parses `text`, points `*result` at an empty text and runs the chain. The text handed back
  // stays valid until the next Config call on this object.
  int ConfigText(const char* text, const char** result);
  virtual int Config(ConfigRequest& request, const char** result);
  int ReturnText(const char** out, const char* text);
  int ReturnText(const char** out, const BufStrBase& text);
  int ReturnUnsigned(const char** out, uint32_t value);
  int ReturnSigned(const char** out, int32_t value);
  int ReturnInt64(const char** out, int64_t value);

  // Logging
  // Writes one record of traffic to LogDebugFile, opening and closing the file for it.
  int LogTraffic(const char* label, const char* bytes, int count);

  // Events
  void SetEventSink(EventSink* sink) { eventSink = sink; }
  // The sink, told the code page, ready for one event; null when there is none.
  EventSink* SinkForEvent() {
    if (eventSink) eventSink->SetCodePage(codePage);
    return eventSink;
  }

  // Fields
  int32_t pendingError = 0;       // code left by an operation whose own result is no code
  int32_t codePage = 0;           // CodePage; 0 is the default code page
  BufStr lastError;               // text of the latest failure; empty when none
  BufStr configResult;            // text handed back by the latest Config call
  BufStr20 logFile;               // LogDebugFile
  int32_t logEnabled = 0;         // true while logFile is not empty
  uint32_t logOption = 0;         // LogDebugOption: bit 0 hex dump, bit 1 no traffic records
  int8_t charsetMode = 0;         // CharsetMode: 1 skips trail bytes of double-byte characters
  EventSink* eventSink = nullptr; // receives the events for the host; null when none
};

} // namespace quillon
