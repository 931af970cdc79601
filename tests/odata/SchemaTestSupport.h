// Helpers of the schema tests: EDMX documents put together from their elements, a document read
// into the core as the response dispatch reads an EDMX root, a core that records the Entity and
// Property events, and property reads by name.
#pragma once

#include "odata/QuillonCore.h"
#include "surface/ControlSurface.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::test {

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
