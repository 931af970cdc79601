// The public property table, made from quillon/QuillonProperties.inc at compile time: the rows
// in the order of their ids, a case-insensitive name index sorted at compile time, the typed
// members of Quillon, and the by-name members, which format numbers and flags as text.
#include "surface/ControlSurface.h"

#include "frame/Text.h"
#include "surface/CertBindings.h"
#include "surface/EntryBindings.h"
#include "surface/HttpBindings.h"
#include "surface/NetBindings.h"
#include "surface/QuillonImpl.h"
#include "surface/SchemaBindings.h"
#include "surface/XmlBindings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace quillon {

namespace {

struct TypeTraits {
  PropertyType type;
  ValueKind kind;
  int64_t enumLimit; // an enumeration takes 0 up to this value less 1
};

// The Type column of a row. A token that is not here stops the build.
constexpr TypeTraits TraitsOf(std::string_view type) {
  constexpr std::pair<std::string_view, TypeTraits> kTypes[] = {
      {"Text", {PropertyType::Text, ValueKind::Text, 0}},
      {"Counted", {PropertyType::Text, ValueKind::Counted, 0}},
      {"Bytes", {PropertyType::Bytes, ValueKind::Bytes, 0}},
      {"Int", {PropertyType::Integer, ValueKind::Int, 0}},
      {"Bool", {PropertyType::Boolean, ValueKind::Bool, 0}},
      // Any byte is taken; only the low 8 bits are stored.
      {"AuthSchemes", {PropertyType::Enumeration, ValueKind::Enum, 256}},
      {"AtomTextTypes", {PropertyType::Enumeration, ValueKind::Enum, 3}},
      {"FirewallTypes", {PropertyType::Enumeration, ValueKind::Enum, 4}},
      {"ProxySSLTypes", {PropertyType::Enumeration, ValueKind::Enum, 4}},
      {"AssociationMultiplicities", {PropertyType::Enumeration, ValueKind::Enum, 3}},
      {"AssociationDeleteActions", {PropertyType::Enumeration, ValueKind::Enum, 2}},
      {"CertStoreTypes", {PropertyType::Enumeration, ValueKind::Enum, 18}},
  };
  for (const auto& [name, traits] : kTypes)
    if (name == type) return traits;
  throw "unknown property type";
}

// The Index column: the family and the name of its index.
struct IndexTraits {
  IndexFamily family;
  const char* indexName;
};
constexpr IndexTraits IndexOf(std::string_view index) {
  constexpr std::pair<std::string_view, IndexTraits> kFamilies[] = {
      {"None", {IndexFamily::None, nullptr}},
      {"Cookie", {IndexFamily::Cookie, "CookieIndex"}},
      {"ParsedHeader", {IndexFamily::ParsedHeader, "ParsedHeaderIndex"}},
      {"EntryLinks", {IndexFamily::EntryLinks, "EntryLinksIndex"}},
      {"EntryProperties", {IndexFamily::EntryProperties, "EntryPropertiesIndex"}},
      {"SchemaKeys", {IndexFamily::SchemaKeys, "SchemaKeysIndex"}},
      {"Attr", {IndexFamily::Attr, "AttrIndex"}},
      {"XChild", {IndexFamily::XChild, "XChildIndex"}},
  };
  for (const auto& [name, traits] : kFamilies)
    if (name == index) return traits;
  throw "unknown index family";
}

constexpr PropertyRow MakeRow(int id, std::string_view name, std::string_view type,
                              std::string_view index, std::string_view access,
                              std::string_view designTime, Binding binding) {
  if (access != "rw" && access != "ro") throw "access is rw or ro";
  if (designTime != "dt" && designTime != "rt") throw "design time is dt or rt";
  const TypeTraits traits = TraitsOf(type);
  const IndexTraits family = IndexOf(index);
  const bool readOnly = access == "ro";
  return {id,
          name,
          traits.type,
          traits.kind,
          family.family,
          readOnly,
          designTime == "dt",
          traits.enumLimit,
          family.indexName,
          binding.get,
          readOnly ? nullptr : binding.set};
}

constexpr PropertyRow kRows[] = {
#define QUILLON_PROPERTY(id, Name, Type, Index, Access, DesignTime, ...)                           \
  MakeRow(id, #Name, #Type, #Index, #Access, #DesignTime, __VA_ARGS__),
#include "quillon/QuillonProperties.inc"
#undef QUILLON_PROPERTY
};
constexpr int kRowCount = static_cast<int>(std::size(kRows));

constexpr bool IdsFollowTheRows() {
  for (int i = 0; i < kRowCount; ++i)
    if (kRows[i].id != i + 1) return false;
  return true;
}
static_assert(kRowCount == 159, "the public table has 159 properties");
static_assert(IdsFollowTheRows(), "rows stand in the order of their ids, from 1");

// The name index. Names are read eight bytes at a time: a letter folds to lower case by setting
// its 0x20 bit, and a row keeps, beside its folded words, the mask of its letters' 0x20 bits, so
// that a name matches the row when each word with the mask set equals the folded word. The
// words, with every 0x20 bit set, hash the name to a slot of an open-addressed table built at
// compile time, so that a lookup reads the name twice, a few words at a time, and compares it
// with one row, rarely two.
static_assert(std::endian::native == std::endian::little);
constexpr size_t WordCount(size_t length) {
  return (length + 7) / 8;
}
// Word `word` of `name`, its first byte lowest. The last word ends where the name ends, so it may
// overlap the one before; a name shorter than eight bytes is one word, padded with zeros.
constexpr uint64_t NameWord(std::string_view name, size_t word) {
  if (name.size() < 8 || std::is_constant_evaluated()) {
    const size_t at = name.size() < 8 ? 0 : std::min(word * 8, name.size() - 8);
    uint64_t value = 0;
    for (size_t i = 0; i < 8 && at + i < name.size(); ++i)
      value |= uint64_t{static_cast<unsigned char>(name[at + i])} << (8 * i);
    return value;
  }
  uint64_t value;
  std::memcpy(&value, name.data() + std::min(word * 8, name.size() - 8), 8);
  return value;
}
constexpr uint64_t LetterBits(uint64_t word) {
  uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) {
    const auto c = static_cast<char>(word >> (8 * i));
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) bits |= uint64_t{0x20} << (8 * i);
  }
  return bits;
}

