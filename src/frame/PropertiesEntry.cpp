// Properties of the current entry and of the channel: Channel..., Entry... An index read outside
// a list fails as an index of the surface, with "Invalid Index" in lastError; an index write
// outside it is the engine's 432.
#include "frame/ControlSurface.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr int64_t kTextTypeLimit = 3; // AtomTextTypes: text, HTML, XHTML

int TextOut(PropertyValue& out, const char* text) {
  return out.text.Assign(text ? text : "");
}

int InvalidIndex(QuillonCore& core) {
  return core.Fail(errArrayIndex, "Invalid Index");
}

int OutOfBounds(QuillonCore& core) {
  return core.Fail(errIndex, "Invalid index (out of bounds).");
}

template <int32_t QuillonCore::*Member> int GetNumber(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.*Member;
  return errNone;
}
template <int32_t QuillonCore::*Member>
int SetNumber(QuillonCore& core, int, const PropertyValue& in) {
  core.*Member = static_cast<int32_t>(in.number);
  return errNone;
}
template <int32_t QuillonCore::*Member>
constexpr PropertyRow TextTypeRow(int id, const char* name) {
  return {id,      name,           PropertyType::Enumeration, false,
          nullptr, kTextTypeLimit, &GetNumber<Member>,        &SetNumber<Member>};
}

// The entry's own fields, read and written by path in its raw text.
template <const std::string_view& Path>
int GetEntryField(QuillonCore& core, int, PropertyValue& out) {
  return TextOut(out, core.CurrentEntry().Value(Path));
}
template <const std::string_view& Path>
int SetEntryField(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  if (int rc = entry.SetValue(Path, in.text.View()); rc != errNone)
    return core.EntryFailure(entry, rc);
  return errNone;
}
constexpr std::string_view kId = "/entry/id";
constexpr std::string_view kTitle = "/entry/title";
constexpr std::string_view kSummary = "/entry/summary";
constexpr std::string_view kUpdated = "/entry/updated";

int GetAuthor(QuillonCore& core, int, PropertyValue& out) {
  return TextOut(out, core.CurrentEntry().Author(core.nameAndEmailFormat));
}
int SetAuthor(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  if (int rc = entry.SetAuthor(in.text.View(), core.nameAndEmailFormat); rc != errNone)
    return core.EntryFailure(entry, rc);
  return errNone;
}

int GetETag(QuillonCore& core, int, PropertyValue& out) {
  return TextOut(out, core.CurrentEntry().ETag());
}
int SetETag(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  if (int rc = entry.SetETag(in.text.View()); rc != errNone) return core.EntryFailure(entry, rc);
  return errNone;
}

int GetXml(QuillonCore& core, int, PropertyValue& out) {
  return TextOut(out, core.CurrentEntry().Xml());
}
int SetXml(QuillonCore& core, int, const PropertyValue& in) {
  EntryRecord& entry = core.CurrentEntry();
  if (int rc = entry.SetXml(in.text.View()); rc != errNone) return core.EntryFailure(entry, rc);
  return errNone;
}

int GetEntryCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.entries.Count();
  return errNone;
}
int GetEntryIndex(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.entryIndex;
  return errNone;
}
int SetEntryIndex(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetEntryIndex(static_cast<int32_t>(in.number));
}

// Links
int GetLinksCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.CurrentEntry().LinkCount());
  return errNone;
}
int SetLinksCount(QuillonCore& core, int, const PropertyValue& in) {
  PtrList<EntryLink>* links = core.CurrentEntry().LinksForEdit();
  return links ? links->Resize(static_cast<int16_t>(in.number)) : errOutOfMemory;
}
template <BufStr30 EntryLink::*Field>
int GetLink(QuillonCore& core, int index, PropertyValue& out) {
  EntryRecord& entry = core.CurrentEntry();
  if (index < 0 || index >= entry.LinkCount()) return InvalidIndex(core);
  const EntryLink* link = entry.Links()->At(index);
  return link ? out.text.Assign(link->*Field) : errOutOfMemory;
}

// Properties
int GetPropertiesCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.CurrentEntry().PropertyCount());
  return errNone;
}
int SetPropertiesCount(QuillonCore& core, int, const PropertyValue& in) {
  PtrList<EntryProperty>* properties = core.CurrentEntry().PropertiesForEdit();
  return properties ? properties->Resize(static_cast<int16_t>(in.number)) : errOutOfMemory;
}

