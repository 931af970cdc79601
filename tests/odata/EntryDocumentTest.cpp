// The entry document, byte for byte: layout, prefixes by the latest response, property order
// and nesting, nulls, types and escaping.
#include "frame/Errors.h"
#include "odata/ODataErrors.h"
#include "odata/QuillonCore.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

constexpr const char* kDeclaration =
    "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n";
constexpr const char* kRootWithDM =
    "<entry xmlns=\"http://www.w3.org/2005/Atom\" "
    "xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\" "
    "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\">\r\n";

const char* kFeed = R"xml(<?xml version="1.0" encoding="utf-8"?>
<feed xmlns="http://www.w3.org/2005/Atom" xmlns:d="http://schemas.microsoft.com/ado/2007/08/dataservices" xmlns:m="http://schemas.microsoft.com/ado/2007/08/dataservices/metadata">
  <title>Staff</title>
  <entry m:etag="W/&quot;7&quot;">
    <id>http://h/svc/People(1)</id>
    <title type="text">Ann &amp; Bo</title>
    <updated>2026-01-01T00:00:00Z</updated>
    <author><name>Ann</name><email>ann@example.invalid</email></author>
    <link rel="edit" href="People(1)" />
    <link rel="http://schemas.microsoft.com/ado/2007/08/dataservices/related/Team" title="Team" href="People(1)/Team" />
    <category term="Org.Person" scheme="http://schemas.microsoft.com/ado/2007/08/dataservices/scheme" />
    <content type="application/xml">
      <m:properties>
        <d:Name>Ann "A" &lt;x&gt;</d:Name>
        <d:Age m:type="Edm.Int32">41</d:Age>
        <d:Address m:type="Org.Address"><d:Zip>1000</d:Zip><d:City>Oslo</d:City></d:Address>
        <d:Note m:type="Edm.String" m:null="true" />
      </m:properties>
    </content>
  </entry>
</feed>)xml";

class EntryDocument : public ::testing::Test {
protected:
  int Dispatch(const char* document) {
    BufStr body;
    body.Assign(document);
    return core.DispatchResponse(body);
  }
  std::string Generate() {
    const char* result = "";
    const int rc = core.ConfigText("GenerateEntryXML", &result);
    return rc == 0 ? std::string(result) : "error " + std::to_string(rc);
  }
  // Gives the scratch entry `count` property records to fill by index.
  PtrList<EntryProperty>& ScratchProperties(int count) {
    core.SetEntryIndex(-1);
    EntryRecord& entry = core.CurrentEntry();
    entry.ScanProperties();
    PtrList<EntryProperty>& list = *entry.PropertiesForEdit();
    list.Resize(count);
    return list;
  }
  static void Fill(EntryProperty& property, const char* name, const char* value,
                   const char* type = "", bool isNull = false) {
    property.name.Assign(name);
    property.value.Assign(value);
    property.type.Assign(type);
    property.isNull = isNull;
  }
  QuillonCore core;
};

TEST_F(EntryDocument, AScratchEntryBeforeAnyResponse) {
  // A path write rewrites the entry's text and drops its property records, so it comes first.
  core.SetEntryIndex(-1);
  ASSERT_EQ(core.CurrentEntry().SetValue("/entry/title", "New person"), 0);
  // The list is read (scanned) before it is changed, as a host reads EntryPropertiesCount first.
  ASSERT_EQ(core.CurrentEntry().ScanProperties(), 0);
  PtrList<EntryProperty>& list = *core.CurrentEntry().PropertiesForEdit();
  list.Resize(4);
  Fill(*list.At(0), "Name", "Tom & \"Jerry\" <'x'>");
  Fill(*list.At(1), "Address/City", "Bergen");
  Fill(*list.At(2), "Age", "", "Edm.Int32", true);
  Fill(*list.At(3), "address2", "back");
  EXPECT_EQ(Generate(),
            std::string(kDeclaration) + kRootWithDM +
                " <title type=\"text\">New person</title>\r\n"
                " <summary type=\"text\" />\r\n"
                " <author>\r\n"
                "  <name />\r\n"
                " </author>\r\n"
                " <content type=\"application/xml\">\r\n"
                "  <m:properties>\r\n"
                "   <d:Address>\r\n"
                "    <d:City>Bergen</d:City>\r\n"
                "   </d:Address>\r\n"
                "   <d:address2>back</d:address2>\r\n"
                "   <d:Age m:type=\"Edm.Int32\" m:null=\"true\" />\r\n"
                "   <d:Name>Tom &amp; &quot;Jerry&quot; &lt;&apos;x&apos;&gt;</d:Name>\r\n"
                "  </m:properties>\r\n"
                " </content>\r\n"
                "</entry>");
  // The sort is the list's new order.
  EXPECT_EQ(list.At(0)->name.View(), "Address/City");
}

TEST_F(EntryDocument, AnEntryOfAFeedKeepsItsFieldsAndPropertiesOnly) {
  ASSERT_EQ(Dispatch(kFeed), 0);
  EXPECT_EQ(
      Generate(),
      std::string(kDeclaration) + kRootWithDM +
          " <id>http://h/svc/People(1)</id>\r\n"
          " <title type=\"text\">Ann &amp; Bo</title>\r\n"
          " <summary type=\"text\" />\r\n"
          " <author>\r\n"
          "  <name>Ann</name>\r\n"
          "  <email>ann@example.invalid</email>\r\n"
          " </author>\r\n"
          " <link rel=\"http://schemas.microsoft.com/ado/2007/08/dataservices/related/Team\" "
          "title=\"Team\" href=\"People(1)/Team\" type=\"application/atom+xml;type=entry\" />\r\n"
          " <category term=\"Org.Person\" "
          "scheme=\"http://schemas.microsoft.com/ado/2007/08/dataservices/scheme\" />\r\n"
          " <content type=\"application/xml\">\r\n"
          "  <m:properties>\r\n"
          "   <d:Address>\r\n"
          "    <d:City>Oslo</d:City>\r\n"
          "    <d:Zip>1000</d:Zip>\r\n"
          "   </d:Address>\r\n"
          "   <d:Age m:type=\"Edm.Int32\">41</d:Age>\r\n"
          "   <d:Name>Ann &quot;A&quot; &lt;x&gt;</d:Name>\r\n"
          "   <d:Note m:type=\"Edm.String\" m:null=\"true\" />\r\n"
          "  </m:properties>\r\n"
          " </content>\r\n"
          "</entry>");
}

