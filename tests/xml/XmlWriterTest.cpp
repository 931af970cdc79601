#include "xml/XmlWriter.h"

#include "frame/Errors.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

constexpr const char* kAtom = "http://www.w3.org/2005/Atom";
constexpr const char* kData = "http://schemas.microsoft.com/ado/2007/08/dataservices";
constexpr const char* kMeta = "http://schemas.microsoft.com/ado/2007/08/dataservices/metadata";

class Writer : public ::testing::Test {
protected:
  void SetUp() override { w.Reset(); }
  std::string Out() const { return std::string(w.output.View()); }
  XmlWriter w;
};

TEST_F(Writer, DocumentLayoutWithDefaultSettings) {
  ASSERT_EQ(w.WriteDeclaration("1.0", true, true), 0);
  ASSERT_EQ(w.StartElement("entry", kAtom), 0);
  ASSERT_EQ(w.StartElement("title", kAtom), 0);
  ASSERT_EQ(w.WriteText("Tom & \"Jerry\" <'x'>"), 0);
  ASSERT_EQ(w.EndElement(), 0);
  ASSERT_EQ(w.StartElement("empty", kAtom), 0);
  ASSERT_EQ(w.EndElement(), 0);
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n"
                   "<entry xmlns=\"http://www.w3.org/2005/Atom\">\r\n"
                   "\t<title>Tom &amp; &quot;Jerry&quot; &lt;&apos;x&apos;&gt;</title>\r\n"
                   "\t<empty />\r\n"
                   "</entry>");
}

TEST_F(Writer, TextStopsIndentationInsideItsElement) {
  w.indent.Assign(" ");
  w.StartElement("a", "");
  w.WriteText("x");
  w.StartElement("b", "");
  w.StartElement("c", "");
  w.EndElement();
  w.EndElement();
  w.EndElement();
  EXPECT_EQ(Out(), "<a>x<b>\r\n  <c />\r\n </b></a>");
}

TEST_F(Writer, DeclarationsFollowTheScope) {
  ASSERT_EQ(w.StartElement("m:properties", kMeta), 0);
  ASSERT_EQ(w.WriteAttribute("xmlns:d", "", kData), 0);
  ASSERT_EQ(w.WriteAttribute("xmlns:d", "", kData), 0); // the same again: one declaration
  ASSERT_EQ(w.StartElement("d:Name", kData), 0);        // in scope: no declaration
  ASSERT_EQ(w.WriteAttribute("m:null", kMeta, "true"), 0);
  ASSERT_EQ(w.EndElement(), 0);
  ASSERT_EQ(w.StartElement("Other", "urn:other"), 0); // another default namespace
  ASSERT_EQ(w.StartElement("Inner", "urn:other"), 0); // its children need none
  ASSERT_EQ(w.EndElement(), 0);
  ASSERT_EQ(w.EndElement(), 0);
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<m:properties xmlns:m=\"" + std::string(kMeta) + "\" xmlns:d=\"" + kData +
                       "\">\r\n"
                       "\t<d:Name m:null=\"true\" />\r\n"
                       "\t<Other xmlns=\"urn:other\">\r\n"
                       "\t\t<Inner />\r\n"
                       "\t</Other>\r\n"
                       "</m:properties>");
}

TEST_F(Writer, DefaultNamespaceIsDeclaredFirst) {
  ASSERT_EQ(w.StartElement("d:Name", kData), 0);
  ASSERT_EQ(w.WriteAttribute("xmlns", "", "urn:default"), 0);
  ASSERT_EQ(w.WriteAttribute("xml:lang", "", "en"), 0);
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<d:Name xml:lang=\"en\" xmlns=\"urn:default\" xmlns:d=\"" + std::string(kData) +
                       "\" />");
}

TEST_F(Writer, RemappingAPrefixOnOneElement) {
  ASSERT_EQ(w.StartElement("a", ""), 0);
  // Declarations may remap: both stand in the tag.
  ASSERT_EQ(w.WriteAttribute("xmlns:p", "", "urn:one"), 0);
  ASSERT_EQ(w.WriteAttribute("xmlns:p", "", "urn:two"), 0);
  EXPECT_EQ(w.WriteAttribute("p:x", "urn:two", "1"), 0); // the newest mapping is in scope
  // An ordinary attribute may not remap: it fails, after it has been written.
  EXPECT_EQ(w.WriteAttribute("p:y", "urn:one", "2"), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "The prefix \"p\" cannot be mapped to namespace \"urn:one\" "
                                  "because it has already been mapped to \"urn:two\".");
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<a p:x=\"1\" p:y=\"2\" xmlns:p=\"urn:one\" xmlns:p=\"urn:two\" />");
}

TEST_F(Writer, AnAttributeWithoutPrefixTakesTheElements) {
  ASSERT_EQ(w.StartElement("m:inline", kMeta), 0);
  ASSERT_EQ(w.WriteAttribute("type", kMeta, "x"), 0);
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<m:inline type=\"x\" xmlns:m=\"" + std::string(kMeta) + "\" />");
}

TEST_F(Writer, StateRulesRefuseOutOfPlaceWrites) {
  EXPECT_EQ(w.EndElement(), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "No elements are currently open.");
  EXPECT_EQ(w.WriteText("x"), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "Can't write content text here.");
  EXPECT_EQ(w.WriteDeclaration("1.0", false, false), 0); // before any element it passes

  ASSERT_EQ(w.StartElement("a", ""), 0);
  ASSERT_EQ(w.WriteAttribute("x", "", "1"), 0);
  ASSERT_EQ(w.WriteText(""), 0); // empty text keeps the tag open
  ASSERT_EQ(w.WriteAttribute("y", "", "2"), 0);
  ASSERT_EQ(w.WriteText("t"), 0);
  EXPECT_EQ(w.WriteAttribute("z", "", "3"), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "Attributes cannot be written at this time.");
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(w.WriteDeclaration("1.0", false, false), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "Cannot write an XML declaration at this time.");
  EXPECT_EQ(w.WriteText("after"), errWriterState);
  EXPECT_EQ(Out(), "<?xml version=\"1.0\"?>\r\n<a x=\"1\" y=\"2\">t</a>");
}

TEST_F(Writer, NamesAreCheckedBeforeAnythingIsWritten) {
  ASSERT_EQ(w.StartElement("a", ""), 0);
  const std::string before = Out();
  for (const char* bad : {":x", "1a", "", "p:", "p:1", "-a"}) {
    EXPECT_EQ(w.WriteAttribute(bad, "", "v"), errWriterName) << bad;
    EXPECT_EQ(std::string(w.LastErrorText()), std::string("Invalid XML name: \"") + bad + "\".");
  }
  EXPECT_EQ(Out(), before);
  EXPECT_EQ(w.StartElement("_ok:a-1.b", "urn:x"), 0); // bytes after the first are not tested
}

TEST_F(Writer, ConfigKeys) {
  const char* result;
  ASSERT_EQ(w.ConfigText("QuoteChar='", &result), 0);
  ASSERT_EQ(w.ConfigText("Charset", &result), 0);
  EXPECT_STREQ(result, "utf-8");
  ASSERT_EQ(w.StartElement("a", ""), 0);
  ASSERT_EQ(w.WriteAttribute("q", "", "it's \"x\""), 0);
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<a q='it&apos;s &quot;x&quot;' />");
  EXPECT_EQ(w.ConfigText("Other", &result), -1);
}

} // namespace
} // namespace quillon
