// Layout: one element record per start tag, in document order, so that an element's first child
// is the record behind it (when that record names it as parent) and its next sibling is the
// record at its end index (when that one has the same parent). Attribute records follow the
// order of their elements; the mappings in scope at an element form a list from its innermost
// one down through `below`. Texts that lie in the kept text exactly as they are read (no
// reference decoded, no pieces joined) are not copied: the record holds their offset, and the
// first read copies them once, NUL-terminated, into room made while parsing.
#include "xml/XmlTree.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "xml/XmlErrors.h"
#include "xml/XmlNamespaces.h"

#include <cstring>
#include <new>

namespace quillon {

namespace {
constexpr uint32_t kMaxPool = 0x3FFFFFF0u;
} // namespace

XmlTree::~XmlTree() {
  Reset();
  if (tables) {
    tables->~Tables();
    MemFree(tables);
  }
}

void XmlTree::Reset() {
  if (tables) {
    std::memset(tables->depthElements, 0, sizeof tables->depthElements);
    tables->stepParent = 0;
    tables->stepIndex = 0;
    tables->stepChild = 0;
    std::memset(tables->nameSteps, 0, sizeof tables->nameSteps);
    tables->nameStepClock = 0;
  }
  copies.Release();
  elements.Release();
  attributes.Release();
  mappings.Release();
  pool.Release();
  names.Clear();
  cursor = 0;
  reachOpen = false;
  xmlMapping = 0;
}

int XmlTree::Begin() {
  if (!tables) {
    void* block = MemAlloc(sizeof(Tables));
    if (!block) return errOutOfMemory;
    tables = new (block) Tables();
  }
  return AppendMapping("xml", NS_XML, 0, &xmlMapping);
}

// Generated and real feeds hold an element and an attribute per 60 to 80 bytes; a denser
// document grows its arrays as usual, and room that is never written is never touched.
void XmlTree::Reserve(size_t inputBytes) {
  const uint32_t records = static_cast<uint32_t>(inputBytes / 48 + 16);
  elements.Reserve(elements.Count() + records);
  attributes.Reserve(attributes.Count() + records);
}

size_t XmlTree::Bytes() const {
  return elements.Bytes() + attributes.Bytes() + mappings.Bytes() + copies.Bytes() +
         static_cast<size_t>(pool.Length()) + names.Bytes();
}

int XmlTree::PlaceInPool(const char* text, uint32_t length, XmlTextSpan* span) {
  if (length > kMaxTextLength) return errOutOfMemory;
  span->length = length;
  const uint64_t at = static_cast<uint64_t>(pool.Length());
  if (at + length + 1 >= kMaxPool) return errOutOfMemory;
  char* bytes = pool.Extend(static_cast<int>(length + 1));
  if (!bytes) return errOutOfMemory;
  if (length) std::memcpy(bytes, text, length);
  bytes[length] = 0;
  span->offset = static_cast<uint32_t>(at);
  span->place = tpPool;
  return errNone;
}

std::string_view XmlTree::SpanText(XmlTextSpan& span) const {
  // An empty value is still there: it has a place, as an absent one has not.
  if (span.length == 0) return "";
  if (span.place == tpPool) return {pool.Data() + span.offset, span.length};
  if (span.place == tpCopy) return {copies.At(span.offset), span.length};
  // A kept text is copied on its first read, so that it ends in NUL like every other.
  const uint64_t end = uint64_t{span.offset} + span.length;
  if (!keptText || end > static_cast<uint64_t>(keptText->Length())) return {};
  const uint32_t copy = copies.Copy(keptText->Data() + span.offset, span.length);
  // Without room (a read while the document is still being pushed) the reader still gets the
  // right bytes, only without the NUL.
  if (copy == XmlCopyStore::kNone) return {keptText->Data() + span.offset, span.length};
  span.offset = copy;
  span.place = tpCopy;
  return {copies.At(copy), span.length};
}

std::string_view XmlTree::SpanBytes(const XmlTextSpan& span) const {
  if (span.length == 0) return "";
  if (span.place == tpPool) return {pool.Data() + span.offset, span.length};
  if (span.place == tpCopy) return {copies.At(span.offset), span.length};
  const uint64_t end = uint64_t{span.offset} + span.length;
  if (!keptText || end > static_cast<uint64_t>(keptText->Length())) return {};
  return {keptText->Data() + span.offset, span.length};
}

std::string_view XmlTree::TextBytes(uint32_t element) const {
  if (!IsElement(element) || ElementAt(element).text.length == 0) return {};
  return SpanBytes(ElementAt(element).text);
}

std::string_view XmlTree::AttrValueBytes(uint32_t attribute) const {
  if (attribute - 1 >= attributes.Count()) return {};
  return SpanBytes(attributes[attribute - 1].value);
}

int XmlTree::AppendMapping(std::string_view prefix, std::string_view uri, uint32_t below,
                           uint32_t* mapping) {
  Mapping record{};
  record.below = below;
  if (Place(prefix.data(), static_cast<uint32_t>(prefix.size()), kNotKept, &record.prefix) !=
          errNone ||
      Place(uri.data(), static_cast<uint32_t>(uri.size()), kNotKept, &record.uri) != errNone)
    return errOutOfMemory;
  Mapping* slot = mappings.Add();
  if (!slot) return errOutOfMemory;
  *slot = record;
  *mapping = mappings.Count();
  return errNone;
}

void XmlTree::SetAttrCount(int depth, int count) {
  if (const uint32_t element = ElementAtDepth(depth))
    ElementAt(element).attrCount = static_cast<uint16_t>(count);
}

uint32_t XmlTree::ParentOf(uint32_t element) const {
  return IsElement(element) ? ElementAt(element).parent : 0;
}

int XmlTree::ChildCountOf(uint32_t element) const {
  if (!IsElement(element)) return 0;
  const int count = ElementAt(element).childCount;
  return reachOpen && OpenChildOf(element) ? count + 1 : count;
}

uint32_t XmlTree::OpenChildOf(uint32_t element) const {
  if (!tables || !IsElement(element) || ElementAt(element).end) return 0;
  // The open elements are one chain from the root down, each the latest of its depth.
  for (int depth = 2; depth <= kMaxDepth && tables->depthElements[depth]; ++depth) {
    const uint32_t child = tables->depthElements[depth];
    if (!IsElement(child) || ElementAt(child).end) return 0;
    if (ElementAt(child).parent == element) return child;
  }
  return 0;
}

int XmlTree::AttrCountOf(uint32_t element) const {
  return IsElement(element) ? ElementAt(element).attrCount : 0;
}

int XmlTree::ScopeCountOf(uint32_t element) const {
  return IsElement(element) ? ElementAt(element).scopeCount : 0;
}

void XmlTree::KeptRange(uint32_t element, XmlKeptPart part, uint32_t* start, uint32_t* end) const {
  *start = *end = 0;
  if (!IsElement(element)) return;
  const Element& record = ElementAt(element);
  *start = part == kpSubtree ? record.subtreeStart : record.contentStart;
  *end = part == kpSubtree ? record.subtreeEnd : record.contentEnd;
}

std::string_view XmlTree::NameOf(uint32_t name) const {
  const std::string_view qualified = names.Name(name & ~kWholeName);
  if (name & kWholeName) return qualified;
  const int colon = names.ColonAt(name & ~kWholeName);
  return colon < 0 ? qualified : qualified.substr(static_cast<size_t>(colon) + 1);
}

std::string_view XmlTree::LocalName(uint32_t element) const {
  return IsElement(element) ? NameOf(ElementAt(element).name) : std::string_view();
}

std::string_view XmlTree::TextOf(uint32_t element) const {
  if (!IsElement(element) || ElementAt(element).text.length == 0) return {};
  return SpanText(ElementAt(element).text);
}

std::string_view XmlTree::MappingPrefix(uint32_t mapping) const {
  if (mapping - 1 >= mappings.Count()) return {};
  return SpanText(mappings[mapping - 1].prefix);
}

std::string_view XmlTree::MappingUri(uint32_t mapping) const {
  if (mapping - 1 >= mappings.Count()) return {};
  return SpanText(mappings[mapping - 1].uri);
}

std::string_view XmlTree::PrefixOf(uint32_t element) const {
  return IsElement(element) ? MappingPrefix(ElementAt(element).mapping) : std::string_view();
}

std::string_view XmlTree::NamespaceOf(uint32_t element) const {
  return IsElement(element) ? MappingUri(ElementAt(element).mapping) : std::string_view();
}

uint32_t XmlTree::AttributeRecord(uint32_t element, int i) const {
  if (!IsElement(element) || i < 0 || i >= ElementAt(element).attrCount) return 0;
  const uint32_t index = ElementAt(element).firstAttr + static_cast<uint32_t>(i);
  return index < attributes.Count() ? index + 1 : 0;
}

std::string_view XmlTree::AttrLocalName(uint32_t attribute) const {
  if (attribute - 1 >= attributes.Count()) return {};
  return NameOf(attributes[attribute - 1].name);
}

std::string_view XmlTree::AttrValue(uint32_t attribute) const {
  if (attribute - 1 >= attributes.Count()) return {};
  return SpanText(attributes[attribute - 1].value);
}

uint32_t XmlTree::AttrMapping(uint32_t attribute) const {
  return attribute - 1 < attributes.Count() ? attributes[attribute - 1].mapping : 0;
}

uint32_t XmlTree::MappingInScope(uint32_t element, int i) const {
  if (!IsElement(element) || i < 0 || i >= ElementAt(element).scopeCount) return 0;
  uint32_t mapping = ElementAt(element).scopeTop;
  for (int k = ElementAt(element).scopeCount - 1; k > i && mapping; --k)
    mapping = mapping - 1 < mappings.Count() ? mappings[mapping - 1].below : 0;
  return mapping;
}

uint32_t XmlTree::FirstChildOf(uint32_t element) const {
  if (!IsElement(element) || !IsElement(element + 1)) return 0;
  return ElementAt(element + 1).parent == element ? element + 1 : 0;
}

uint32_t XmlTree::NextSiblingOf(uint32_t element) const {
  if (!IsElement(element)) return 0;
  const uint32_t next = ElementAt(element).end;
  if (next <= element || !IsElement(next)) return 0;
  return ElementAt(next).parent == ElementAt(element).parent ? next : 0;
}

int XmlTree::NthChild(int n) {
  if (!cursor) cursor = Root();
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
    if (step.parent == parent && name == std::string_view(step.name, step.nameLength)) return &step;
  return nullptr;
}

void XmlTree::RememberNameStep(uint32_t parent, std::string_view name, int index, int position,
                               uint32_t child) {
  if (name.size() > sizeof NameStep::name) return;
  NameStep* step = FindNameStep(parent, name);
  if (!step) {
    step = &tables->nameSteps[0];
    for (NameStep& other : tables->nameSteps)
      if (other.lastUse < step->lastUse) step = &other;
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
  if (!cursor) cursor = Root();
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
        if (tables) RememberNameStep(cursor, name, wanted, i, child);
        cursor = child;
        return errNone;
      }
      --index;
      continue;
    }
    const int attrCount = AttrCountOf(child);
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

uint32_t XmlTree::ChildNamed(uint32_t parent, std::string_view name, int index) const {
  const int count = ChildCountOf(parent);
  uint32_t child = count > 0 ? FirstChildOf(parent) : 0;
  for (int i = 0; child && i < count; ++i, child = NextSiblingOf(child)) {
    const std::string_view uri = NamespaceOf(child);
    if (!uri.empty() && name.size() > uri.size() && name.starts_with(uri) &&
        name.substr(uri.size()) == LocalName(child))
      return child;
    if (ChildCounts(child, name) && --index == 0) return child;
  }
  return 0;
}

int XmlTree::GoParent() {
  if (!cursor || cursor == Root()) return errNoSuchChild;
  const uint32_t parent = ParentOf(cursor);
  if (!parent) {
    cursor = Root();
    return errNone;
  }
  if (parent >= cursor || !IsElement(parent)) return errXPath;
  cursor = parent;
  return errNone;
}

uint32_t XmlTree::LastUnclosed() const {
  if (!tables) return 0;
  uint32_t deepest = tables->depthElements[1];
  for (int depth = 1; depth <= kMaxDepth && tables->depthElements[depth]; ++depth) {
    const uint32_t element = tables->depthElements[depth];
    if (IsElement(element) && ElementAt(element).end == 0) deepest = element;
  }
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