TEST_F(EntryDocument, PrefixesFollowTheDeclarationsOfTheLatestDocument) {
  // An entry document that names Atom "a": its elements take that prefix, the root does not.
  ASSERT_EQ(Dispatch("<a:entry xmlns:a=\"http://www.w3.org/2005/Atom\" "
                     "xmlns:x=\"http://schemas.microsoft.com/ado/2007/08/dataservices\" "
                     "xmlns:y=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\">"
                     "<a:title>T</a:title><a:content><y:properties><x:P>1</x:P></y:properties>"
                     "</a:content></a:entry>"),
            0);
  const std::string document = Generate();
  EXPECT_NE(
      document.find("<entry xmlns=\"http://www.w3.org/2005/Atom\" xmlns:a=\"http://www.w3.org/"
                    "2005/Atom\" xmlns:x="),
      std::string::npos)
      << document;
  EXPECT_NE(document.find(" <a:title type=\"text\">T</a:title>\r\n"), std::string::npos);
  EXPECT_NE(document.find("<y:properties>\r\n   <x:P>1</x:P>"), std::string::npos) << document;
}

TEST_F(EntryDocument, AfterASchemaEachPropertyDeclaresItsNamespace) {
  ASSERT_EQ(
      Dispatch(
          R"xml(<edmx:Edmx xmlns:edmx="http://schemas.microsoft.com/ado/2007/06/edmx" Version="1.0">
  <edmx:DataServices xmlns:m="http://schemas.microsoft.com/ado/2007/08/dataservices/metadata" m:DataServiceVersion="2.0">
    <Schema Namespace="S" xmlns="http://schemas.microsoft.com/ado/2008/09/edm">
      <EntityType Name="T"><Key><PropertyRef Name="Id" /></Key><Property Name="Id" Type="Edm.Int32" Nullable="false" /></EntityType>
      <EntityContainer Name="C"><EntitySet Name="Ts" EntityType="S.T" /></EntityContainer>
    </Schema>
  </edmx:DataServices>
</edmx:Edmx>)xml"),
      0);
  PtrList<EntryProperty>& list = ScratchProperties(2);
  Fill(*list.At(0), "Id", "5", "Edm.Int32");
  Fill(*list.At(1), "Name", "x");
  const std::string document = Generate();
  EXPECT_EQ(document.substr(0, document.find(" <title")),
            std::string(kDeclaration) +
                "<entry xmlns=\"http://www.w3.org/2005/Atom\" "
                "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\">\r\n");
  EXPECT_NE(
      document.find("  <m:properties>\r\n"
                    "   <Id m:type=\"Edm.Int32\" "
                    "xmlns=\"http://schemas.microsoft.com/ado/2007/08/dataservices\">5</Id>\r\n"
                    "   <Name xmlns=\"http://schemas.microsoft.com/ado/2007/08/dataservices\">x"
                    "</Name>\r\n"
                    "  </m:properties>\r\n"),
      std::string::npos)
      << document;
}

TEST_F(EntryDocument, PropertiesOfOneNameShareAnElement) {
  PtrList<EntryProperty>& list = ScratchProperties(2);
  Fill(*list.At(0), "P", "one");
  Fill(*list.At(1), "P", "two");
  EXPECT_NE(Generate().find("<d:P>onetwo</d:P>"), std::string::npos);

  // A type on the second cannot go on the element any more.
  Fill(*list.At(1), "P", "two", "Edm.String");
  EXPECT_EQ(Generate(), "error 401");
  EXPECT_STREQ(core.LastErrorText(), "Attributes cannot be written at this time.");

  // A property without a name.
  Fill(*list.At(1), "", "two");
  EXPECT_EQ(Generate(), "error 906");
  // None at all: an empty properties element.
  ScratchProperties(0);
  EXPECT_NE(Generate().find("  <m:properties />\r\n </content>\r\n</entry>"), std::string::npos);
}

TEST(EntryDocumentPaths, OpenPropertyPathClosesOnlyWhatItDoesNotShare) {
  XmlWriter writer;
  writer.Reset();
  writer.indent.Assign("");
  writer.newline.Assign("");
  StrList open;
  ASSERT_EQ(writer.StartElement("root", "urn:ds"), 0);
  for (const char* name : {"A/B/C", "A/B/D", "a/E", "F"}) {
    ASSERT_EQ(QuillonCore::OpenPropertyPath(writer, "", name, open), 0) << name;
    ASSERT_EQ(writer.WriteText("x"), 0);
  }
  // A '/' in the first place belongs to the step, which is then no name.
  EXPECT_EQ(QuillonCore::OpenPropertyPath(writer, "", "/G", open), 402);
  EXPECT_EQ(std::string(writer.output.View()),
            "<root xmlns=\"urn:ds\"><A xmlns=\"http://schemas.microsoft.com/ado/2007/08/"
            "dataservices\"><B><C>x</C><D>x</D></B><E>x</E></A><F xmlns=\"http://schemas."
            "microsoft.com/ado/2007/08/dataservices\">x</F>");
}

} // namespace
} // namespace quillon
