// Helpers of the OData tests: a response handed to a core as the service would hand it, saved
// responses, the fields of an outcome joined for one comparison, an event sink that keeps the Entry
// events (and can act inside them, as a careless host would); EDMX documents put together from
// their elements, a core that records the Entity and Property events, and property reads by name.
#pragma once

#include "odata/QuillonCore.h"
#include "support/QuietSink.h"
#include "surface/ControlSurface.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace quillon::test {

inline int Dispatch(QuillonCore& core, std::string_view document) {
  BufStr body;
  body.Assign(document);
  return core.DispatchResponse(body);
}

// Writes `content` to a file of its own in a folder removed when the test program ends; its path.
inline std::string TempFeed(std::string_view content) {
  static int serial = 0;
  static const struct Folder {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("quillon-feeds-" + std::to_string(::getpid()));
    Folder() { std::filesystem::create_directories(path); }
    ~Folder() { std::filesystem::remove_all(path); }
  } folder;
  const std::string path = (folder.path / (std::to_string(++serial) + ".xml")).string();
  std::ofstream(path, std::ios::binary).write(content.data(), std::streamsize(content.size()));
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

// The elements of an EDMX document, attributes quoted with '; n a name, t a type, b the content.
using S = std::string;
struct Edm {
  static S Edmx(S b) {
    return "<edmx:Edmx Version='1.0' xmlns:edmx='http://schemas.microsoft.com/ado/2007/06/edmx'>"
           "<edmx:DataServices "
           "xmlns:m='http://schemas.microsoft.com/ado/2007/08/dataservices/metadata'>" +
           b + "</edmx:DataServices></edmx:Edmx>";
  }
  static S Schema(S n, S b) {
    return "<Schema Namespace='" + n + "' xmlns='http://schemas.microsoft.com/ado/2008/09/edm'>" +
           b + "</Schema>";
  }
  static S Container(S b) { return "<EntityContainer Name='C'>" + b + "</EntityContainer>"; }
  static S Set(S n, S t) { return "<EntitySet Name='" + n + "' EntityType='" + t + "'/>"; }
  static S Type(S n, S b) { return "<EntityType Name='" + n + "'>" + b + "</EntityType>"; }
  static S Property(S n, S t) { return "<Property Name='" + n + "' Type='" + t + "'/>"; }
  static S Link(S n, S relationship, S from, S to) {
    return "<NavigationProperty Name='" + n + "' Relationship='" + relationship + "' FromRole='" +
           from + "' ToRole='" + to + "'/>";
  }
  static S Association(S n, S b) { return "<Association Name='" + n + "'>" + b + "</Association>"; }
  static S End(S role, S t, S multiplicity, S b = "") {
    return "<End Role='" + role + "' Type='" + t + "' Multiplicity='" + multiplicity + "'>" + b +
           "</End>";
  }
  static S Doc(S summary, S description) {
    return "<Documentation><Summary>" + summary + "</Summary><LongDescription>" + description +
           "</LongDescription></Documentation>";
  }
};

// A core that keeps its schema events as lines: "Entity Name", "Property Name Type 0|1".
class SchemaEventCore : public QuillonCore {
public:
  void FireEntity(const char* name) override { events.push_back(std::string("Entity ") + name); }
  void FireProperty(const char* name, const char* typeName, bool nullable) override {
    events.push_back(std::string("Property ") + name + " " + typeName + (nullable ? " 1" : " 0"));
  }
  std::vector<std::string> events;
};

// A property of the public table read from the core: its text, or its number in decimal; a
// failure reads "<fail N>".
inline std::string Read(QuillonCore& core, std::string_view name, int index = -1) {
  const PropertyRow* row = FindProperty(name);
  if (!row) return "<no such property>";
  PropertyValue value;
  if (int rc = row->get(core, index, value); rc != 0) return "<fail " + std::to_string(rc) + ">";
  return row->type == PropertyType::Text ? std::string(value.text.View())
                                         : std::to_string(value.number);
}

// Several properties read as above, joined by "|".
inline std::string Reads(QuillonCore& core, std::initializer_list<std::string_view> names) {
  std::string joined;
  for (std::string_view name : names)
    joined += "|" + Read(core, name);
  return joined.erase(0, 1);
}

// Writes a number to a property of the public table: the engine's result.
inline int Write(QuillonCore& core, std::string_view name, int64_t number) {
  const PropertyRow* row = FindProperty(name);
  if (!row || !row->set) return -1;
  PropertyValue value;
  value.number = number;
  return row->set(core, -1, value);
}

} // namespace quillon::test
