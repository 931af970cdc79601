// The entry document, byte for byte: layout, prefixes by the latest response, property order
// and nesting, nulls, types and escaping.
#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "odata/ODataErrors.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace quillon::test {
namespace {

// Lines given with "\n" as the writer ends them, with "\r\n".
std::string Crlf(std::string text) {
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
    text.insert(at, 1, '\r');
  return text;
}
const std::string kDeclaration =
    "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n";
// The whole document with the usual prefixes: the atom fields, then the properties in content.
std::string Expected(const char* fields, const char* properties) {
  return kDeclaration +
         Crlf(
             R"(<entry xmlns="http://www.w3.org/2005/Atom" xmlns:d="http://schemas.microsoft.com/ado/2007/08/dataservices" xmlns:m="http://schemas.microsoft.com/ado/2007/08/dataservices/metadata">
)" + std::string(fields) +
             " <content type=\"application/xml\">\n  <m:properties>\n" + properties +
             "  </m:properties>\n </content>\n</entry>");
}

const std::string kFeed = Feed(R"xml(<title>Staff</title>
  <entry m:etag="W/&quot;7&quot;"><id>http://h/svc/People(1)</id>
    <title type="text">Ann &amp; Bo</title><updated>2026-01-01T00:00:00Z</updated>
    <author><name>Ann</name><email>ann@example.invalid</email></author>
    <link rel="edit" href="People(1)" />
    <link rel="http://schemas.microsoft.com/ado/2007/08/dataservices/related/Team" title="Team"
          href="People(1)/Team" />
    <category term="Org.Person"
              scheme="http://schemas.microsoft.com/ado/2007/08/dataservices/scheme" />
    <content type="application/xml"><m:properties>
      <d:Name>Ann "A" &lt;x&gt;</d:Name><d:Age m:type="Edm.Int32">41</d:Age>
      <d:Address m:type="Org.Address"><d:Zip>1000</d:Zip><d:City>Oslo</d:City></d:Address>
      <d:Note m:type="Edm.String" m:null="true" />
    </m:properties></content>
  </entry>)xml");

class EntryDocument : public ::testing::Test {
protected:
  std::string Generate() {
    const char* result = "";
    const int rc = core.ConfigText("GenerateEntryXML", &result);
    return rc == 0 ? std::string(result) : "error " + std::to_string(rc);
  }
  struct Row {
    const char *name, *value, *type = "";
    bool isNull = false;
  };
  // Gives the current entry these property records, read (scanned) before they are changed as a
  // host reads EntryPropertiesCount first.
  PtrList<EntryProperty>& SetProperties(std::initializer_list<Row> rows) {
    EXPECT_EQ(core.CurrentEntry().ScanProperties(), 0);
    PtrList<EntryProperty>& list = *core.CurrentEntry().PropertiesForEdit();
    list.Resize(static_cast<int>(rows.size()));
    for (int i = 0; const Row& row : rows) {
      EntryProperty& property = *list.At(i++);
      property.name.Assign(row.name);
      property.value.Assign(row.value);
      property.type.Assign(row.type);
      property.isNull = row.isNull;
    }
    return list;
  }
  QuillonCore core;
};

TEST_F(EntryDocument, AScratchEntryBeforeAnyResponse) {
  // A path write rewrites the entry's text and drops its property records, so it comes first.
  core.SetEntryIndex(-1);
  ASSERT_EQ(core.CurrentEntry().SetValue("/entry/title", "New person"), 0);
  PtrList<EntryProperty>& list = SetProperties({{"Name", "Tom & \"Jerry\" <'x'>"},
                                                {"Address/City", "Bergen"},
                                                {"Age", "", "Edm.Int32", true},
                                                {"address2", "back"}});
  EXPECT_EQ(Generate(), Expected(R"( <title type="text">New person</title>
 <summary type="text" />
 <author>
  <name />
 </author>
)",
                                 R"(   <d:Address>
    <d:City>Bergen</d:City>
   </d:Address>
   <d:address2>back</d:address2>
   <d:Age m:type="Edm.Int32" m:null="true" />
   <d:Name>Tom &amp; &quot;Jerry&quot; &lt;&apos;x&apos;&gt;</d:Name>
)"));
  // The sort is the list's new order.
  EXPECT_EQ(list.At(0)->name.View(), "Address/City");
}