// The property at `index` of the current entry for reading, or null with the failure in `*rc`.
EntryProperty* ReadableProperty(QuillonCore& core, int index, int* rc) {
  EntryRecord& entry = core.CurrentEntry();
  if (index < 0 || index >= entry.PropertyCount()) {
    *rc = InvalidIndex(core);
    return nullptr;
  }
  EntryProperty* property = entry.Properties()->At(index);
  *rc = property ? errNone : errOutOfMemory;
  return property;
}
// The same for writing: the index is tested against the scanned list.
EntryProperty* WritableProperty(QuillonCore& core, int index, int* rc) {
  EntryRecord& entry = core.CurrentEntry();
  entry.ScanProperties();
  PtrList<EntryProperty>* properties = entry.Properties();
  if (!properties || index < 0 || index >= properties->Count()) {
    *rc = properties ? OutOfBounds(core) : errOutOfMemory;
    return nullptr;
  }
  EntryProperty* property = entry.PropertiesForEdit()->At(index);
  *rc = property ? errNone : errOutOfMemory;
  return property;
}

template <BufStr30 EntryProperty::*Field>
int GetProperty(QuillonCore& core, int index, PropertyValue& out) {
  int rc;
  const EntryProperty* property = ReadableProperty(core, index, &rc);
  return property ? out.text.Assign(property->*Field) : rc;
}
template <BufStr30 EntryProperty::*Field>
int SetProperty(QuillonCore& core, int index, const PropertyValue& in) {
  int rc;
  EntryProperty* property = WritableProperty(core, index, &rc);
  return property ? (property->*Field).Assign(in.text) : rc;
}
int GetPropertyIsNull(QuillonCore& core, int index, PropertyValue& out) {
  int rc;
  const EntryProperty* property = ReadableProperty(core, index, &rc);
  if (property) out.number = property->isNull != 0;
  return rc;
}
int SetPropertyIsNull(QuillonCore& core, int index, const PropertyValue& in) {
  int rc;
  EntryProperty* property = WritableProperty(core, index, &rc);
  if (!property) return rc;
  property->isNull = in.number != 0;
  if (property->isNull) property->value.Clear();
  return errNone;
}
int SetPropertyValue(QuillonCore& core, int index, const PropertyValue& in) {
  int rc;
  EntryProperty* property = WritableProperty(core, index, &rc);
  if (!property) return rc;
  property->isNull = in.text.IsEmpty() ? 1 : 0;
  return property->value.Assign(in.text);
}
int GetPropertyXPath(QuillonCore& core, int index, PropertyValue& out) {
  int rc;
  if (!ReadableProperty(core, index, &rc)) return rc;
  return out.text.Assign(core.PropertyXPath(index));
}

constexpr const char* kLinksIndex = "EntryLinksIndex";
constexpr const char* kPropertiesIndex = "EntryPropertiesIndex";