constexpr size_t kSlotBits = 9;
constexpr size_t kSlotCount = size_t{1} << kSlotBits; // above three times the rows
constexpr uint8_t kEmptySlot = 0xFF;
constexpr size_t SlotOf(std::string_view name) {
  uint64_t hash = name.size();
  for (size_t word = 0; word < WordCount(name.size()); ++word)
    hash = (hash ^ (NameWord(name, word) | 0x2020202020202020u)) * 0xFF51AFD7ED558CCDu;
  return static_cast<size_t>(hash >> (64 - kSlotBits));
}

constexpr size_t kMaxNameLength = [] {
  size_t longest = 0;
  for (const PropertyRow& row : kRows)
    longest = std::max(longest, row.name.size());
  return longest;
}();
constexpr size_t kNameWords = WordCount(kMaxNameLength);

struct NameKey {
  uint64_t folded[kNameWords] = {};
  uint64_t letters[kNameWords] = {};
};
constexpr auto kKeys = [] {
  std::array<NameKey, kRowCount> keys{};
  for (int i = 0; i < kRowCount; ++i)
    for (size_t word = 0; word < WordCount(kRows[i].name.size()); ++word) {
      const uint64_t bytes = NameWord(kRows[i].name, word);
      keys[i].letters[word] = LetterBits(bytes);
      keys[i].folded[word] = bytes | keys[i].letters[word];
    }
  return keys;
}();

constexpr bool Matches(int row, std::string_view name) {
  if (kRows[row].name.size() != name.size()) return false;
  const NameKey& key = kKeys[row];
  for (size_t word = 0; word < WordCount(name.size()); ++word)
    if ((NameWord(name, word) | key.letters[word]) != key.folded[word]) return false;
  return true;
}

