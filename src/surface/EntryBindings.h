// Bindings of the current entry: Entry... An index read outside a list fails as an index of the
// surface, with "Invalid Index" in lastError; an index write outside it is the engine's 432.
#pragma once

#include "surface/Bindings.h"

namespace quillon {

inline int EntryResult(QuillonCore& core, EntryRecord& entry, int rc) {
  return rc == errNone ? rc : core.EntryFailure(entry, rc);
}

// The entry's own fields, read and written by path in its raw text.
inline constexpr std::string_view kEntryId = "/entry/id";
inline constexpr std::string_view kEntryTitle = "/entry/title";
inline constexpr std::string_view kEntrySummary = "/entry/summary";
inline constexpr std::string_view kEntryUpdated = "/entry/updated";
template <const std::string_view& Path>
int GetEntryField(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.CurrentEntry().Value(Path));
  return errNone;
}
template <const std::string_view& Path>
int SetEntryField(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  return EntryResult(core, entry, entry.SetValue(Path, in.text.View()));
}
template <const std::string_view& Path>
constexpr Binding EntryField{&GetEntryField<Path>, &SetEntryField<Path>};

inline int GetEntryAuthor(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.CurrentEntry().Author(core.nameAndEmailFormat));
  return errNone;
}
inline int SetEntryAuthor(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  return EntryResult(core, entry, entry.SetAuthor(in.text.View(), core.nameAndEmailFormat));
}
inline int GetEntryETag(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.CurrentEntry().ETag());
  return errNone;
}
inline int SetEntryETag(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  return EntryResult(core, entry, entry.SetETag(in.text.View()));
}
inline int GetEntryXml(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.CurrentEntry().Xml());
  return errNone;
}
inline int SetEntryXml(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  return EntryResult(core, entry, entry.SetXml(in.text.View()));
}

// Counts and the cursor: 32-bit, so that a feed of any size is reachable.
inline int GetEntryCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.entries.Count();
  return errNone;
}
inline int GetEntryIndex(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.entryIndex;
  return errNone;
}
inline int SetEntryIndex(QuillonCore& core, int, const PropertyValue& in) {
  // A number beyond 32 bits is outside every list.
  return core.SetEntryIndex(
      in.number < INT32_MIN || in.number > INT32_MAX ? INT32_MIN : static_cast<int>(in.number));
}

// Resizing a list marks it as the host's: a count below 0 empties it.
inline int GetEntryLinksCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.CurrentEntry().LinkCount();
  return errNone;
}
inline int SetEntryLinksCount(QuillonCore& core, int, const PropertyValue& in) {
  PtrList<EntryLink>* links = core.CurrentEntry().LinksForEdit();
  return links ? links->Resize(static_cast<int>(in.number)) : errOutOfMemory;
}
inline int GetEntryPropertiesCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.CurrentEntry().PropertyCount();
  return errNone;
}
inline int SetEntryPropertiesCount(QuillonCore& core, int, const PropertyValue& in) {
  PtrList<EntryProperty>* properties = core.CurrentEntry().PropertiesForEdit();
  return properties ? properties->Resize(static_cast<int>(in.number)) : errOutOfMemory;
}

template <BufStr30 EntryLink::*Field>
int GetEntryLinkText(QuillonCore& core, int index, PropertyValue& out) {
  EntryRecord& entry = core.CurrentEntry();
  if (index < 0 || index >= entry.LinkCount()) return core.Fail(errArrayIndex, "Invalid Index");
  const EntryLink* link = entry.Links()->At(index);
  if (!link) return errOutOfMemory;
  out.text.Point(link->*Field);
  return errNone;
}
template <BufStr30 EntryLink::*Field>
constexpr Binding EntryLinkText{&GetEntryLinkText<Field>, nullptr};

// The property at `index` of the current entry for reading, or null with the failure in `*rc`.
inline EntryProperty* ReadableProperty(QuillonCore& core, int index, int* rc) {
  EntryRecord& entry = core.CurrentEntry();
  if (index < 0 || index >= entry.PropertyCount()) {
    *rc = core.Fail(errArrayIndex, "Invalid Index");
    return nullptr;
  }
  EntryProperty* property = entry.Properties()->At(index);
  *rc = property ? errNone : errOutOfMemory;
  return property;
}
// The same for writing: the index is tested against the scanned list, as the engine does.
inline EntryProperty* WritableProperty(QuillonCore& core, int index, int* rc) {
  EntryRecord& entry = core.CurrentEntry();
  entry.ScanProperties();
  PtrList<EntryProperty>* properties = entry.Properties();
  if (!properties || index < 0 || index >= properties->Count()) {
    *rc = properties ? core.Fail(errIndex, "Invalid index (out of bounds).") : errOutOfMemory;
    return nullptr;
  }
  EntryProperty* property = entry.PropertiesForEdit()->At(index);
  *rc = property ? errNone : errOutOfMemory;
  return property;
}

template <BufStr30 EntryProperty::*Field>
int GetEntryPropertyText(QuillonCore& core, int index, PropertyValue& out) {
  int rc;
  if (const EntryProperty* property = ReadableProperty(core, index, &rc))
    out.text.Point(property->*Field);
  return rc;
}
template <BufStr30 EntryProperty::*Field>
int SetEntryPropertyText(QuillonCore& core, int index, const PropertyValue& in) {
  int rc;
  EntryProperty* property = WritableProperty(core, index, &rc);
  return property ? (property->*Field).Assign(in.text.View()) : rc;
}
template <BufStr30 EntryProperty::*Field>
constexpr Binding EntryPropertyText{&GetEntryPropertyText<Field>, &SetEntryPropertyText<Field>};

inline int GetEntryPropertyValue(QuillonCore& core, int index, PropertyValue& out) {
  return GetEntryPropertyText<&EntryProperty::value>(core, index, out);
}
// A value makes the property not null; an empty one makes it null.
inline int SetEntryPropertyValue(QuillonCore& core, int index, const PropertyValue& in) {
  int rc;
  EntryProperty* property = WritableProperty(core, index, &rc);
  if (!property) return rc;
  property->isNull = in.text.IsEmpty() ? 1 : 0;
  return property->value.Assign(in.text.View());
}
inline int GetEntryPropertyIsNull(QuillonCore& core, int index, PropertyValue& out) {
  int rc;
  if (const EntryProperty* property = ReadableProperty(core, index, &rc))
    out.number = property->isNull != 0;
  return rc;
}
// A null has no value.
inline int SetEntryPropertyIsNull(QuillonCore& core, int index, const PropertyValue& in) {
  int rc;
  EntryProperty* property = WritableProperty(core, index, &rc);
  if (!property) return rc;
  property->isNull = in.number != 0;
  if (property->isNull) property->value.Clear();
  return errNone;
}
inline int GetEntryPropertyXPath(QuillonCore& core, int index, PropertyValue& out) {
  int rc;
  if (ReadableProperty(core, index, &rc)) out.text.Point(core.PropertyXPath(index));
  return rc;
}

} // namespace quillon
