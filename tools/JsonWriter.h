// A small streaming JSON writer for the command-line program: objects, arrays, strings with
// exact escaping (UTF-8 passes through; control characters and invalid bytes are escaped).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::cli {

class JsonWriter {
public:
  void BeginObject();
  void EndObject();
  void BeginArray();
  void EndArray();
  // Inside an object: the key of the next value.
  void Key(std::string_view key);
  void String(std::string_view text);
  void Number(int64_t value);
  void Bool(bool value);
  // Key and value in one call.
  void Field(std::string_view key, std::string_view text) { Key(key), String(text); }
  void Field(std::string_view key, const char* text) { Key(key), String(text); }
  void Field(std::string_view key, int64_t value) { Key(key), Number(value); }
  void Field(std::string_view key, int value) { Key(key), Number(value); }
  void Field(std::string_view key, bool value) { Key(key), Bool(value); }

  const std::string& Text() const { return out; }

private:
  void BeforeValue();
  void Indent();

  std::string out;
  // One entry per open container: true while it has no member yet.
  std::vector<bool> firstInContainer;
  bool afterKey = false;
};

// The text as a JSON string literal, quotes included.
std::string JsonQuote(std::string_view text);

} // namespace quillon::cli
