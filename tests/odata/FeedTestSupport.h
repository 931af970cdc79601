// Helpers of the reader tests: a response handed to a core as the service would hand it, and an
// event sink that keeps the Entry events (and can act inside them, as a careless host would).
#pragma once

#include "odata/QuillonCore.h"
#include "support/QuietSink.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillon::test {

inline int Dispatch(QuillonCore& core, std::string_view document) {
  BufStr body;
  body.Assign(document);
  return core.DispatchResponse(body);
}

// Writes `content` to a file of its own, removed when the test program ends; its path.
inline std::string TempFeed(std::string_view content) {
  static int serial = 0;
  const std::string path =
      (std::filesystem::temp_directory_path() /
       ("quillon-feed-" + std::to_string(::getpid()) + "-" + std::to_string(++serial) + ".xml"))
          .string();
  std::ofstream(path, std::ios::binary).write(content.data(), std::streamsize(content.size()));
  static std::vector<std::string> made;
  struct Remover {
    ~Remover() {
      for (const std::string& file : made)
        std::remove(file.c_str());
    }
  };
  static Remover remover;
  made.push_back(path);
  return path;
}

inline std::string Text(const char* text) {
  return text ? text : "<null>";
}

// Values joined by '|', numbers in decimal and a null text as "<null>": the fields of one outcome
// compared at once. Every value is taken before any is joined, so no two texts of one shared
// buffer (Author) may go in together.
struct Piece {
  static std::string Of(const char* text) { return Text(text); }
  static std::string Of(std::string_view text) { return std::string(text); }
  static std::string Of(int64_t number) { return std::to_string(number); }
  static std::string Of(const BufStrBase& text) { return std::string(text.View()); }
};
template <typename... Values> std::string Join(const Values&... values) {
  std::string joined;
  ((joined += "|" + Piece::Of(values)), ...);
  return joined.erase(0, 1);
}

// A feed in the shape services send, with the usual prefixes declared on the root.
inline std::string Feed(std::string_view children) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<feed xmlns=\"http://www.w3.org/2005/Atom\" "
         "xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\" "
         "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\">" +
         std::string(children) + "</feed>";
}

class EntryEvents final : public QuietSink {
public:
  std::vector<std::string> events; // "id|title|summary|etag"
  std::function<void()> during;    // runs inside each Entry event

  void Entry(const char* id, const char* title, const char* summary, const char* etag) override {
    events.push_back(std::string(id) + "|" + title + "|" + summary + "|" + etag);
    if (during) during();
  }
};

} // namespace quillon::test
