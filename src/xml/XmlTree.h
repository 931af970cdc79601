// The document as arrays of fixed records written in document order, with a cursor: elements,
// their attributes and the prefix mappings, plus a pool for names and for texts that are not
// found as they stand in the kept text. Records refer to each other by index + 1 (0: none).
#pragma once

#include "frame/BufStr.h"
#include "frame/Errors.h"
#include "xml/XmlCopyStore.h"
#include "xml/XmlNamePool.h"
#include "xml/XmlRecordArray.h"
#include "xml/XmlScanText.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// Where the bytes of a text lie: in the tree's pool, in the kept text (the input as it stood),
// or in a copy made when a kept text was first read, so that every text handed out ends in NUL.
enum XmlTextPlace : uint32_t { tpPool, tpKept, tpCopy };

struct XmlTextSpan {
  uint32_t offset; // into the pool or the kept text, or the index of the copy
  uint32_t length : 30;
  uint32_t place : 2; // XmlTextPlace
};

// Parts of an element's kept text.
enum XmlKeptPart { kpSubtree, kpContents };

class XmlTree {
public:
  static constexpr int kMaxDepth = 256;
  // A text given to the tree as lying in the kept text at this offset is not copied.
  static constexpr uint32_t kNotKept = 0xFFFFFFFFu;
  // The longest text a span can hold.
  static constexpr uint32_t kMaxTextLength = (1u << 30) - 1;

  XmlTree() = default;
  ~XmlTree();
  XmlTree(const XmlTree&) = delete;
  XmlTree& operator=(const XmlTree&) = delete;

  // The kept text that tpKept spans point into; set once by the owner.
  void SetKeptText(const XmlScanText* text) { keptText = text; }

  // Building, in document order. Each returns 0 or 200.
  // Empties the tree and the cursor, keeping the name pool's blocks; allocates nothing.
  void Reset();
  // Makes the tables on first use and writes the fixed mapping of the "xml" prefix into the
  // empty tree.
  int Begin();
  bool Begun() const { return mappings.Count() > 0; }
  // Makes room for the records of about `inputBytes` more bytes of input; a hint only.
  void Reserve(size_t inputBytes);
  // Makes room for the first reads of the texts that lie in the kept text, so that reading
  // never allocates; 0 or 200. Called behind every push.
  int ReserveCopies() { return copies.Reserve(); }
  // The names of the document; the scanner interns through it even without a tree.
  XmlNamePool& Names() { return names; }
  const XmlNamePool& Names() const { return names; }
  // Appends a mapping whose predecessor in scope is `below` (a mapping or 0).
  int AppendMapping(std::string_view prefix, std::string_view uri, uint32_t below,
                    uint32_t* mapping);
  // Appends an open element at `depth` (1 for a root) and makes it the element of that depth.
  // `name` is a name id, with kWholeName when the local name is the whole qualified name. Offsets
  // into the kept text: `subtreeStart` of its '<', `contentStart` behind its '>'.
  static constexpr uint32_t kWholeName = 0x80000000u;
  inline int AppendElement(uint32_t name, int depth, uint32_t mapping, uint32_t scopeTop,
                           int scopeCount, bool isEmpty, int attrCount, uint32_t subtreeStart,
                           uint32_t contentStart);
  // Appends an attribute of the last element. Its value of `length` bytes is copied from
  // `value`, unless `keptAt` gives its place in the kept text (then `value` may be null).
  inline int AppendAttribute(uint32_t name, uint32_t mapping, const char* value, uint32_t length,
                             uint32_t keptAt);
  // Closes the element of `depth`: its text (given as a value above), its end and kept-text
  // offsets, and its count in its parent.
  inline int CompleteElement(int depth, const char* text, uint32_t length, uint32_t keptAt,
                             uint32_t contentEnd, uint32_t subtreeEnd);
  // Corrects the attribute count of the element of `depth` after a failed attribute.
  void SetAttrCount(int depth, int count);
  uint32_t ElementAtDepth(int depth) const {
    return tables && depth >= 1 && depth <= kMaxDepth ? tables->depthElements[depth] : 0;
  }
  // The fixed mapping of the "xml" prefix.
  uint32_t XmlMapping() const { return xmlMapping; }

  // Element offsets as callers keep them ("*offset" paths): every offset below OffsetLimit that
  // is no element's is refused.
  uint32_t OffsetLimit() const { return (elements.Count() + 1) * kElementBytes; }
  uint32_t OffsetOf(uint32_t element) const { return element * kElementBytes; }
  uint32_t ElementAtOffset(uint32_t offset) const {
    return offset % kElementBytes == 0 && IsElement(offset / kElementBytes) ? offset / kElementBytes
                                                                            : 0;
  }
  // Bytes held by the tree, for the benchmarks.
  size_t Bytes() const;

