// The switchboard: documents by root, service errors, what a later response finds left by an
// earlier one, saved responses read from files, Reset, and readers guarded against handlers.
#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "odata/ODataErrors.h"
#include "support/RecordingCore.h"
#include "xml/XmlErrors.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quillon::test {
namespace {

const std::string kThreeEntries =
    Feed(R"~(<title>Three</title><entry><id>1</id><link rel="edit" href="P(1)"/></entry>
             <entry><id>2</id></entry><entry><id>3</id></entry>)~");

// The Config answer to "ReadFile=path" and the Config result, as "answer|result".
std::string ReadFile(QuillonCore& core, const std::string& setting) {
  const char* answer = "";
  const int rc = core.ConfigText(setting.c_str(), &answer);
  return Join(answer, rc);
}

TEST(ResponseDispatch, TheRootChoosesTheReaderAndServiceErrorsJoinCodeAndMessage) {
  // The document, the result, rootKind, and LastErrorText, for an error document also serviceError.
  const std::tuple<const char*, int, const char*, const char*> rows[] = {
      {"<feed xmlns='http://www.w3.org/2005/Atom'/>", 0, "feed", ""},
      {"<a:entry xmlns:a='http://www.w3.org/2005/Atom'><a:id>x</a:id></a:entry>", 0, "entry", ""},
      // chosen ignoring case, but the feed's path has it
      {"<FEED/>", errTopElement, "feed", "Top element does not match start of path."},
      {"<service><workspace/></service>", 0, "service", ""},
      {"<service/>", errNoSuchChild, "service", "No such child."}, // no workspace
      {"<html><body>proxy page</body></html>", 0, "", ""},
      {"<m:error xmlns:m='urn:m'><m:code>E1</m:code><m:message xml:lang='en'>Bad key.</m:message>"
       "</m:error>",
       errServiceError, "error", "Code: E1, Message: Bad key."},
      {"<error><code>E2</code><message/></error>", errServiceError, "error", "Code: E2"},
      {"<error><message>Only this.</message></error>", errServiceError, "error",
       "Message: Only this."},
      {"<error><innererror>x</innererror></error>", errServiceError, "error", ""},
  };
  for (const auto& [document, result, rootKind, text] : rows) {
    QuillonCore core;
    const int rc = Dispatch(core, document);
    EXPECT_EQ(Join(rc, core.rootKind, core.LastErrorText(), core.serviceError),
              Join(result, rootKind, text, result == errServiceError ? text : ""))
        << document;
  }
}

TEST(ResponseDispatch, ADocumentCutShortIs206WithWhatWasReadSoFar) {
  // The document, the result, and rootKind, entries, the first entry's id, ChannelTitle.
  const std::tuple<const char*, int, const char*> rows[] = {
      {"<feed><title>T</title><entry><id>1</id></entry><entry><id>2</id>", errUnbalancedDocument,
       "feed|1|1|T"},
      {"<feed><title>T</title><entry><id>1</id></entry></feed>", 0, "feed|1|1|T"},
      {"<feed><title>T</title><entry><id>1</id></entry></feed", errUnbalancedDocument,
       "feed|1|1|T"},
      {"<feed><title>T</ti", errUnbalancedDocument, "feed|0||"}, // an open element has no text
      {"<feed/>", 0, "feed|0||"},
      {"<entry><id>E</id><title>", errUnbalancedDocument, "entry|1|E|"},
      {"<error><code>C</code>", errUnbalancedDocument, "error|0||"}, // never 902
      {"<Edmx><DataServices><Schema Namespace='N'>", errUnbalancedDocument, "edmx|0||"},
      {"<html><body>proxy", errUnbalancedDocument, "|0||"},
  };
  for (const auto& [document, result, read] : rows) {
    QuillonCore core;
    const int rc = Dispatch(core, document);
    const std::string id = core.entries.Count() ? Text(core.entries.At(0)->Value("/entry/id")) : "";
    EXPECT_EQ(
        Join(rc, core.LastErrorText(), core.rootKind, core.entries.Count(), id, core.ChannelTitle),
        Join(result, result ? "Document contains unbalanced elements." : "", read))
        << document;
  }
}

TEST(ResponseDispatch, OnlyADocumentThatParsesReplacesTheResults) {
  QuillonCore core;
  core.QuerySkipToken.Assign("t1");
  core.scratchEntry.SetRawXml("<id>draft</id>", true);
  ASSERT_EQ(Dispatch(core, kThreeEntries), 0);
  ASSERT_EQ(core.SetEntryIndex(2), 0);
  const std::pair<const char*, int> broken[] = {
      {"<feed><entry></feed>", errUnbalancedTag},
      {"<feed><a b=></a></feed>", errInvalidMarkup},
      // Nothing to read, as if cut before the root: 206, not the tree's 210.
      {"", errUnbalancedDocument},
      {"just text", errUnbalancedDocument},
      {"<?xml version='1.0'?><!-- licence", errUnbalancedDocument},
  };
  for (const auto& [document, code] : broken) {
    const int rc = Dispatch(core, document);
    EXPECT_EQ(Join(rc, *core.LastErrorText() != 0, core.entries.Count(), core.ChannelTitle,
                   core.rootKind),
              Join(code, 1, 3, "Three", "feed"))
        << document;
  }
  EXPECT_STREQ(core.LastErrorText(), "Document contains unbalanced elements.");
  // A schema and a feed never stand side by side.
  ASSERT_EQ(Dispatch(core, Edm::Edmx(Edm::Schema("N", Edm::Type("T", "") +
                                                          Edm::Container(Edm::Set("S", "N.T"))))),
            0);
  EXPECT_EQ(Join(core.entries.Count(), core.entryIndex, core.ChannelTitle, core.entitySets.Count()),
            "0|0||1");
  ASSERT_EQ(Dispatch(core, "<service><workspace/></service>"), 0);
  // Settings, the skiptoken of a feed without a next link and the entry being put together stay.
  EXPECT_EQ(Join(core.entitySets.Count(), core.QuerySkipToken, core.scratchEntry.rawXml),
            "0|t1|<id>draft</id>");
}

TEST(ResponseDispatch, ReadFileReadsASavedResponseLikeABody) {
  // Large enough to cross many read blocks, with the skiptoken in the last one.
  std::string children;
  for (int i = 1; i <= 300; ++i)
    children += "<entry><id>" + std::to_string(i) + "</id><content><m:properties><d:N>" +
                std::string(50, 'x') + "</d:N></m:properties></content></entry>";
  const std::string feed = Feed(children + "<link rel='next' href='P?$skiptoken=301'/>");
  const std::string file = TempFeed(feed);
  QuillonCore fromFile;
  EntryEvents events;
  fromFile.SetEventSink(&events);
  EXPECT_EQ(ReadFile(fromFile, "ReadFile=" + file), "0|0");
  EXPECT_EQ(Join(events.events.size(), fromFile.QuerySkipToken), "300|301");
  QuillonCore fromBody;
  ASSERT_EQ(Dispatch(fromBody, feed), 0);
  EXPECT_EQ(fromFile.parser.OriginalText(), fromBody.parser.OriginalText());

  // A NUL byte ends the document; what stands before it is read, as a document cut short.
  const std::string cut =
      TempFeed(std::string(kThreeEntries).insert(kThreeEntries.find("<entry><id>2"), 1, '\0'));
  EXPECT_EQ(ReadFile(fromFile, "ReadFile=" + cut), "206|0");
  EXPECT_EQ(fromFile.entries.Count(), 1);

  // The Config result is the file's, the text the reader's.
  const std::string error = TempFeed("<error><code>E</code></error>");
  EXPECT_EQ(ReadFile(fromFile, "readfile=" + error), "902|0");
  EXPECT_STREQ(fromFile.LastErrorText(), "Code: E");
  EXPECT_EQ(ReadFile(fromFile, "ReadFile=/nonexistent/dir/feed.xml"), Join("", errFileNotOpened));
  EXPECT_EQ(fromFile.rootKind.View(), "error"); // the earlier results stand
}

TEST(ResponseDispatch, ResetClearsResultsAndKeepsTheRequest) {
  QuillonCore core;
  core.ServiceRootURI.Assign("http://h/svc");
  ASSERT_EQ(Dispatch(core, kThreeEntries), 0);
  core.scratchEntry.SetRawXml("<id>draft</id>", true);
  core.OtherHeaders.Assign("If-Match: x\r\n");
  ASSERT_EQ(core.Reset(), 0);
  EXPECT_EQ(Join(core.entries.Count(), core.scratchEntry.rawXml, core.OtherHeaders,
                 core.parser.HasXPath("/feed"), core.ServiceRootURI),
            "0|||0|http://h/svc");
}

TEST(ResponseDispatch, AHandlerCannotDisturbTheReadUnderWay) {
  QuillonCore core;
  EntryEvents events;
  core.SetEventSink(&events);
  const std::string other = TempFeed("<feed/>");
  std::vector<int> results;
  events.during = [&] {
    int readResult;
    results.push_back(core.Reset());
    results.push_back(core.SetEntryIndex(-1));
    results.push_back(core.ReadFile(other.c_str(), &readResult));
    results.push_back(Dispatch(core, "<feed/>"));
  };
  ASSERT_EQ(Dispatch(core, kThreeEntries), 0);
  EXPECT_EQ(core.entries.Count(), 3);
  EXPECT_EQ(results, std::vector<int>(12, errBusy));
  events.during = nullptr;
  EXPECT_EQ(core.Reset(), 0); // and afterwards they work
}

TEST(ResponseDispatch, AQueryReadsItsAnswerAndAnEmptyAnswerKeepsTheResults) {
  RecordingCore core;
  core.ServiceRootURI.Assign("http://h/svc");
  core.answer.body = "\xEF\xBB\xBF  " + kThreeEntries + "\r\n";
  ASSERT_EQ(core.QueryService(), 0);
  EXPECT_EQ(Join(core.entries.Count(), core.ResourcePath), "3|P(1)");
  core.answer.body = "";
  core.answer.statusCode = 204;
  ASSERT_EQ(core.QueryService(), 0);
  EXPECT_EQ(Join(core.entries.Count(), core.requests.back().url), "3|http://h/svc/P%281%29");
}

} // namespace
} // namespace quillon::test
