// The records of an EDMX schema: entity sets, entity and complex types with their properties,
// keys and navigation, and associations with their two ends. Each record reads itself from the
// element under the parser's cursor and leaves the cursor where it found it.
#pragma once

#include "frame/BufStr.h"
#include "frame/PtrList.h"
#include "frame/StrList.h"
#include "frame/Text.h"

#include <cstdint>
#include <string_view>

namespace quillon {

class XmlParser;

// The element that was under the cursor when Remember ran, and paths below it, composed from its
// path text and walked from the root.
class SchemaPlace {
public:
  // What Go answers when the path leads to no element.
  static constexpr int kAbsent = -2;

  explicit SchemaPlace(XmlParser& cursorOwner) : parser(cursorOwner) {}
  int Remember();
  // Moves to the remembered path, "/" and `step`, with "[index]" behind it when `index` is above
  // 0: 0 when the element is there, kAbsent when not, 200.
  int Go(std::string_view step, int index = 0);
  // Moves back to the remembered element: 0 or the parser's code.
  int Back();

private:
  XmlParser& parser;
  BufStr base; // the path text of the remembered element
  BufStr path; // the path being walked
};

// The value of the first attribute of the cursor element whose local name is `name` ignoring
// case; empty when there is none.
std::string_view SchemaAttribute(const XmlParser& parser, std::string_view name);

// Values of the AssociationMultiplicities and AssociationDeleteActions enumerations.
enum AssociationMultiplicity : int32_t { nmZeroOne = 0, nmOne = 1, nmMany = 2 };
enum AssociationDeleteAction : int32_t { daNone = 0, daCascade = 1 };

// What every schema record begins with. The Read steps return 0 or the parser's code (200 when a
// text cannot be held); the texts are copied, so a record outlives the document.
struct SchemaItem {
  BufStr owner;       // Namespace of the schema that declared the record
  BufStr name;        // the Name attribute; empty when absent
  BufStr description; // text of Documentation/LongDescription
  BufStr summary;     // text of Documentation/Summary

  int ReadItem(std::string_view ownerNamespace, XmlParser& parser);
  int CopyItemTo(SchemaItem& destination) const;
  // `text` without the leading "owner." of this record's schema; `text` itself when it does not
  // begin with that, or when the schema has no namespace.
  std::string_view StripNamespace(std::string_view text) const;
};

struct SchemaEntitySet : SchemaItem {
  BufStr entityType; // the EntityType attribute, qualified as the document gives it

  int Read(std::string_view ownerNamespace, XmlParser& parser);
  int CopyTo(SchemaEntitySet& destination) const;
};

struct SchemaProperty : SchemaItem {
  BufStr attributes;    // every attribute as name="value" by local name, one blank apart
  BufStr type;          // the Type attribute
  int32_t nullable = 1; // 0 only when a Nullable attribute says other than "true"

  int Read(std::string_view ownerNamespace, XmlParser& parser);
};

struct SchemaComplexType : SchemaItem {
  PtrList<SchemaProperty> properties; // the Property children, in order

  int Read(std::string_view ownerNamespace, XmlParser& parser);
};

struct SchemaNavigation : SchemaItem {
  // As read from the NavigationProperty element. After the resolution of the schema, description
  // and summary are the association's, and the from/to fields those of its two ends.
  BufStr relationship;     // relationshipFull without this schema's namespace
  BufStr relationshipFull; // the Relationship attribute
  BufStr fromRole;
  BufStr toRole;
  int32_t onDelete = daNone; // the action of whichever end has one; the later end wins
  int32_t fromMultiplicity = nmZeroOne;
  int32_t toMultiplicity = nmZeroOne;
  BufStr fromDescription;
  BufStr fromEntity;
  BufStr fromSummary;
  BufStr toDescription;
  BufStr toEntity;
  BufStr toSummary;

  int Read(std::string_view ownerNamespace, XmlParser& parser);
};

struct SchemaEntityType : SchemaComplexType {
  StrList keys;                         // Name of each Key/PropertyRef
  PtrList<SchemaNavigation> navigation; // the NavigationProperty children, in order

  int Read(std::string_view ownerNamespace, XmlParser& parser);
};

struct SchemaAssociationEnd : SchemaItem {
  BufStr role;
  BufStr type;
  BufStr entity; // type without the schema's namespace
  int32_t multiplicity = nmZeroOne;
  int32_t onDelete = daNone;

  int Read(std::string_view ownerNamespace, XmlParser& parser);
};

struct SchemaAssociation : SchemaItem {
  SchemaAssociationEnd end1; // the first End child; empty when there is none
  SchemaAssociationEnd end2; // the second

  int Read(std::string_view ownerNamespace, XmlParser& parser);
};

// Reads a new record from the cursor element onto the end of `list`: 0, or the code of the
// failure, with the new record dropped again.
template <class T> int ReadInto(PtrList<T>& list, std::string_view owner, XmlParser& parser) {
  const int count = list.Count();
  if (int rc = list.Resize(count + 1); rc != errNone) return rc;
  T* record = list.At(count);
  const int rc = record ? record->Read(owner, parser) : errOutOfMemory;
  if (rc != errNone) list.Resize(count);
  return rc;
}

// Whether owner, "." and name spell `text`, ignoring case.
bool IsQualifiedName(const SchemaItem& item, std::string_view text);

// The index of the first record whose owner, "." and name equal `text` ignoring case; -1 for an
// empty text or when none does.
template <class T> int FindQualified(const PtrList<T>& list, std::string_view text) {
  if (text.empty()) return -1;
  for (int i = 0; i < list.Count(); ++i)
    if (const T* record = list.Peek(i); record && IsQualifiedName(*record, text)) return i;
  return -1;
}

// The same against the name alone.
template <class T> int FindByName(const PtrList<T>& list, std::string_view text) {
  if (text.empty()) return -1;
  for (int i = 0; i < list.Count(); ++i)
    if (const T* record = list.Peek(i); record && SameNoCase(record->name.View(), text)) return i;
  return -1;
}

} // namespace quillon
