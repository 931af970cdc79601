// The feed and entry reader: channel fields, entries taken as raw text and parsed on demand,
// their links and properties, the Entry event, the next link and entry selection.
#include "ODataTestSupport.h"

#include "frame/Errors.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <tuple>

namespace quillon::test {
namespace {

TEST(FeedReader, ChannelTakesUnprefixedAtomFieldsAndTheLastOfEach) {
  QuillonCore core;
  ASSERT_EQ(Dispatch(core, Feed(R"(<title type="html">T &amp; U</title>
      <atom:subtitle xmlns:atom="http://www.w3.org/2005/Atom">prefixed</atom:subtitle>
      <author><name>Ann</name><email>ann@example.com</email></author>
      <link rel="self" href="Products" hreflang="en" title="P"/>
      <link rel="alternate" href="Other" length="10"/>)")),
            0);
  // Only unprefixed names count (no subtitle), and the last link wins as a whole: its absent
  // attributes are empty.
  EXPECT_EQ(Join(core.ChannelTitle, core.ChannelSubtitle, core.ChannelAuthorName,
                 core.ChannelAuthorEmail, core.ChannelLinkHref, core.ChannelLinkRel,
                 core.ChannelLinkLength, core.ChannelLinkHrefLang, core.ChannelLinkTitle,
                 core.ChannelTitleTextType),
            "T & U||Ann|ann@example.com|Other|alternate|10|||1");
}

TEST(FeedReader, TextTypesByWordOrNumber) {
  // The type of title, subtitle and rights: 0 text, 1 HTML, 2 XHTML; other numbers are text.
  const std::pair<const char*, int> rows[] = {
      {"text", 0}, {"html", 1}, {"HTML", 1}, {"xhtml", 2}, {"XHtml", 2}, {"0", 0},
      {"1", 1},    {"2", 2},    {"3", 0},    {"-1", 0},    {"", 0},
  };
  for (const auto& [type, expected] : rows) {
    QuillonCore core;
    const std::string attribute = std::string(" type=\"") + type + "\">x";
    ASSERT_EQ(Dispatch(core, Feed("<title" + attribute + "</title><subtitle" + attribute +
                                  "</subtitle><rights" + attribute + "</rights>")),
              0);
    EXPECT_EQ(
        Join(core.ChannelTitleTextType, core.ChannelSubtitleTextType, core.ChannelRightsTextType),
        Join(expected, expected, expected))
        << type;
  }
}

TEST(FeedReader, NumericReferencesDecodeToTheCodePage) {
  const std::tuple<int, const char*, const char*> rows[] = {
      // code page, reference, value
      // The ends of each UTF-8 length are the scanner's rows (XmlScannerTest); here the code page.
      {65001, "&#x800;", "\xE0\xA0\x80"},
      {65001, "&#128512;", "\xF0\x9F\x98\x80"},
      {65001, "&#x10FFFF;", "\xF4\x8F\xBF\xBF"},
      {65001, "&#x110000;", "&#x110000;"}, // no code point: kept as written
      {1252, "&#xE9;", "\xE9"},
      {1252, "&#x1F600;", "&#x1F600;"}, // beyond one UTF-16 unit outside UTF-8: kept
  };
  for (const auto& [codePage, reference, value] : rows) {
    QuillonCore core;
    core.codePage = codePage;
    ASSERT_EQ(Dispatch(core, Feed(std::string("<entry><m:properties><d:V>") + reference +
                                  "</d:V></m:properties></entry>")),
              0);
    ASSERT_EQ(core.CurrentEntry().PropertyCount(), 1) << reference;
    EXPECT_EQ(core.CurrentEntry().Properties()->At(0)->value.View(), value)
        << codePage << " " << reference;
  }
}

TEST(FeedReader, EntriesAreReadInPlaceAndDetachWithTheFeedsPrefixes) {
  QuillonCore core;
  const std::string inner = R"(<id>E1</id><content type="application/xml"><m:properties>)"
                            R"(<d:Name>Ann</d:Name></m:properties></content>)";
  const std::string secondEntry = "<entry xmlns:d='urn:inner'><id>E2</id></entry>";
  ASSERT_EQ(Dispatch(core, Feed("<entry>" + inner + "</entry>" + secondEntry)), 0);
  ASSERT_EQ(core.entries.Count(), 2);
  EntryRecord& first = *core.entries.At(0);
  EntryRecord& second = *core.entries.At(1);
  // A scan in place lives on in the copy; the text is byte for byte, in place and in the copy.
  ASSERT_EQ(first.PropertyCount(), 1);
  EXPECT_EQ(Join(first.RawText(), first.InDocument()), inner + "|1");
  ASSERT_EQ(Join(first.Detach(), second.Detach()), "0|0");
  // An inner declaration of a prefix replaces the outer one; d: resolved, so a local name.
  const char* const metadata =
      "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\"";
  EXPECT_EQ(Join(first.InDocument(), first.rawXml, first.namespaces.Find(metadata) >= 0,
                 second.namespaces.Find("xmlns:d=\"urn:inner\"") >= 0,
                 second.namespaces.Find("xmlns:d=\"http") >= 0,
                 first.Properties()->At(0)->name.View()),
            "0|" + inner + "|1|1|0|Name");
  first.Release();
  ASSERT_EQ(first.PropertyCount(), 1); // scanned again in the entry's own parse
  EXPECT_EQ(Join(first.Properties()->At(0)->name.View(), second.Value("/entry/id")), "Name|E2");
}

TEST(FeedReader, EntryEventsComeWhileTheFeedIsRead) {
  QuillonCore core;
  EntryEvents sink;
  core.SetEventSink(&sink);
  std::vector<std::string> seen; // EntryCount and EntryIndex inside each event
  sink.during = [&] {
    seen.push_back(std::to_string(core.entries.Count()) + "@" + std::to_string(core.entryIndex));
  };
  ASSERT_EQ(Dispatch(core, Feed(R"(<entry m:etag="W/&quot;1&quot;"><id>A</id><title>Ta</title>
      <summary>Sa</summary></entry><link rel="self" href="x"/><entry><id>B</id>
      <link rel="edit" href="B" m:etag="W/&quot;2&quot;"/></entry>)")),
            0);
  EXPECT_EQ(sink.events, (std::vector<std::string>{"A|Ta|Sa|W/\"1\"", "B|||W/\"2\""}));
  EXPECT_EQ(seen, (std::vector<std::string>{"1@0", "2@0"}));

  // An empty feed fires nothing and leaves the scratch entry current.
  sink.events.clear();
  core.ResourcePath.Assign("old");
  ASSERT_EQ(Dispatch(core, Feed("<title>empty</title>")), 0);
  EXPECT_EQ(Join(sink.events.size(), core.entries.Count(),
                 &core.CurrentEntry() == &core.scratchEntry, core.ResourcePath),
            "0|0|1|");
}

TEST(FeedReader, NextLinkCarriesTheSkipToken) {
  // The link, the result, and QuerySkipToken afterwards; it held "old".
  const std::tuple<const char*, int, const char*> rows[] = {
      {R"(<link rel="next" href="P?$top=2&amp;$skiptoken=abc%2C1"/>)", 0, "abc%2C1"},
      {R"(<link rel="next" href="P?$skip=2"/>)", 0, "old"},
      {R"(<link rel="self" href="P?$skiptoken=zzz"/>)", 0, "old"},
      {R"(<link rel="Next" href="P?$skiptoken=zzz"/>)", 0, "old"}, // rel compares exactly
      {R"(<link rel="next" HREF="P?$skiptoken=up"/>)", 0, "up"},   // the name ignores case
      {R"(<link rel="next" href="P?$skiptoken="/>)", errIndex, "old"},
  };
  for (const auto& [link, result, token] : rows) {
    QuillonCore core;
    core.QuerySkipToken.Assign("old");
    const int rc = Dispatch(
        core, Feed("<entry><id>1</id></entry>" + std::string(link) + "<entry><id>2</id></entry>"));
    // A token that ends the href stops the read with the entries read so far.
    EXPECT_EQ(Join(rc, core.QuerySkipToken, core.entries.Count()),
              Join(result, token, result ? 1 : 2))
        << link;
  }
}

TEST(FeedReader, SelectionWritesTheEditLinkOverResourcePath) {
  QuillonCore core;
  ASSERT_EQ(Dispatch(core, Feed(R"~(<entry><link rel="edit" href="P(1)"/></entry>
      <entry><link rel="edit" href="P(2)"/></entry><entry><id>no edit link</id></entry>
      <entry><link rel="edit" href="P(4)"/></entry>)~")),
            0);
  const auto select = [&](int index) {
    const int rc = core.SetEntryIndex(index);
    return Join(rc, core.ResourcePath.View(), core.entryIndex);
  };
  EXPECT_EQ(core.ResourcePath.View(), "P(1)");
  EXPECT_EQ(select(1), "0|P(2)|1");
  EXPECT_EQ(select(2), "0||2");
  EXPECT_EQ(select(4), Join(errIndex, "", 2));
  EXPECT_STREQ(core.LastErrorText(), "Invalid index (out of bounds).");

  core.scratchEntry.SetRawXml("<id>new</id>", true);
  EXPECT_EQ(select(-1), "0||0");
  EXPECT_EQ(Join(core.entries.Count(), core.scratchEntry.rawXml.View()), "0|");
  EXPECT_EQ(core.SetEntryIndex(0), errIndex); // no entry exists any more
}

TEST(FeedReader, LinksKeepNavigationOnlyAndTheETagFollowsEditMedia) {
  // The attributes of <entry> and then its links, the ETag, the navigation links.
  const std::tuple<const char*, const char*, int> rows[] = {
      {R"(><link rel="edit" href="E" m:etag="e"/><link rel="edit-media" m:etag="m"/>)", "m", 0},
      {R"(><link rel="edit-media" m:etag="m"/><link rel="edit" href="E" m:etag="e"/>)", "m", 0},
      // A second edit link keeps the first etag; a link's etag wins over the entry's.
      {R"(><link rel="edit" m:etag="e1"/><link rel="edit" m:etag="e2"/>)", "e1", 0},
      {R"( m:etag="x"><link rel="edit" m:etag="l"/>)", "l", 0},
      // Self and unknown rels are dropped; navigation links go by their rel's scheme and host.
      {R"(><link rel="self" m:etag="s"/><link rel="related" href="r"/>)", "", 0},
      {R"(><link rel="http://schemas.microsoft.com/ado/2007/08/dataservices/related/A" href="A"/>
         <link rel="http://schemas.microsoft.com/x" title="X"/><link rel="http://other/y"/>)",
       "", 2},
  };
  for (const auto& [links, etag, navigation] : rows) {
    QuillonCore core;
    ASSERT_EQ(Dispatch(core, Feed(std::string("<entry") + links + "</entry>")), 0) << links;
    EntryRecord& entry = core.CurrentEntry();
    EXPECT_EQ(Join(entry.ETag(), entry.LinkCount()), Join(etag, navigation)) << links;
  }
}

TEST(FeedReader, PropertiesFlattenComplexValuesAndTellNulls) {
  QuillonCore core;
  ASSERT_EQ(Dispatch(core, Feed(R"(<entry><content type="application/xml"><m:properties>
      <d:ID m:type="Edm.Int32">7</d:ID>
      <d:Gone m:type="Edm.DateTime" m:null="true"/>
      <d:Blank></d:Blank>
      <d:Fake m:null="True">text</d:Fake>
      <d:Location m:type="Ns.Location"><d:City m:type="Ns.City"><d:Name>Rome</d:Name>
        </d:City><d:Country>IT</d:Country></d:Location>
      </m:properties></content></entry>
      <entry><m:properties><d:Size>3</d:Size></m:properties><content src="m.png"/></entry>)")),
            0);
  // "name|type|value|isNull|path|attributes"; m:null counts only as "true" exactly.
  const char* const expected[] = {
      "ID|Edm.Int32|7|0|content/properties/ID|type=\"Edm.Int32\"",
      "Gone|Edm.DateTime||1|content/properties/Gone|type=\"Edm.DateTime\" null=\"true\"",
      "Blank|||1|content/properties/Blank|",
      "Fake||text|0|content/properties/Fake|null=\"True\"",
      "Location/City/Name||Rome|0|content/properties/Location/City/Name|",
      "Location/Country||IT|0|content/properties/Location/Country|",
  };
  EntryRecord& entry = *core.entries.At(0);
  ASSERT_EQ(entry.PropertyCount(), 6);
  for (int i = 0; i < 6; ++i) {
    const EntryProperty& p = *entry.Properties()->At(i);
    EXPECT_EQ(Join(p.name, p.type, p.value, p.isNull, p.path, p.attributes), expected[i]);
  }
  // A media entry holds its properties directly under entry.
  EntryRecord& media = *core.entries.At(1);
  ASSERT_EQ(media.PropertyCount(), 1);
  EXPECT_EQ(media.Properties()->At(0)->path.View(), "properties/Size");
}

TEST(FeedReader, EntryDocumentTakesItsETagFromTheHeaderWhenItHasNone) {
  QuillonCore core;
  core.AddParsedHeader("Content-Type", "application/atom+xml");
  core.AddParsedHeader("etag", "W/\"9\"");
  const char* entry = R"~(<entry xmlns="http://www.w3.org/2005/Atom"><id>E</id>
      <link rel="edit" href="P(1)"/></entry>)~";
  ASSERT_EQ(Dispatch(core, entry), 0);
  EXPECT_EQ(
      Join(core.rootKind, core.entries.Count(), core.CurrentEntry().ETag(), core.ResourcePath),
      "entry|1|W/\"9\"|P(1)");
  // The header value is no part of the text, and survives moving away and back.
  core.CurrentEntry().Release();
  EXPECT_EQ(Text(core.CurrentEntry().ETag()), "W/\"9\"");

  ASSERT_EQ(Dispatch(core, R"(<entry xmlns:m="urn:m" m:etag="own"><id>E</id></entry>)"), 0);
  EXPECT_EQ(Text(core.CurrentEntry().ETag()), "own");
}

} // namespace
} // namespace quillon::test