  // Record access. Each takes any number and answers empty, 0 or false for a non-record.
  bool IsElement(uint32_t element) const { return element - 1 < elements.Count(); }
  uint32_t ParentOf(uint32_t element) const;
  // Completed child elements; -1 for a self-closed element. While open children are reached,
  // an open element counts its open child (always its last) as well.
  int ChildCountOf(uint32_t element) const;
  // Makes paths reach into the elements still open, for reading a document cut short. Off by
  // default and after Reset; the owner turns it on around such a read only.
  void ReachOpenChildren(bool on) { reachOpen = on; }
  // The open child of an open element, or 0.
  uint32_t OpenChildOf(uint32_t element) const;
  int AttrCountOf(uint32_t element) const;
  int ScopeCountOf(uint32_t element) const;
  // The element's part of the kept text as offsets; both 0 while it is open.
  void KeptRange(uint32_t element, XmlKeptPart part, uint32_t* start, uint32_t* end) const;
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
  uint32_t NextSiblingOf(uint32_t element) const;
  // Whether the element's end has been read: its end tag, or the end of its self-closed tag.
  bool IsClosed(uint32_t element) const { return IsElement(element) && ElementAt(element).end; }
  // The child of `parent` that the name step `name[index]` takes, as FindChild does, without
  // the cursor or the remembered steps; 0 when there is none.
  uint32_t ChildNamed(uint32_t parent, std::string_view name, int index = 1) const;
  // The bytes of an element's text or of an attribute's value where they lie: nothing is copied,
  // and a text that lies in the kept text is not NUL-terminated.
  std::string_view TextBytes(uint32_t element) const;
  std::string_view AttrValueBytes(uint32_t attribute) const;

  // Cursor
  uint32_t Cursor() const { return cursor; }
  uint32_t Root() const { return elements.Count() ? 1 : 0; }
  // The cursor, or the root while no path has been walked.
  uint32_t CursorOrRoot() const { return cursor ? cursor : Root(); }
  void SetCursor(uint32_t element) { cursor = element; }
  int ChildCount() const { return ChildCountOf(CursorOrRoot()); }
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
  struct Element {
    uint32_t end;          // index + 1 of the first element behind its subtree; 0 while open
    uint32_t parent;       // 0 at depth 1
    int32_t childCount;    // completed child elements; -1 for a self-closed element
    uint32_t name;         // name id, with kWholeName
    uint32_t mapping;      // the mapping of its prefix, or the default one; 0 if none
    uint32_t scopeTop;     // the innermost mapping in scope, its own included
    uint16_t scopeCount;   // mappings in scope, its own included
    uint16_t attrCount;    // attributes from firstAttr on
    uint32_t firstAttr;    // index of its first attribute record
    XmlTextSpan text;      // its own text
    uint32_t subtreeStart; // kept text: the '<' of the start tag
    uint32_t contentStart; // kept text: behind the start tag
    uint32_t contentEnd;   // kept text: the '<' of the end tag
    uint32_t subtreeEnd;   // kept text: behind the '>' of the end tag
  };
  struct Attribute {
    uint32_t name;    // name id, with kWholeName
    uint32_t mapping; // the mapping of its prefix; 0 if none
    XmlTextSpan value;
  };
  struct Mapping {
    XmlTextSpan prefix;
    XmlTextSpan uri;
    uint32_t below; // the mapping in scope before it, or 0
  };
  static constexpr uint32_t kElementBytes = sizeof(Element);