const PropertyRow kRows[] = {
    TextFieldRow<&QuillonCore::ChannelAuthorEmail>(3, "ChannelAuthorEmail"),
    TextFieldRow<&QuillonCore::ChannelAuthorName>(4, "ChannelAuthorName"),
    TextFieldRow<&QuillonCore::ChannelAuthorUri>(5, "ChannelAuthorUri"),
    TextFieldRow<&QuillonCore::ChannelCategoryLabel>(6, "ChannelCategoryLabel"),
    TextFieldRow<&QuillonCore::ChannelCategoryScheme>(7, "ChannelCategoryScheme"),
    TextFieldRow<&QuillonCore::ChannelCategoryTerm>(8, "ChannelCategoryTerm"),
    TextFieldRow<&QuillonCore::ChannelContributorEmail>(9, "ChannelContributorEmail"),
    TextFieldRow<&QuillonCore::ChannelContributorName>(10, "ChannelContributorName"),
    TextFieldRow<&QuillonCore::ChannelContributorUri>(11, "ChannelContributorUri"),
    TextFieldRow<&QuillonCore::ChannelGenerator>(12, "ChannelGenerator"),
    TextFieldRow<&QuillonCore::ChannelIcon>(13, "ChannelIcon"),
    TextFieldRow<&QuillonCore::ChannelId>(14, "ChannelId"),
    TextFieldRow<&QuillonCore::ChannelLinkHref>(15, "ChannelLinkHref"),
    TextFieldRow<&QuillonCore::ChannelLinkHrefLang>(16, "ChannelLinkHrefLang"),
    TextFieldRow<&QuillonCore::ChannelLinkLength>(17, "ChannelLinkLength"),
    TextFieldRow<&QuillonCore::ChannelLinkRel>(18, "ChannelLinkRel"),
    TextFieldRow<&QuillonCore::ChannelLinkTitle>(19, "ChannelLinkTitle"),
    TextFieldRow<&QuillonCore::ChannelLinkType>(20, "ChannelLinkType"),
    TextFieldRow<&QuillonCore::ChannelLogo>(21, "ChannelLogo"),
    TextFieldRow<&QuillonCore::ChannelRights>(22, "ChannelRights"),
    TextTypeRow<&QuillonCore::ChannelRightsTextType>(23, "ChannelRightsTextType"),
    TextFieldRow<&QuillonCore::ChannelSubtitle>(24, "ChannelSubtitle"),
    TextTypeRow<&QuillonCore::ChannelSubtitleTextType>(25, "ChannelSubtitleTextType"),
    TextFieldRow<&QuillonCore::ChannelTitle>(26, "ChannelTitle"),
    TextTypeRow<&QuillonCore::ChannelTitleTextType>(27, "ChannelTitleTextType"),
    TextFieldRow<&QuillonCore::ChannelUpdated>(28, "ChannelUpdated"),
    {36, "EntryAuthor", PropertyType::Text, false, nullptr, 0, &GetAuthor, &SetAuthor},
    {37, "EntryCount", PropertyType::Integer, true, nullptr, 0, &GetEntryCount, nullptr},
    {38, "EntryETag", PropertyType::Text, false, nullptr, 0, &GetETag, &SetETag},
    {39, "EntryId", PropertyType::Text, false, nullptr, 0, &GetEntryField<kId>,
     &SetEntryField<kId>},
    {40, "EntryIndex", PropertyType::Integer, false, nullptr, 0, &GetEntryIndex, &SetEntryIndex},
    {41, "EntryLinksCount", PropertyType::Integer, false, nullptr, 0, &GetLinksCount,
     &SetLinksCount},
    {42, "EntryLinksResourcePath", PropertyType::Text, true, kLinksIndex, 0,
     &GetLink<&EntryLink::href>, nullptr},
    {43, "EntryLinksTitle", PropertyType::Text, true, kLinksIndex, 0, &GetLink<&EntryLink::title>,
     nullptr},
    {44, "EntryPropertiesCount", PropertyType::Integer, false, nullptr, 0, &GetPropertiesCount,
     &SetPropertiesCount},
    {45, "EntryPropertiesAttributes", PropertyType::Text, false, kPropertiesIndex, 0,
     &GetProperty<&EntryProperty::attributes>, &SetProperty<&EntryProperty::attributes>},
    {46, "EntryPropertiesIsNull", PropertyType::Boolean, false, kPropertiesIndex, 0,
     &GetPropertyIsNull, &SetPropertyIsNull},
    {47, "EntryPropertiesName", PropertyType::Text, false, kPropertiesIndex, 0,
     &GetProperty<&EntryProperty::name>, &SetProperty<&EntryProperty::name>},
    {48, "EntryPropertiesType", PropertyType::Text, false, kPropertiesIndex, 0,
     &GetProperty<&EntryProperty::type>, &SetProperty<&EntryProperty::type>},
    {49, "EntryPropertiesValue", PropertyType::Text, false, kPropertiesIndex, 0,
     &GetProperty<&EntryProperty::value>, &SetPropertyValue},
    {50, "EntryPropertiesXPath", PropertyType::Text, true, kPropertiesIndex, 0, &GetPropertyXPath,
     nullptr},
    {51, "EntrySummary", PropertyType::Text, false, nullptr, 0, &GetEntryField<kSummary>,
     &SetEntryField<kSummary>},
    {52, "EntryTitle", PropertyType::Text, false, nullptr, 0, &GetEntryField<kTitle>,
     &SetEntryField<kTitle>},
    {53, "EntryUpdated", PropertyType::Text, true, nullptr, 0, &GetEntryField<kUpdated>, nullptr},
    {54, "EntryXML", PropertyType::Text, false, nullptr, 0, &GetXml, &SetXml},
};
} // namespace

std::span<const PropertyRow> EntryProperties() {
  return kRows;
}

} // namespace quillon
