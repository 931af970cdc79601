// What the four entry operations hand to the HTTP link: URL, method, content type, body and the
// If-Match line, and what they do to the entries afterwards.
#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "http/HttpErrors.h"
#include "support/RecordingCore.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon {
namespace {

using test::Join;
using test::RecordingCore;

const char* kFeed =
    R"xml(<feed xmlns="http://www.w3.org/2005/Atom" xmlns:d="http://schemas.microsoft.com/ado/2007/08/dataservices" xmlns:m="http://schemas.microsoft.com/ado/2007/08/dataservices/metadata">
<entry m:etag="W/&quot;1&quot;"><id>http://h/svc/P(1)</id><link rel="edit" href="P(1)" /><content type="application/xml"><m:properties><d:Name>One</d:Name><d:Gone m:type="Edm.String" m:null="true" /></m:properties></content></entry>
<entry><id>http://h/svc/P(2)</id><link rel="edit" href="P(2)" /><content type="application/xml"><m:properties><d:Name>Two</d:Name></m:properties></content></entry>
<entry m:etag="W/&quot;3&quot;"><id>http://h/svc/P(3)</id><link rel="edit" href="P(3)" /><content type="application/xml"><m:properties><d:Name>Three</d:Name></m:properties></content></entry>
</feed>)xml";

class EntryOperations : public ::testing::Test {
protected:
  void SetUp() override {
    core.ServiceRootURI.Assign("http://h/svc/");
    BufStr body;
    body.Assign(kFeed);
    ASSERT_EQ(core.DispatchResponse(body), 0);
  }
  const test::RecordedRequest& Last() const { return core.requests.back(); }
  // The last request as "action|content type|header lines".
  std::string Sent() const { return Join(Last().action, Last().contentType, Last().otherHeaders); }
  RecordingCore core;
};

TEST_F(EntryOperations, EachOperationsMethodTypeAndBody) {
  core.OtherQueryOptions.Assign("sap-client=100");
  ASSERT_EQ(core.UpdateEntry(), 0);
  EXPECT_EQ(Last().url + "|" + Sent(), Join("http://h/svc/P%281%29?sap-client=100", actPut,
                                            "application/atom+xml", "If-Match:W/\"1\"\r\n"));
  EXPECT_NE(Last().postData.find("<d:Name>One</d:Name>"), std::string::npos);
  EXPECT_EQ(Last().postData.find("<link"), std::string::npos); // no links go out

  ASSERT_EQ(core.CreateEntry(), 0); // a new entry has no If-Match
  EXPECT_EQ(Sent() + Join("", core.OtherHeaders), Join(actPost, "application/atom+xml", "", ""));
  core.ContentType.Assign("text/plain"); // unchanged by a delete
  ASSERT_EQ(core.DeleteEntry(), 0);
  EXPECT_EQ(Sent() + Join("", Last().postData),
            Join(actDelete, "text/plain", "If-Match:W/\"1\"\r\n", ""));

  // The Category key goes into the entry document.
  ASSERT_EQ(core.ConfigText("Category=Org.Thing", nullptr), 0);
  ASSERT_EQ(core.UpdateEntry(), 0);
  EXPECT_NE(Last().postData.find("<category term=\"Org.Thing\""), std::string::npos);
}

TEST_F(EntryOperations, TheCallersIfMatchWinsInAnyCase) {
  core.userHeaders.Assign("if-match: *\r\n");
  ASSERT_EQ(core.UpdateEntry(), 0);
  EXPECT_EQ(Last().otherHeaders, "if-match: *\r\n");
  // An entry without an ETag sends none.
  core.userHeaders.Clear();
  ASSERT_EQ(core.SetEntryIndex(1), 0);
  ASSERT_EQ(core.DeleteEntry(), 0);
  EXPECT_EQ(core.requests.back().otherHeaders, "");
}

TEST_F(EntryOperations, UpdatePropertySendsTheElementWithItsAttributes) {
  core.ParsedHeaders.Append("ETag");
  core.ParsedHeaders.Append("W/\"2\"");
  ASSERT_EQ(core.UpdateProperty("/feed/entry[1]/content/properties/Gone", "back & <on>"), 0);
  EXPECT_EQ(Sent(), Join(actPut, "application/xml", "If-Match:W/\"1\"\r\n"));
  EXPECT_EQ(Last().postData,
            "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\r\n"
            "<d:Gone m:type=\"Edm.String\" m:null=\"true\" "
            "xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\" "
            "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\">"
            "back &amp; &lt;on&gt;</d:Gone>");
  // The local copy follows, and so does the ETag of the response.
  BufStr read;
  ASSERT_EQ(core.GetEntryProperty("Gone", read), 0);
  EXPECT_EQ(Join(read, core.CurrentEntry().ETag()), "back & <on>|W/\"2\"");

  EXPECT_NE(core.UpdateProperty("/feed/entry[9]/x", "v"), 0); // the path is missing
  EXPECT_EQ(core.requests.size(), 1u);
}

TEST_F(EntryOperations, AFailedRequestChangesNothingLocally) {
  core.answer = {errHttpStatus, 412, "", "HTTP protocol error. 412 Precondition Failed."};
  EXPECT_EQ(core.DeleteEntry(), errHttpStatus);
  EXPECT_EQ(core.entries.Count(), 3);
  EXPECT_EQ(core.UpdateProperty("/feed/entry[1]/content/properties/Name", "New"), errHttpStatus);
  BufStr read;
  ASSERT_EQ(core.GetEntryProperty("Name", read), 0);
  EXPECT_EQ(read.View(), "One");
}

TEST_F(EntryOperations, DeletingMovesToTheNewLastEntry) {
  ASSERT_EQ(core.SetEntryIndex(2), 0);
  ASSERT_EQ(core.DeleteEntry(), 0);
  EXPECT_EQ(Join(core.entries.Count(), core.entryIndex, core.ResourcePath), "2|1|P(2)");
  ASSERT_EQ(core.DeleteEntry(), 0);
  ASSERT_EQ(core.DeleteEntry(), 0);
  EXPECT_EQ(Join(core.entries.Count(), core.entryIndex), "0|0");
}

} // namespace
} // namespace quillon
