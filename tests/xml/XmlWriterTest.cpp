#include "xml/XmlWriter.h"

#include "frame/Errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillon {
namespace {

using ::testing::Each;
using Codes = std::vector<int>; // the results of a run of calls, made in order

constexpr const char* kData = "http://schemas.microsoft.com/ado/2007/08/dataservices";
constexpr const char* kMeta = "http://schemas.microsoft.com/ado/2007/08/dataservices/metadata";

class Writer : public ::testing::Test {
protected:
  void SetUp() override { w.Reset(); }
  std::string Out() const { return std::string(w.output.View()); }
  XmlWriter w;
};

TEST_F(Writer, TextStopsIndentationInsideItsElement) {
  w.indent.Assign(" ");
  EXPECT_THAT((Codes{w.StartElement("a", ""), w.WriteText("x"), w.StartElement("b", ""),
                     w.StartElement("c", ""), w.EndElement(), w.EndElement(), w.EndElement()}),
              Each(0));
  EXPECT_EQ(Out(), "<a>x<b>\r\n  <c />\r\n </b></a>");
}

TEST_F(Writer, DeclarationsFollowTheScope) {
  EXPECT_THAT((Codes{w.StartElement("m:properties", kMeta), w.WriteAttribute("xmlns:d", "", kData),
                     w.WriteAttribute("xmlns:d", "", kData), // the same again: one declaration
                     w.StartElement("d:Name", kData),        // in scope: no declaration
                     w.WriteAttribute("m:null", kMeta, "true"), w.EndElement(),
                     w.StartElement("Other", "urn:other"), // another default namespace
                     w.StartElement("Inner", "urn:other"), // its children need none
                     w.EndElement(), w.EndElement(), w.EndElement()}),
              Each(0));
  EXPECT_EQ(Out(), "<m:properties xmlns:m=\"" + std::string(kMeta) + "\" xmlns:d=\"" + kData +
                       "\">\r\n"
                       "\t<d:Name m:null=\"true\" />\r\n"
                       "\t<Other xmlns=\"urn:other\">\r\n"
                       "\t\t<Inner />\r\n"
                       "\t</Other>\r\n"
                       "</m:properties>");
}

TEST_F(Writer, DefaultNamespaceFirstAndAnUnprefixedAttributeTakesTheElements) {
  EXPECT_THAT((Codes{w.StartElement("d:Name", kData), w.WriteAttribute("xmlns", "", "urn:default"),
                     w.WriteAttribute("xml:lang", "", "en"), w.StartElement("m:inline", kMeta),
                     w.WriteAttribute("type", kMeta, "x"), w.EndElement(), w.EndElement()}),
              Each(0));
  EXPECT_EQ(Out(), "<d:Name xml:lang=\"en\" xmlns=\"urn:default\" xmlns:d=\"" + std::string(kData) +
                       "\">\r\n\t<m:inline type=\"x\" xmlns:m=\"" + kMeta + "\" />\r\n</d:Name>");
}

TEST_F(Writer, RemappingAPrefixOnOneElement) {
  // Declarations may remap: both stand in the tag, and the newest mapping is in scope. An
  // ordinary attribute may not remap: it fails, after it has been written.
  EXPECT_EQ(
      (Codes{w.StartElement("a", ""), w.WriteAttribute("xmlns:p", "", "urn:one"),
             w.WriteAttribute("xmlns:p", "", "urn:two"), w.WriteAttribute("p:x", "urn:two", "1"),
             w.WriteAttribute("p:y", "urn:one", "2")}),
      (Codes{0, 0, 0, 0, errWriterState}));
  EXPECT_STREQ(w.LastErrorText(), "The prefix \"p\" cannot be mapped to namespace \"urn:one\" "
                                  "because it has already been mapped to \"urn:two\".");
  ASSERT_EQ(w.EndElement(), 0);
  EXPECT_EQ(Out(), "<a p:x=\"1\" p:y=\"2\" xmlns:p=\"urn:one\" xmlns:p=\"urn:two\" />");
}

TEST_F(Writer, StateRulesRefuseOutOfPlaceWrites) {
  EXPECT_EQ(w.EndElement(), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "No elements are currently open.");
  EXPECT_EQ(w.WriteText("x"), errWriterState);
  EXPECT_STREQ(w.LastErrorText(), "Can't write content text here.");
  EXPECT_EQ(
      (Codes{w.WriteDeclaration("1.0", false, false), // before any element it passes
             w.StartElement("a", ""), w.WriteAttribute("x", "", "1"),
             w.WriteText(""), // empty text keeps the tag open
             w.WriteAttribute("y", "", "2"), w.WriteText("t"), w.WriteAttribute("z", "", "3")}),
      (Codes{0, 0, 0, 0, 0, 0, errWriterState}));
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

TEST_F(Writer, QuoteCharKey) {
  const char* result;
  ASSERT_EQ(w.ConfigText("QuoteChar='", &result), 0);
  EXPECT_THAT(
      (Codes{w.StartElement("a", ""), w.WriteAttribute("q", "", "it's \"x\""), w.EndElement()}),
      Each(0));
  EXPECT_EQ(Out(), "<a q='it&apos;s &quot;x&quot;' />");
  EXPECT_EQ(w.ConfigText("Other", &result), -1);
}

} // namespace
} // namespace quillon
