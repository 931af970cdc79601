// Reading feed and entry documents from `parser`:
//
//   ReadFeed:          clear entries -> ReadChannel -> children of /feed by "/feed/[i]":
//                      entry -> captured in place, Entry event; link rel="next" -> skiptoken
//                      -> SelectEntry(0)
//   ReadEntryDocument: /entry captured; its ETag from the response header when it has none
//   ReadChannel:       children of /feed by sibling steps; only unprefixed Atom names count
//
// A captured entry is read in the response document's tree, so neither the event nor a later
// read parses it again; what its event scans is dropped at once unless the entry is current.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"

#include <cstring>

namespace quillon {

namespace {
constexpr std::string_view kSkipToken = "$skiptoken=";

int AssignAttribute(BufStrBase& field, const XmlParser& parser, std::string_view name) {
  const char* value = parser.AttributeByName(name);
  return field.Assign(value ? value : "");
}

// The type attribute of an Atom text construct as AtomTextTypes: 0 text, 1 HTML, 2 XHTML.
int32_t TextType(const XmlParser& parser) {
  const char* type = parser.AttributeByName("type");
  if (!type) return 0;
  if (SameNoCase(type, "html")) return 1;
  if (SameNoCase(type, "xhtml")) return 2;
  const int32_t number = ParseDec32(type);
  return number >= 0 && number <= 2 ? number : 0;
}

// One child of /feed, at the cursor. TextAt moves the cursor; the caller puts it back.
int ReadChannelChild(QuillonCore& core, XmlParser& parser) {
  BufStr30 name;
  if (name.Assign(parser.XElement()) != errNone) return errOutOfMemory;
  struct TextField {
    const char* name;
    BufStr QuillonCore::*field;
    int32_t QuillonCore::*textType; // null when the element is no Atom text construct
  };
  static constexpr TextField kTexts[] = {
      {"icon", &QuillonCore::ChannelIcon, nullptr},
      {"id", &QuillonCore::ChannelId, nullptr},
      {"logo", &QuillonCore::ChannelLogo, nullptr},
      {"updated", &QuillonCore::ChannelUpdated, nullptr},
      {"generator", &QuillonCore::ChannelGenerator, nullptr},
      {"rights", &QuillonCore::ChannelRights, &QuillonCore::ChannelRightsTextType},
      {"title", &QuillonCore::ChannelTitle, &QuillonCore::ChannelTitleTextType},
      {"subtitle", &QuillonCore::ChannelSubtitle, &QuillonCore::ChannelSubtitleTextType},
  };
  for (const TextField& row : kTexts) {
    if (name.View() != row.name) continue;
    if (row.textType) core.*row.textType = TextType(parser);
    return (core.*row.field).Assign(parser.XText());
  }

  struct AttributeField {
    const char* element;
    const char* attribute;
    BufStr QuillonCore::*field;
  };
  static constexpr AttributeField kAttributes[] = {
      {"category", "label", &QuillonCore::ChannelCategoryLabel},
      {"category", "scheme", &QuillonCore::ChannelCategoryScheme},
      {"category", "term", &QuillonCore::ChannelCategoryTerm},
      {"link", "href", &QuillonCore::ChannelLinkHref},
      {"link", "hreflang", &QuillonCore::ChannelLinkHrefLang},
      {"link", "length", &QuillonCore::ChannelLinkLength},
      {"link", "rel", &QuillonCore::ChannelLinkRel},
      {"link", "title", &QuillonCore::ChannelLinkTitle},
      {"link", "type", &QuillonCore::ChannelLinkType},
  };
  int rc = errNone;
  for (const AttributeField& row : kAttributes)
    if (rc == errNone && name.View() == row.element)
      rc = AssignAttribute(core.*row.field, parser, row.attribute);

  struct PersonField {
    const char* element;
    const char* child;
    BufStr QuillonCore::*field;
  };
  static constexpr PersonField kPeople[] = {
      {"author", "email", &QuillonCore::ChannelAuthorEmail},
      {"author", "name", &QuillonCore::ChannelAuthorName},
      {"author", "uri", &QuillonCore::ChannelAuthorUri},
      {"contributor", "email", &QuillonCore::ChannelContributorEmail},
      {"contributor", "name", &QuillonCore::ChannelContributorName},
      {"contributor", "uri", &QuillonCore::ChannelContributorUri},
  };
  // TextAt leaves the cursor on the parent of what it read, which is this element again.
  for (const PersonField& row : kPeople)
    if (rc == errNone && name.View() == row.element)
      rc = (core.*row.field).Assign(parser.TextAt(row.child));
  return rc;
}

// A next link's href carries the token of the following page behind "$skiptoken=", taken
// unchanged. A link that ends right behind it stops the read.
int ReadNextLink(QuillonCore& core, const XmlParser& parser) {
  const char* rel = parser.AttributeByName("rel");
  const char* href = parser.AttributeByName("href");
  if (!rel || std::strcmp(rel, "next") != 0 || !href) return errNone;
  const std::string_view text = href;
  const size_t at = text.find(kSkipToken);
  if (at == std::string_view::npos) return errNone;
  const std::string_view token = text.substr(at + kSkipToken.size());
  if (token.empty()) return core.Fail(errIndex, "Invalid index (out of bounds).");
  return core.QuerySkipToken.Assign(token) == errNone ? errNone
                                                      : core.DescribeError(errOutOfMemory);
}

// Captures the cursor element of `parser` as a new last entry and reports it.
int AppendEntry(QuillonCore& core) {
  PtrList<EntryRecord>& entries = core.entries;
  const int index = entries.Count();
  if (entries.Resize(index + 1) != errNone || !entries.At(index)) {
    entries.Resize(index);
    return core.DescribeError(errOutOfMemory);
  }
  if (int rc = entries.At(index)->Capture(core.parser); rc != errNone) {
    entries.Resize(index);
    return rc == errOutOfMemory ? core.DescribeError(rc) : core.ParserFailure(rc);
  }
  if (!core.eventSink) return errNone;
  EntryRecord& entry = *entries.At(index);
  const char* etag = entry.ETag();
  core.FireEntry(entry.Value("/entry/id"), entry.Value("/entry/title"),
                 entry.Value("/entry/summary"), etag);
  // A handler may have done what it must not; look the entry up again.
  if (EntryRecord* again = entries.Peek(index); again && index != core.entryIndex) again->Release();
  return errNone;
}
} // namespace

int QuillonCore::ReadFeed() {
  entries.Clear();
  if (int rc = parser.SetXPath("/feed"); rc != errNone) return ParserFailure(rc);
  if (int rc = ReadChannel(); rc != errNone) return rc;
  if (int rc = parser.SetXPath("/feed"); rc != errNone) return ParserFailure(rc);
  const int count = parser.XChildrenCount();
  BufStr30 step;
  for (int i = 1; i <= count; ++i) {
    step.Assign("/feed/[");
    step.AppendDecimal(i);
    step.AppendChar(']');
    if (parser.SetXPath(step.View()) != errNone) break;
    const std::string_view name = parser.LocalName();
    int rc = errNone;
    if (SameNoCase(name, "entry"))
      rc = AppendEntry(*this);
    else if (SameNoCase(name, "link"))
      rc = ReadNextLink(*this, parser);
    if (rc != errNone) return rc;
  }
  return SelectEntry(0);
}

int QuillonCore::ReadEntryDocument() {
  entries.Clear();
  if (int rc = parser.SetXPath("/entry"); rc != errNone) return ParserFailure(rc);
  if (int rc = SelectEntry(0); rc != errNone) return rc;
  if (entries.Resize(1) != errNone || !entries.At(0)) {
    entries.Clear();
    return DescribeError(errOutOfMemory);
  }
  EntryRecord& entry = *entries.At(0);
  if (int rc = entry.Capture(parser); rc != errNone) {
    entries.Clear();
    return rc == errOutOfMemory ? DescribeError(rc) : ParserFailure(rc);
  }
  // Without an etag in the document the ETag response header gives it.
  const char* etag = entry.ETag();
  if (!etag || !*etag) {
    if (const std::string_view header = ParsedHeaderValue("ETag"); !header.empty()) {
      entry.SetETag(header);
      etag = entry.ETag();
    }
  }
  if (eventSink)
    FireEntry(entry.Value("/entry/id"), entry.Value("/entry/title"), entry.Value("/entry/summary"),
              etag);
  return SelectEntry(0);
}

int QuillonCore::ReadChannel() {
  if (int rc = parser.SetXPath("/feed"); rc != errNone) return ParserFailure(rc);
  if (parser.NthChild(1) != errNone) return errNone;
  BufStr30 back;
  do {
    const uint32_t child = parser.CursorOffset();
    if (ReadChannelChild(*this, parser) != errNone) return DescribeError(errOutOfMemory);
    back.Assign("*");
    back.AppendDecimal(child);
    if (int rc = parser.SetXPath(back.View()); rc != errNone) return ParserFailure(rc);
  } while (parser.NextSibling() == errNone);
  return errNone;
}

void QuillonCore::ClearChannel() {
  BufStrBase* texts[] = {
      &ChannelAuthorEmail,
      &ChannelAuthorName,
      &ChannelAuthorUri,
      &ChannelCategoryLabel,
      &ChannelCategoryScheme,
      &ChannelCategoryTerm,
      &ChannelContributorEmail,
      &ChannelContributorName,
      &ChannelContributorUri,
      &ChannelGenerator,
      &ChannelIcon,
      &ChannelId,
      &ChannelLinkHref,
      &ChannelLinkHrefLang,
      &ChannelLinkLength,
      &ChannelLinkRel,
      &ChannelLinkTitle,
      &ChannelLinkType,
      &ChannelLogo,
      &ChannelRights,
      &ChannelSubtitle,
      &ChannelTitle,
      &ChannelUpdated,
  };
  for (BufStrBase* text : texts)
    text->Clear();
  ChannelRightsTextType = ChannelSubtitleTextType = ChannelTitleTextType = 0;
}

} // namespace quillon