TEST_F(EntryDocument, AnEntryOfAFeedKeepsItsFieldsAndPropertiesOnly) {
  ASSERT_EQ(Dispatch(core, kFeed), 0);
  EXPECT_EQ(Generate(), Expected(R"( <id>http://h/svc/People(1)</id>
 <title type="text">Ann &amp; Bo</title>
 <summary type="text" />
 <author>
  <name>Ann</name>
  <email>ann@example.invalid</email>
 </author>
 <link rel="http://schemas.microsoft.com/ado/2007/08/dataservices/related/Team" title="Team" href="People(1)/Team" type="application/atom+xml;type=entry" />
 <category term="Org.Person" scheme="http://schemas.microsoft.com/ado/2007/08/dataservices/scheme" />
)",
                                 R"(   <d:Address>
    <d:City>Oslo</d:City>
    <d:Zip>1000</d:Zip>
   </d:Address>
   <d:Age m:type="Edm.Int32">41</d:Age>
   <d:Name>Ann &quot;A&quot; &lt;x&gt;</d:Name>
   <d:Note m:type="Edm.String" m:null="true" />
)"));
}

TEST_F(EntryDocument, PrefixesFollowTheDeclarationsOfTheLatestDocument) {
  // An entry document that names Atom "a": its elements take that prefix, the root does not.
  ASSERT_EQ(Dispatch(core, "<a:entry xmlns:a=\"http://www.w3.org/2005/Atom\" "
                           "xmlns:x=\"http://schemas.microsoft.com/ado/2007/08/dataservices\" "
                           "xmlns:y=\"http://schemas.microsoft.com/ado/2007/08/dataservices/"
                           "metadata\"><a:title>T</a:title><a:content><y:properties><x:P>1</x:P>"
                           "</y:properties></a:content></a:entry>"),
            0);
  const std::string document = Generate();
  for (const char* part :
       {"<entry xmlns=\"http://www.w3.org/2005/Atom\" xmlns:a=\"http://www.w3.org/"
        "2005/Atom\" xmlns:x=",
        " <a:title type=\"text\">T</a:title>\r\n", "<y:properties>\r\n   <x:P>1</x:P>"})
    EXPECT_NE(document.find(part), std::string::npos) << part << "\n" << document;
}

TEST_F(EntryDocument, AfterASchemaEachPropertyDeclaresItsNamespace) {
  ASSERT_EQ(
      Dispatch(core, Edm::Edmx(Edm::Schema("S", Edm::Type("T", Edm::Property("Id", "Edm.Int32")) +
                                                    Edm::Container(Edm::Set("Ts", "S.T"))))),
      0);
  SetProperties({{"Id", "5", "Edm.Int32"}, {"Name", "x"}});
  const std::string document = Generate();
  EXPECT_EQ(document.substr(0, document.find(" <title")),
            kDeclaration + "<entry xmlns=\"http://www.w3.org/2005/Atom\" "
                           "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/"
                           "metadata\">\r\n");
  EXPECT_NE(document.find(Crlf(R"(  <m:properties>
   <Id m:type="Edm.Int32" xmlns="http://schemas.microsoft.com/ado/2007/08/dataservices">5</Id>
   <Name xmlns="http://schemas.microsoft.com/ado/2007/08/dataservices">x</Name>
  </m:properties>
)")),
            std::string::npos)
      << document;
}

TEST_F(EntryDocument, PropertiesOfOneNameShareAnElement) {
  SetProperties({{"P", "one"}, {"P", "two"}});
  EXPECT_NE(Generate().find("<d:P>onetwo</d:P>"), std::string::npos);
  // A type on the second cannot go on the element any more.
  SetProperties({{"P", "one"}, {"P", "two", "Edm.String"}});
  EXPECT_EQ(Generate(), "error 401");
  EXPECT_STREQ(core.LastErrorText(), "Attributes cannot be written at this time.");
  // A property without a name.
  SetProperties({{"P", "one"}, {"", "two"}});
  EXPECT_EQ(Generate(), "error 906");
  // None at all: an empty properties element.
  SetProperties({});
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
} // namespace quillon::test