  // A name step that FindChild took: `child` is the index-th child of `parent` that counts for
  // `name`, and its position-th child (from 0).
  static constexpr int kNameSteps = 8;
  static constexpr int kNameStepBytes = 48;
  struct NameStep {
    uint32_t parent; // 0 in a slot not in use
    uint32_t child;
    int index;
    int position;
    uint32_t lastUse; // the step counter when the slot was last taken or found
    uint8_t nameLength;
    char name[kNameStepBytes];
  };
  // Tables made by the first Begin, so that a tree that was never built costs little.
  struct Tables {
    uint32_t depthElements[kMaxDepth + 1]; // by depth from 1: the element last opened there
    BufStr qualifiedName;                  // scratch for QualifiedName
    BufStr expandedName;                   // scratch for ExpandedName
    uint32_t stepParent;                   // the last NthChild step: parent, index and child
    int stepIndex;
    uint32_t stepChild;
    // The latest name steps under different parents, so that walking name[1], name[2]... under
    // one parent costs one sibling step each even when walks below other parents come between.
    NameStep nameSteps[kNameSteps];
    uint32_t nameStepClock;
  };
  Element& ElementAt(uint32_t element) const { return elements[element - 1]; }
  // Stores `text` in the pool, or refers to the kept text; 0 or 200.
  inline int Place(const char* text, uint32_t length, uint32_t keptAt, XmlTextSpan* span);
  int PlaceInPool(const char* text, uint32_t length, XmlTextSpan* span);
  // The bytes of a span, NUL-terminated: a kept text is copied on first read.
  std::string_view SpanText(XmlTextSpan& span) const;
  // The bytes of a span where they lie.
  std::string_view SpanBytes(const XmlTextSpan& span) const;
  std::string_view NameOf(uint32_t name) const;
  NameStep* FindNameStep(uint32_t parent, std::string_view name);
  void RememberNameStep(uint32_t parent, std::string_view name, int index, int position,
                        uint32_t child);
  bool ChildCounts(uint32_t child, std::string_view name) const;

  XmlRecordArray<Element> elements;      // in document order of their start tags
  XmlRecordArray<Attribute> attributes;  // in document order
  XmlRecordArray<Mapping> mappings;      // in document order; the first is the "xml" prefix
  XmlScanTextN<8> pool;                  // NUL-terminated texts that are not kept as they stand
  mutable XmlCopyStore copies;           // texts copied out of the kept text when first read
  XmlNamePool names;                     // the names of elements and attributes
  const XmlScanText* keptText = nullptr; // the owner's kept text
  uint32_t cursor = 0;                   // the current element; 0 until a path is walked
  uint32_t xmlMapping = 0;               // the fixed mapping of the "xml" prefix
  Tables* tables = nullptr;              // made by the first Begin
  bool reachOpen = false;                // see ReachOpenChildren
};

// The appends of every tag are inline: the scanner makes one or two per tag, and a call costs
// about as much as the record.

inline int XmlTree::Place(const char* text, uint32_t length, uint32_t keptAt, XmlTextSpan* span) {
  if (keptAt == kNotKept) return PlaceInPool(text, length, span);
  if (length > kMaxTextLength) return errOutOfMemory;
  span->offset = keptAt;
  span->length = length;
  span->place = tpKept;
  copies.Expect(length);
  return errNone;
}

inline int XmlTree::AppendElement(uint32_t name, int depth, uint32_t mapping, uint32_t scopeTop,
                                  int scopeCount, bool isEmpty, int attrCount,
                                  uint32_t subtreeStart, uint32_t contentStart) {
  if (depth < 1 || depth > kMaxDepth) return errOutOfMemory;
  Element* record = elements.Add();
  if (!record) return errOutOfMemory;
  record->end = 0;
  record->parent = depth > 1 ? tables->depthElements[depth - 1] : 0;
  record->childCount = isEmpty ? -1 : 0;
  record->name = name;
  record->mapping = mapping;
  record->scopeTop = scopeTop;
  record->scopeCount = static_cast<uint16_t>(scopeCount);
  record->attrCount = static_cast<uint16_t>(attrCount);
  record->firstAttr = attributes.Count();
  record->text = {};
  record->subtreeStart = subtreeStart;
  record->contentStart = contentStart;
  record->contentEnd = 0;
  record->subtreeEnd = 0;
  tables->depthElements[depth] = elements.Count();
  return errNone;
}

inline int XmlTree::AppendAttribute(uint32_t name, uint32_t mapping, const char* value,
                                    uint32_t length, uint32_t keptAt) {
  // The value is placed straight into the record, which goes again when that fails.
  Attribute* record = attributes.Add();
  if (!record) return errOutOfMemory;
  if (Place(value, length, keptAt, &record->value) != errNone) {
    attributes.RemoveLast();
    return errOutOfMemory;
  }
  record->name = name;
  record->mapping = mapping;
  return errNone;
}

inline int XmlTree::CompleteElement(int depth, const char* text, uint32_t length, uint32_t keptAt,
                                    uint32_t contentEnd, uint32_t subtreeEnd) {
  const uint32_t element = ElementAtDepth(depth);
  if (!IsElement(element)) return errNone;
  if (length)
    if (int rc = Place(text, length, keptAt, &ElementAt(element).text); rc != errNone) return rc;
  Element& record = ElementAt(element);
  record.end = elements.Count() + 1;
  record.contentEnd = contentEnd;
  record.subtreeEnd = subtreeEnd;
  if (record.parent) ++ElementAt(record.parent).childCount;
  return errNone;
}

} // namespace quillon
