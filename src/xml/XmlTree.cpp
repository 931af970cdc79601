// Record layout (all fields 32-bit, every record padded with NULs to a multiple of 4):
//   E  type size end childCount parent mapping scopeCount firstMapping attrCount text
//      subtreeStart subtreeEnd contentStart contentEnd nameLength self | name NUL
//   A  type size mapping nameLength valueLength | name NUL value NUL
//   P  type size scopeEnd prefixLength uriLength | prefix NUL uri NUL
//   T  type size length | text NUL
// One element's records: its own mappings, E, its attributes, its children, its text. The first
// child is found by skipping E, the A records and any P records; the next sibling lies at the
// end offset, again behind any P records. A child count bounds both walks.
#include "xml/XmlTree.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "xml/XmlErrors.h"
#include "xml/XmlNamespaces.h"

#include <cstring>
#include <new>

namespace quillon {

namespace {
constexpr uint32_t kElementBytes = efFieldCount * 4;
constexpr uint32_t kAttributeBytes = 20;
constexpr uint32_t kMappingBytes = 20;
constexpr uint32_t kTextBytes = 12;

enum : int { pfScopeEnd = 2, pfPrefixLength, pfUriLength };
enum : int { afMapping = 2, afNameLength, afValueLength };
enum : int { tfLength = 2 };

constexpr uint32_t Padded(uint64_t bytes) {
  return static_cast<uint32_t>((bytes + 3) & ~3ull);
}
} // namespace

XmlTree::~XmlTree() {
  if (tables) {
    tables->~Tables();
    MemFree(tables);
  }
}

void XmlTree::Reset() {
  if (tables) {
    std::memset(tables->depthOffsets, 0, sizeof tables->depthOffsets);
    tables->stepParent = 0;
    tables->stepIndex = 0;
    tables->stepChild = 0;
    std::memset(tables->nameSteps, 0, sizeof tables->nameSteps);
    tables->nameStepClock = 0;
  }
  arena.Release();
  cursor = 0;
  root = 0;
  firstMappingMark = 0;
  xmlMapping = 0;
}

int XmlTree::Begin() {
  if (!tables) {
    void* block = MemAlloc(sizeof(Tables));
    if (!block) return errOutOfMemory;
    tables = new (block) Tables();
  }
  Reset();
  uint32_t empty;
  if (int rc = AppendMapping({}, {}, &empty); rc != errNone) return rc;
  return AppendMapping("xml", NS_XML, &xmlMapping);
}

uint32_t XmlTree::Word(uint32_t offset, int index) const {
  const uint64_t at = static_cast<uint64_t>(offset) + 4u * static_cast<uint32_t>(index);
  if (at + 4 > static_cast<uint64_t>(arena.Length())) return 0;
  uint32_t value;
  std::memcpy(&value, arena.Data() + at, 4);
  return value;
}

void XmlTree::SetWord(uint32_t offset, int index, uint32_t value) {
  const uint64_t at = static_cast<uint64_t>(offset) + 4u * static_cast<uint32_t>(index);
  if (at + 4 <= static_cast<uint64_t>(arena.Length()))
    std::memcpy(arena.MutableData() + at, &value, 4);
}

bool XmlTree::IsRecord(uint32_t offset, uint8_t type, uint32_t minimumSize) const {
  const uint64_t length = static_cast<uint64_t>(arena.Length());
  if (offset % 4 != 0 || offset + static_cast<uint64_t>(minimumSize) > length) return false;
  if (static_cast<uint8_t>(arena.Data()[offset]) != type) return false;
  const uint32_t size = Word(offset, 1);
  return size >= minimumSize && offset + static_cast<uint64_t>(size) <= length;
}

bool XmlTree::IsElement(uint32_t offset) const {
  return offset != 0 && IsRecord(offset, recElement, kElementBytes + 4) &&
         Word(offset, efSelf) == offset;
}

std::string_view XmlTree::StringAt(uint32_t offset, uint32_t length, uint32_t recordEnd) const {
  if (offset >= recordEnd || length >= recordEnd - offset) return {};
  return {arena.Data() + offset, length};
}

// Inline here so that each caller's fixed field size makes its copy a few stores.
inline int XmlTree::AppendRecord(uint32_t* fields, uint32_t fieldBytes, std::string_view first,
                                 std::string_view second, uint32_t* offset) {
  const uint8_t type = static_cast<uint8_t>(fields[0]);
  const uint64_t strings = first.size() + 1 + (type == recText ? 0 : second.size() + 1);
  const uint64_t size = Padded(fieldBytes + strings);
  const uint64_t at = static_cast<uint64_t>(arena.Length());
  if (at + size >= 0x3FFFFFF0u) return errOutOfMemory;
  char* record = arena.Extend(static_cast<int>(size));
  if (!record) return errOutOfMemory;
  fields[1] = static_cast<uint32_t>(size);
  // The strings add at least one byte, so the last word lies behind the fields: zeroing it
  // first pads the record.
  const uint32_t zero = 0;
  std::memcpy(record + size - 4, &zero, 4);
  std::memcpy(record, fields, fieldBytes);
  char* strings0 = record + fieldBytes;
  if (!first.empty()) std::memcpy(strings0, first.data(), first.size());
  strings0[first.size()] = 0;
  if (type != recText) {
    char* tail = strings0 + first.size() + 1;
    if (!second.empty()) std::memcpy(tail, second.data(), second.size());
    tail[second.size()] = 0;
  }
  *offset = static_cast<uint32_t>(at);
  return errNone;
}

int XmlTree::AppendMapping(std::string_view prefix, std::string_view uri, uint32_t* offset) {
  uint32_t fields[kMappingBytes / 4] = {recMapping};
  fields[pfPrefixLength] = static_cast<uint32_t>(prefix.size());
  fields[pfUriLength] = static_cast<uint32_t>(uri.size());
  return AppendRecord(fields, kMappingBytes, prefix, uri, offset);
}

int XmlTree::AppendElement(std::string_view localName, int depth, uint32_t mapping, int scopeCount,
                           bool isEmpty, int attrCount, uint32_t subtreeStart,
                           uint32_t contentStart) {
  if (depth < 1 || depth > kMaxDepth) return errOutOfMemory;
  uint32_t fields[efFieldCount] = {recElement};
  fields[efChildCount] = isEmpty ? static_cast<uint32_t>(-1) : 0;
  fields[efParent] = depth > 1 ? tables->depthOffsets[depth - 1] : 0;
  fields[efMapping] = mapping;
  fields[efScopeCount] = static_cast<uint32_t>(scopeCount);
  fields[efFirstMapping] = firstMappingMark;
  fields[efAttrCount] = static_cast<uint32_t>(attrCount);
  fields[efSubtreeStart] = subtreeStart;
  fields[efContentStart] = contentStart;
  fields[efNameLength] = static_cast<uint32_t>(localName.size());
  fields[efSelf] = ArenaLength();
  uint32_t at;
  if (int rc = AppendRecord(fields, kElementBytes, localName, {}, &at); rc != errNone) return rc;
  tables->depthOffsets[depth] = at;
  if (!root) root = at;
  return errNone;
}

int XmlTree::AppendAttribute(uint32_t mapping, std::string_view localName, std::string_view value) {
  uint32_t fields[kAttributeBytes / 4] = {recAttribute};
  fields[afMapping] = mapping;
  fields[afNameLength] = static_cast<uint32_t>(localName.size());
  fields[afValueLength] = static_cast<uint32_t>(value.size());
  uint32_t at;
  return AppendRecord(fields, kAttributeBytes, localName, value, &at);
}

int XmlTree::CompleteElement(int depth, std::string_view text, uint32_t contentEnd,
                             uint32_t subtreeEnd) {
  const uint32_t element = ElementAtDepth(depth);
  if (!IsElement(element)) return errNone;
  if (!text.empty()) {
    uint32_t fields[kTextBytes / 4] = {recText};
    fields[tfLength] = static_cast<uint32_t>(text.size());
    uint32_t at;
    if (int rc = AppendRecord(fields, kTextBytes, text, {}, &at); rc != errNone) return rc;
    SetWord(element, efText, at);
  }
  // The record was checked above and the parent is an element written before it.
  char* record = arena.MutableData() + element;
  const uint32_t end = ArenaLength();
  std::memcpy(record + 4 * efEnd, &end, 4);
  std::memcpy(record + 4 * efContentEnd, &contentEnd, 4);
  std::memcpy(record + 4 * efSubtreeEnd, &subtreeEnd, 4);
  uint32_t parent;
  std::memcpy(&parent, record + 4 * efParent, 4);
  if (parent) {
    char* parentRecord = arena.MutableData() + parent;
    uint32_t children;
    std::memcpy(&children, parentRecord + 4 * efChildCount, 4);
    ++children;
    std::memcpy(parentRecord + 4 * efChildCount, &children, 4);
  }
  return errNone;
}

void XmlTree::SetAttrCount(int depth, int count) {
  if (const uint32_t element = ElementAtDepth(depth))
    SetWord(element, efAttrCount, static_cast<uint32_t>(count));
}

void XmlTree::EndMappingScope(uint32_t mapping) {
  if (IsRecord(mapping, recMapping, kMappingBytes)) SetWord(mapping, pfScopeEnd, ArenaLength());
}

uint32_t XmlTree::ElementAtDepth(int depth) const {
  if (!tables || depth < 1 || depth > kMaxDepth) return 0;
  return tables->depthOffsets[depth];
}

uint32_t XmlTree::ElementField(uint32_t element, XmlElementField field) const {
  return IsElement(element) ? Word(element, field) : 0;
}

std::string_view XmlTree::LocalName(uint32_t element) const {
  if (!IsElement(element)) return {};
  return StringAt(element + kElementBytes, Word(element, efNameLength),
                  element + Word(element, efSize));
}

std::string_view XmlTree::TextOf(uint32_t element) const {
  const uint32_t text = ElementField(element, efText);
  if (!IsRecord(text, recText, kTextBytes + 4)) return {};
  return StringAt(text + kTextBytes, Word(text, tfLength), text + Word(text, efSize));
}

std::string_view XmlTree::MappingPrefix(uint32_t mapping) const {
  if (!IsRecord(mapping, recMapping, kMappingBytes + 4)) return {};
  return StringAt(mapping + kMappingBytes, Word(mapping, pfPrefixLength),
                  mapping + Word(mapping, efSize));
}

std::string_view XmlTree::MappingUri(uint32_t mapping) const {
  if (!IsRecord(mapping, recMapping, kMappingBytes + 4)) return {};
  const uint32_t prefixLength = Word(mapping, pfPrefixLength);
  const uint32_t recordEnd = mapping + Word(mapping, efSize);
  if (prefixLength >= recordEnd - mapping - kMappingBytes) return {};
  return StringAt(mapping + kMappingBytes + prefixLength + 1, Word(mapping, pfUriLength),
                  recordEnd);
}

std::string_view XmlTree::PrefixOf(uint32_t element) const {
  return MappingPrefix(ElementField(element, efMapping));
}

std::string_view XmlTree::NamespaceOf(uint32_t element) const {
  return MappingUri(ElementField(element, efMapping));
}

uint32_t XmlTree::AttributeRecord(uint32_t element, int i) const {
  if (!IsElement(element) || i < 0 || static_cast<uint32_t>(i) >= Word(element, efAttrCount))
    return 0;
  uint32_t at = element + Word(element, efSize);
  for (int k = 0;; ++k) {
    if (!IsRecord(at, recAttribute, kAttributeBytes + 4)) return 0;
    if (k == i) return at;
    at += Word(at, efSize);
  }
}

std::string_view XmlTree::AttrLocalName(uint32_t attribute) const {
  if (!IsRecord(attribute, recAttribute, kAttributeBytes + 4)) return {};
  return StringAt(attribute + kAttributeBytes, Word(attribute, afNameLength),
                  attribute + Word(attribute, efSize));
}

std::string_view XmlTree::AttrValue(uint32_t attribute) const {
  if (!IsRecord(attribute, recAttribute, kAttributeBytes + 4)) return {};
  const uint32_t nameLength = Word(attribute, afNameLength);
  const uint32_t recordEnd = attribute + Word(attribute, efSize);
  if (nameLength >= recordEnd - attribute - kAttributeBytes) return {};
  return StringAt(attribute + kAttributeBytes + nameLength + 1, Word(attribute, afValueLength),
                  recordEnd);
}

uint32_t XmlTree::AttrMapping(uint32_t attribute) const {
  return IsRecord(attribute, recAttribute, kAttributeBytes + 4) ? Word(attribute, afMapping) : 0;
}

uint32_t XmlTree::MappingInScope(uint32_t element, int i) const {
  if (!IsElement(element) || i < 0 || static_cast<uint32_t>(i) >= Word(element, efScopeCount))
    return 0;
  // Climb to the outermost element that still has mapping i in scope; its own mappings start
  // at the count in scope at its parent.
  uint32_t parent = Word(element, efParent);
  while (parent && parent < element && IsElement(parent) &&
         static_cast<uint32_t>(i) < Word(parent, efScopeCount)) {
    element = parent;
    parent = Word(element, efParent);
  }
  const uint32_t base = IsElement(parent) && parent < element ? Word(parent, efScopeCount) : 0;
  if (static_cast<uint32_t>(i) < base) return 0;
  uint32_t at = Word(element, efFirstMapping);
  for (uint32_t k = base;; ++k) {
    if (at >= element || !IsRecord(at, recMapping, kMappingBytes + 4)) return 0;
    if (k == static_cast<uint32_t>(i)) return at;
    at += Word(at, efSize);
  }
}

uint32_t XmlTree::SkipMappings(uint32_t offset) const {
  while (IsRecord(offset, recMapping, kMappingBytes + 4))
    offset += Word(offset, efSize);
  return offset;
}

uint32_t XmlTree::FirstChildOf(uint32_t element) const {
  if (!IsElement(element)) return 0;
  uint32_t at = element + Word(element, efSize);
  while (IsRecord(at, recAttribute, kAttributeBytes + 4))
    at += Word(at, efSize);
  at = SkipMappings(at);
  return IsElement(at) && Word(at, efParent) == element ? at : 0;
}

uint32_t XmlTree::NextSiblingOf(uint32_t element) const {
  if (!IsElement(element)) return 0;
  const uint32_t end = Word(element, efEnd);
  if (end <= element) return 0;
  const uint32_t next = SkipMappings(end);
  return IsElement(next) && Word(next, efParent) == Word(element, efParent) ? next : 0;
}

int XmlTree::NthChild(int n) {
  if (!cursor) cursor = root;
  if (!cursor) return errNone;
  const int count = ChildCount();
  if (n < 1 || n > count) return errXPath;
  // Walking on from the last step makes a loop over "[i]" linear in the number of children.
  uint32_t child;
  int at;
  if (tables->stepParent == cursor && tables->stepIndex <= n && IsElement(tables->stepChild)) {
    child = tables->stepChild;
    at = tables->stepIndex;
  } else {
    child = FirstChildOf(cursor);
    at = 1;
  }
  for (; child && at < n; ++at)
    child = NextSiblingOf(child);
  if (!child) return errXPath;
  tables->stepParent = cursor;
  tables->stepIndex = n;
  tables->stepChild = child;
  cursor = child;
  return errNone;
}

int XmlTree::NextSibling() {
  if (!IsElement(cursor)) return errXPath;
  const uint32_t next = NextSiblingOf(cursor);
  if (!next) return errXPath;
  cursor = next;
  return errNone;
}

bool XmlTree::ChildCounts(uint32_t child, std::string_view name) const {
  const std::string_view local = LocalName(child);
  if (name == local) return true;
  const std::string_view prefix = PrefixOf(child);
  return !prefix.empty() && name.size() == prefix.size() + 1 + local.size() &&
         name.starts_with(prefix) && name[prefix.size()] == ':' && name.ends_with(local);
}

XmlTree::NameStep* XmlTree::FindNameStep(uint32_t parent, std::string_view name) {
  for (NameStep& step : tables->nameSteps)
    if (step.parent == parent && name == std::string_view(step.name, step.nameLength))
      return &step;
  return nullptr;
}

void XmlTree::RememberNameStep(uint32_t parent, std::string_view name, int index, int position,
                               uint32_t child) {
  if (name.size() > sizeof NameStep::name)
    return;
  NameStep* step = FindNameStep(parent, name);
  if (!step) {
    step = &tables->nameSteps[0];
    for (NameStep& other : tables->nameSteps)
      if (other.lastUse < step->lastUse)
        step = &other;
    step->parent = parent;
    step->nameLength = static_cast<uint8_t>(name.size());
    std::memcpy(step->name, name.data(), name.size());
  }
  step->child = child;
  step->index = index;
  step->position = position;
  step->lastUse = ++tables->nameStepClock;
}

// A child whose namespace and local name spell `name` is taken at once. Otherwise a child
// counts when `name` is its local name or its prefix, ':' and local name as written; without
// an attribute test the index-th such child is taken, with one the first that carries it.
// A search by index goes on from a remembered step of the same name under the same parent: the
// children before that step held no match by namespace, and index - 1 that counted.
int XmlTree::FindChild(std::string_view name, int index, std::string_view attribute,
                       const std::string_view* value) {
  if (!cursor) cursor = root;
  const int count = ChildCount();
  uint32_t child = count > 0 ? FirstChildOf(cursor) : 0;
  int i = 0;
  const int wanted = index;
  NameStep* step = attribute.empty() && tables ? FindNameStep(cursor, name) : nullptr;
  if (step && step->index <= index && step->position < count && IsElement(step->child)) {
    child = step->child;
    i = step->position;
    index -= step->index - 1;
    step->lastUse = ++tables->nameStepClock;
  }
  for (; child && i < count; ++i, child = NextSiblingOf(child)) {
    const std::string_view uri = NamespaceOf(child);
    if (!uri.empty() && name.size() > uri.size() && name.starts_with(uri) &&
        name.substr(uri.size()) == LocalName(child)) {
      cursor = child;
      return errNone;
    }
    if (!ChildCounts(child, name)) continue;
    if (attribute.empty()) {
      if (index == 1) {
        if (tables)
          RememberNameStep(cursor, name, wanted, i, child);
        cursor = child;
        return errNone;
      }
      --index;
      continue;
    }
    const int attrCount = static_cast<int>(Word(child, efAttrCount));
    for (int a = 0; a < attrCount; ++a) {
      const uint32_t record = AttributeRecord(child, a);
      if (!record) break;
      if (AttrLocalName(record) == attribute && (!value || AttrValue(record) == *value)) {
        cursor = child;
        return errNone;
      }
    }
  }
  return errNoSuchChild;
}

int XmlTree::GoParent() {
  if (!cursor || cursor == root) return errNoSuchChild;
  const uint32_t parent = Word(cursor, efParent);
  if (!parent) {
    cursor = root;
    return errNone;
  }
  if (parent >= cursor || !IsElement(parent)) return errXPath;
  cursor = parent;
  return errNone;
}

uint32_t XmlTree::LastUnclosed() const {
  if (!tables) return 0;
  uint32_t deepest = tables->depthOffsets[1];
  for (int depth = 1; depth <= kMaxDepth && tables->depthOffsets[depth]; ++depth)
    if (Word(tables->depthOffsets[depth], efEnd) == 0) deepest = tables->depthOffsets[depth];
  return deepest;
}

std::string_view XmlTree::QualifiedName() {
  return QualifiedNameOf(cursor);
}

std::string_view XmlTree::QualifiedNameOf(uint32_t element) {
  if (!tables || !IsElement(element)) return {};
  BufStrBase& out = tables->qualifiedName;
  const std::string_view prefix = PrefixOf(element);
  out.Resize(0, nullptr);
  if (!prefix.empty()) {
    out.Append(prefix);
    out.AppendChar(':');
  }
  out.Append(LocalName(element));
  return out.View();
}

std::string_view XmlTree::ExpandedName() {
  if (!tables || !IsElement(cursor)) return {};
  BufStrBase& out = tables->expandedName;
  out.Assign(NamespaceOf(cursor));
  out.Append(LocalName(cursor));
  return out.View();
}

} // namespace quillon