constexpr auto kSlots = [] {
  std::array<uint8_t, kSlotCount> slots{};
  slots.fill(kEmptySlot);
  for (int i = 0; i < kRowCount; ++i) {
    size_t slot = SlotOf(kRows[i].name);
    while (slots[slot] != kEmptySlot) {
      if (Matches(slots[slot], kRows[i].name)) throw "two properties share a name";
      slot = (slot + 1) & (kSlotCount - 1);
    }
    slots[slot] = static_cast<uint8_t>(i);
  }
  return slots;
}();
static_assert(kRowCount < kEmptySlot && kSlotCount >= 3 * kRowCount);

} // namespace

std::span<const PropertyRow> PropertyRows() {
  return kRows;
}

const PropertyRow* FindProperty(std::string_view name) {
  if (name.size() > kMaxNameLength) return nullptr;
  for (size_t slot = SlotOf(name); kSlots[slot] != kEmptySlot; slot = (slot + 1) & (kSlotCount - 1))
    if (Matches(kSlots[slot], name)) return &kRows[kSlots[slot]];
  return nullptr;
}

// Typed members
#define QUILLON_DEFINE_SETTER_rw(id, Name, Type, Index)                                            \
  int Quillon::Set##Name(QUILLON_INDEX_FIRST_##Index QUILLON_PARAM_##Type value) {                 \
    return impl->Set<QUILLON_PARAM_##Type>(kRows[id - 1], QUILLON_INDEX_ARG_##Index, value);       \
  }
#define QUILLON_DEFINE_SETTER_ro(id, Name, Type, Index)
#define QUILLON_PROPERTY(id, Name, Type, Index, Access, DesignTime, ...)                           \
  QUILLON_VALUE_##Type Quillon::Name(QUILLON_INDEX_##Index) const {                                \
    return impl->Get<QUILLON_VALUE_##Type>(kRows[id - 1], QUILLON_INDEX_ARG_##Index);              \
  }                                                                                                \
  QUILLON_DEFINE_SETTER_##Access(id, Name, Type, Index)
#include "quillon/QuillonProperties.inc"
#undef QUILLON_PROPERTY
#undef QUILLON_DEFINE_SETTER_rw
#undef QUILLON_DEFINE_SETTER_ro

// By name
namespace {
bool IsText(ValueKind kind) {
  return kind == ValueKind::Text || kind == ValueKind::Counted || kind == ValueKind::Bytes;
}
} // namespace

int Quillon::GetProperty(std::string_view name, std::string& value) {
  return GetProperty(name, -1, value);
}

int Quillon::GetProperty(std::string_view name, int index, std::string& value) {
  const PropertyRow* row = FindProperty(name);
  if (!row) return impl->SurfaceFailure(errUnknownMember, "Unknown property.", 0);
  if (IsText(row->kind)) return impl->ReadText(*row, index, value);
  int64_t number = 0;
  if (int rc = impl->ReadNumber(*row, index, number); rc != errNone) return rc;
  if (row->kind == ValueKind::Bool)
    value = number ? "-1" : "0";
  else
    value = std::to_string(number);
  return errNone;
}

int Quillon::SetProperty(std::string_view name, std::string_view value) {
  return SetProperty(name, -1, value);
}

int Quillon::SetProperty(std::string_view name, int index, std::string_view value) {
  const PropertyRow* row = FindProperty(name);
  if (!row) return impl->SurfaceFailure(errUnknownMember, "Unknown property.", 0);
  if (IsText(row->kind)) return impl->WriteText(*row, index, value);
  BufStr text;
  if (text.Assign(value.substr(0, value.find('\0'))) != errNone)
    return impl->BorderFailure(errOutOfMemory);
  int64_t number = ParseConfigNumber(text.Data());
  // A flag is true for any number but 0, and for "True" or "yes".
  if (row->kind == ValueKind::Bool) number = number != 0 || IsTrueText(text.View());
  return impl->WriteNumber(*row, index, number);
}

std::vector<PropertyInfo> Quillon::Properties() {
  std::vector<PropertyInfo> list;
  list.reserve(std::size(kRows));
  for (const PropertyRow& row : kRows)
    list.push_back({row.id, std::string(row.name), row.type, row.readOnly,
                    row.indexName ? row.indexName : "", row.designTime,
                    PropertyHelpNumber(row.id)});
  return list;
}

} // namespace quillon
