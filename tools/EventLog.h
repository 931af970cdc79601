// The command-line program's event handler: it prints each event as it fires (text mode) and
// keeps them for the JSON document, with the argument names of the public event table.
#pragma once

#include "JsonWriter.h"
#include "ProgressLine.h"

#include <quillon/QuillonEvents.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace quillon::cli {

class EventLog final : public QuillonEvents {
public:
  explicit EventLog(bool printAsTheyFire) : print(printAsTheyFire) {}
  // Transfer events also draw `line`; null draws nothing.
  void ShowProgress(ProgressLine* line) { progress = line; }

  // Writes the kept events as a JSON array.
  void WriteJson(JsonWriter& json) const;

  void Connected(int statusCode, const std::string& description) override;
  void Disconnected(int statusCode, const std::string& description) override;
  void EndTransfer(int direction) override;
  void Entity(const std::string& name) override;
  void Entry(const std::string& id, const std::string& title, const std::string& summary,
             const std::string& etag) override;
  void Error(int errorCode, const std::string& description) override;
  void Header(const std::string& field, const std::string& value) override;
  void Property(const std::string& name, const std::string& typeName, bool nullable) override;
  void SetCookie(const std::string& name, const std::string& value, const std::string& expires,
                 const std::string& domain, const std::string& path, bool secure) override;
  void SSLServerAuthentication(const std::string& certEncoded, const std::string& certSubject,
                               const std::string& certIssuer, const std::string& status,
                               bool& accept) override;
  void SSLStatus(const std::string& message) override;
  void StartTransfer(int direction) override;
  void Status(const std::string& httpVersion, int statusCode,
              const std::string& description) override;
  void Transfer(int direction, int64_t bytesTransferred, int percentDone,
                const std::string& text) override;

private:
  // One argument of an event: its name and its value as text or number.
  struct Argument {
    std::string name;
    std::string text;
    int64_t number = 0;
    enum { kText, kNumber, kFlag } kind = kText;
  };
  struct Event {
    std::string name;
    std::vector<Argument> arguments;
  };
  void Add(Event event);
  static Argument Text(std::string name, std::string value) {
    return {std::move(name), std::move(value), 0, Argument::kText};
  }
  static Argument Number(std::string name, int64_t value) {
    return {std::move(name), {}, value, Argument::kNumber};
  }
  static Argument Flag(std::string name, bool value) {
    return {std::move(name), {}, value ? 1 : 0, Argument::kFlag};
  }

  bool print;
  ProgressLine* progress = nullptr;
  std::vector<Event> events;
};

} // namespace quillon::cli
