// The public property table, made from quillon/QuillonProperties.inc at compile time: the rows
// in the order of their ids, a case-insensitive name index sorted at compile time, the typed
// members of Quillon, and the by-name members, which format numbers and flags as text.
#include "surface/ControlSurface.h"

#include "frame/Text.h"
#include "surface/EntryBindings.h"
#include "surface/HttpBindings.h"
#include "surface/NetBindings.h"
#include "surface/QuillonImpl.h"
#include "surface/SchemaBindings.h"
#include "surface/XmlBindings.h"

#include <algorithm>
#include <array>

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
// The public enumerations hand their values to the engine's as they stand.
static_assert(static_cast<int>(AuthSchemes::authOAuth) == authOAuth &&
              static_cast<int>(AuthSchemes::authNegotiate) == authNegotiate);
static_assert(static_cast<int>(ProxySSLTypes::psTunnel) == psTunnel);
static_assert(IdsFollowTheRows(), "rows stand in the order of their ids, from 1");

constexpr char Fold(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
// <0, 0 or >0, ignoring ASCII case.
constexpr int CompareNoCase(std::string_view a, std::string_view b) {
  const size_t n = std::min(a.size(), b.size());
  for (size_t i = 0; i < n; ++i)
    if (const char x = Fold(a[i]), y = Fold(b[i]); x != y)
      return static_cast<unsigned char>(x) < static_cast<unsigned char>(y) ? -1 : 1;
  return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

// The name index: a hash of the case-folded name picks a slot of an open-addressed table, built
// at compile time, so that a lookup folds the name once and compares it with one row, rarely two.
constexpr uint32_t HashNoCase(std::string_view name) {
  uint32_t hash = 2166136261u; // FNV-1a
  for (char c : name)
    hash = (hash ^ static_cast<unsigned char>(Fold(c))) * 16777619u;
  return hash;
}
constexpr size_t kSlotCount = 512; // a power of two, above three times the rows
constexpr uint8_t kEmptySlot = 0xFF;
constexpr auto kSlots = [] {
  std::array<uint8_t, kSlotCount> slots{};
  slots.fill(kEmptySlot);
  for (int i = 0; i < kRowCount; ++i) {
    size_t slot = HashNoCase(kRows[i].name) & (kSlotCount - 1);
    while (slots[slot] != kEmptySlot) {
      if (CompareNoCase(kRows[slots[slot]].name, kRows[i].name) == 0)
        throw "two properties share a name";
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
  for (size_t slot = HashNoCase(name) & (kSlotCount - 1); kSlots[slot] != kEmptySlot;
       slot = (slot + 1) & (kSlotCount - 1)) {
    const PropertyRow& row = kRows[kSlots[slot]];
    if (row.name.size() == name.size() && CompareNoCase(row.name, name) == 0) return &row;
  }
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
