// Helpers of the schema tests: a document read into the core as the response dispatch reads an
// EDMX root, a core that records the Entity and Property events, and property reads by name.
#pragma once

#include "odata/QuillonCore.h"
#include "surface/ControlSurface.h"

#include <string>
#include <string_view>
#include <vector>

namespace quillon::test {

// Parses `document` into core.parser with the dispatcher's settings and reads it as a schema. A
// document that does not parse gives the parser's code and text and leaves the schema alone.
inline int ReadEdmx(QuillonCore& core, std::string_view document) {
  XmlParser& parser = core.parser;
  parser.charsetMode = core.charsetMode;
  parser.PrepareForDocument();
  parser.ConfigText("KeepOriginalText=TRUE", nullptr);
  int rc = parser.Parse(document);
  if (rc == 0) rc = parser.SetXPath("/");
  if (rc != 0) return core.Fail(rc, parser.lastError.Data());
  core.ClearSchema();
  core.rootKind.Assign("edmx");
  return core.ReadSchema();
}

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

// Writes a number to a property of the public table: the engine's result.
inline int Write(QuillonCore& core, std::string_view name, int64_t number) {
  const PropertyRow* row = FindProperty(name);
  if (!row || !row->set) return -1;
  PropertyValue value;
  value.number = number;
  return row->set(core, -1, value);
}

} // namespace quillon::test
