// The document as one arena of packed records written in document order, with a cursor. Links
// are 32-bit offsets into the arena and 0 means none. Every read is checked against the arena,
// so a stale or forged offset gives empty answers, never a read outside it.
#pragma once

#include "frame/BufStr.h"
#include "xml/XmlScanText.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// Record types: the first byte of every record.
enum XmlRecordType : uint8_t {
  recElement = 'E',   // an element; its attribute records follow it directly
  recAttribute = 'A', // one attribute of the element before it
  recMapping = 'P',   // a prefix mapping, written in front of the element that declares it
  recText = 'T',      // the direct text of an element, written behind its children
};

// Fields of an element record, as 32-bit words from the record's start.
enum XmlElementField : int {
  efType,         // low byte: recElement
  efSize,         // bytes of the whole record, a multiple of 4
  efEnd,          // offset just behind this element's last record; 0 while open
  efChildCount,   // completed child elements; -1 for a self-closed element
  efParent,       // offset of the parent element; 0 at depth 1
  efMapping,      // offset of the mapping record of the element's prefix; 0 if none resolved
  efScopeCount,   // prefix mappings in scope here, its own included
  efFirstMapping, // offset of the first of its own mapping records (or of itself if none)
  efAttrCount,    // attribute records that follow
  efText,         // offset of the text record; 0 if none
  efSubtreeStart, // kept text: the '<' of the start tag
  efSubtreeEnd,   // kept text: behind the '>' of the end tag; 0 while open
  efContentStart, // kept text: behind the start tag
  efContentEnd,   // kept text: the '<' of the end tag
  efNameLength,   // bytes of the local name, which follows the fields with a NUL
  efSelf,         // the record's own offset, which tells a real record from a stale number
  efFieldCount,
};

class XmlTree {
public:
  static constexpr int kMaxDepth = 256;

  XmlTree() = default;
  ~XmlTree();
  XmlTree(const XmlTree&) = delete;
  XmlTree& operator=(const XmlTree&) = delete;

  // Building, in document order. Each returns 0 or 200.
  // Empties the arena and the cursor; allocates nothing.
  void Reset();
  // Makes the tables on first use and writes the two fixed mapping records into the empty
  // arena: the empty one at offset 0, so that no element has offset 0, and the one of "xml".
  int Begin();
  // Appends a mapping record; `*offset` receives its place.
  int AppendMapping(std::string_view prefix, std::string_view uri, uint32_t* offset);
  // Appends an open element record at `depth` (1 for a root) and makes it the element of that
  // depth. Offsets into the kept text: `subtreeStart` of its '<', `contentStart` behind its '>'.
  int AppendElement(std::string_view localName, int depth, uint32_t mapping, int scopeCount,
                    bool isEmpty, int attrCount, uint32_t subtreeStart, uint32_t contentStart);
  int AppendAttribute(uint32_t mapping, std::string_view localName, std::string_view value);
  // Closes the element of `depth`: writes its text record when `text` is not empty, sets its
  // end and kept-text offsets and counts it in its parent.
  int CompleteElement(int depth, std::string_view text, uint32_t contentEnd, uint32_t subtreeEnd);
  // Corrects the attribute count of the element of `depth` after a failed attribute.
  void SetAttrCount(int depth, int count);
  // Records the arena length as the end of the scope of a mapping record.
  void EndMappingScope(uint32_t mapping);
  void MarkFirstMapping() { firstMappingMark = ArenaLength(); }
  uint32_t ElementAtDepth(int depth) const;
  // The fixed record of the "xml" prefix.
  uint32_t XmlMapping() const { return xmlMapping; }

  // Record access. Each takes any offset and answers empty, 0 or false for a non-record.
  uint32_t ArenaLength() const { return static_cast<uint32_t>(arena.Length()); }
  bool IsElement(uint32_t offset) const;
  uint32_t ElementField(uint32_t element, XmlElementField field) const;
  std::string_view LocalName(uint32_t element) const;
  std::string_view TextOf(uint32_t element) const;
  std::string_view MappingPrefix(uint32_t mapping) const;
  std::string_view MappingUri(uint32_t mapping) const;
  std::string_view PrefixOf(uint32_t element) const;
  std::string_view NamespaceOf(uint32_t element) const;
  // Attribute i (from 0) of an element, or 0; then its parts.
  uint32_t AttributeRecord(uint32_t element, int i) const;
  std::string_view AttrLocalName(uint32_t attribute) const;
  std::string_view AttrValue(uint32_t attribute) const;
  uint32_t AttrMapping(uint32_t attribute) const;
  // Mapping i in scope at an element (from 0, outermost first), or 0.
  uint32_t MappingInScope(uint32_t element, int i) const;
  uint32_t FirstChildOf(uint32_t element) const;
  // The element behind `element`'s end, skipping mapping records, or 0.
  uint32_t NextSiblingOf(uint32_t element) const;

  // Cursor
  uint32_t Cursor() const { return cursor; }
  uint32_t Root() const { return root; }
  // The cursor, or the root while no path has been walked.
  uint32_t CursorOrRoot() const { return cursor ? cursor : root; }
  void SetCursor(uint32_t element) { cursor = element; }
  int ChildCount() const {
    return static_cast<int32_t>(ElementField(CursorOrRoot(), efChildCount));
  }
  // Moves to child n (from 1): 0 or 207, with the cursor unchanged on failure. Remembers the
  // last step, so that walking children 1..n in order costs n steps in all.
  int NthChild(int n);
  // Moves to the next sibling: 0 or 207.
  int NextSibling();
  // Moves to the first child matching `name`, see the source; 0 or 208.
  int FindChild(std::string_view name, int index, std::string_view attribute,
                const std::string_view* value);
  // Moves to the parent: 0, 207 or 208.
  int GoParent();
  // The deepest element still open, or the root when all are closed.
  uint32_t LastUnclosed() const;
  // prefix:local, or local without a prefix; empty when the cursor is 0. NUL-terminated, valid
  // until the next call.
  std::string_view QualifiedName();
  std::string_view QualifiedNameOf(uint32_t element);
  // URI directly followed by the local name when the element has a namespace, else the local
  // name. NUL-terminated, valid until the next call.
  std::string_view ExpandedName();

private:
  // A name step that FindChild took: `child` is the index-th child of `parent` that counts for
  // `name`, and its position-th child (from 0).
  static constexpr int kNameSteps = 8;
  static constexpr int kNameStepBytes = 48;
  struct NameStep {
    uint32_t parent;  // 0 in a slot not in use
    uint32_t child;
    int index;
    int position;
    uint32_t lastUse; // the step counter when the slot was last taken or found
    uint8_t nameLength;
    char name[kNameStepBytes];
  };
  // Tables made by the first Begin, so that a tree that was never built costs little.
  struct Tables {
    uint32_t depthOffsets[kMaxDepth + 1]; // by depth from 1: the element last opened there
    BufStr qualifiedName;                 // scratch for QualifiedName
    BufStr expandedName;                  // scratch for ExpandedName
    uint32_t stepParent;                  // the last NthChild step: parent, index and child
    int stepIndex;
    uint32_t stepChild;
    // The latest name steps under different parents, so that walking name[1], name[2]... under
    // one parent costs one sibling step each even when walks below other parents come between.
    NameStep nameSteps[kNameSteps];
    uint32_t nameStepClock;
  };
  NameStep* FindNameStep(uint32_t parent, std::string_view name);
  void RememberNameStep(uint32_t parent, std::string_view name, int index, int position,
                        uint32_t child);
  uint32_t Word(uint32_t offset, int index) const;
  void SetWord(uint32_t offset, int index, uint32_t value);
  bool IsRecord(uint32_t offset, uint8_t type, uint32_t minimumSize) const;
  std::string_view StringAt(uint32_t offset, uint32_t length, uint32_t recordEnd) const;
  // Appends a record: `fieldBytes` of fields (the type in the first, the size filled in here),
  // then the strings, each with a NUL; a text record has only the first.
  int AppendRecord(uint32_t* fields, uint32_t fieldBytes, std::string_view first,
                   std::string_view second, uint32_t* offset);
  uint32_t SkipMappings(uint32_t offset) const;
  bool ChildCounts(uint32_t child, std::string_view name) const;

  XmlScanTextN<8> arena;         // the records; its length is always a multiple of 4
  uint32_t cursor = 0;           // offset of the current element; 0 until a path is walked
  uint32_t root = 0;             // offset of the first element record; 0 while none exists
  uint32_t firstMappingMark = 0; // arena length when the present start tag's name ended
  uint32_t xmlMapping = 0;       // the fixed mapping record of the "xml" prefix
  Tables* tables = nullptr;      // made by the first Begin
};

} // namespace quillon
