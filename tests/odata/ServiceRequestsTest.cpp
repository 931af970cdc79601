#include "frame/Errors.h"
#include "http/HttpErrors.h"
#include "odata/ODataErrors.h"
#include "support/RecordingCore.h"

#include <gtest/gtest.h>

namespace quillon {
namespace {

using test::RecordingCore;

class ServiceRequests : public ::testing::Test {
protected:
  RecordingCore core;
  void SetRoot(const char* root) { core.ServiceRootURI.Assign(root); }
  std::string LastUrl() const { return core.requests.empty() ? "" : core.requests.back().url; }
};

TEST_F(ServiceRequests, QueryServiceComposesPathAndOptions) {
  struct Row {
    const char* root;
    const char* resourcePath;
    bool encodePath;
    const char* expected;
  };
  const Row rows[] = {
      {"http://h/svc/", "Products", true, "http://h/svc/Products"},
      {"http://h/svc", "Products", true, "http://h/svc/Products"},
      {"http://h/svc", "Products(1)/Category", true, "http://h/svc/Products%281%29%2FCategory"},
      {"http://h/svc", "Products(1)/Category", false, "http://h/svc/Products(1)/Category"},
      {"http://h/svc", "", true, "http://h/svc"},
      {"http://h/svc", "Caf\xC3\xA9 Items", true, "http://h/svc/Caf%C3%A9%20Items"},
  };
  for (const Row& row : rows) {
    SetRoot(row.root);
    core.ResourcePath.Assign(row.resourcePath);
    core.encodeResourcePath = row.encodePath;
    ASSERT_EQ(core.QueryService(), 0) << row.resourcePath;
    EXPECT_EQ(LastUrl(), row.expected);
    EXPECT_EQ(core.requests.back().action, actGet);
  }
}

TEST_F(ServiceRequests, QueryOptionsAreEncodedAsValuesInTheirOrder) {
  SetRoot("http://h/svc");
  core.ResourcePath.Assign("Products");
  core.OtherQueryOptions.Assign("a=1&b=2/x $y,z");
  core.QueryTop.Assign("5");
  core.QuerySkipToken.Assign("k,1");
  core.QueryFilter.Assign("Name eq 'A/B'");
  core.QueryOrderBy.Assign("Price desc");
  core.QuerySelect.Assign("Name,Price");
  core.QuerySkip.Assign("10");
  ASSERT_EQ(core.QueryService(), 0);
  EXPECT_EQ(LastUrl(), "http://h/svc/Products?a=1&b=2/x%20$y%2Cz"
                       "&$filter=Name%20eq%20%27A%2FB%27&$orderby=Price%20desc"
                       "&$select=Name%2CPrice&$skip=10&$top=5&$skiptoken=k%2C1");

  // A root that already has a query gets "&" before the first option.
  RecordingCore other;
  other.ServiceRootURI.Assign("http://h/svc.svc?sap-client=100");
  other.QueryTop.Assign("5");
  ASSERT_EQ(other.QueryService(), 0);
  EXPECT_EQ(other.requests.back().url, "http://h/svc.svc?sap-client=100&$top=5");
}

TEST_F(ServiceRequests, GetSchemaAddsMetadataOnce) {
  core.ResourcePath.Assign("Products"); // has no part in the schema URL
  core.QueryTop.Assign("3");
  SetRoot("http://h/svc/");
  ASSERT_EQ(core.GetSchema(), 0);
  EXPECT_EQ(LastUrl(), "http://h/svc/$metadata");
  SetRoot("http://h/svc/$metadata");
  ASSERT_EQ(core.GetSchema(), 0);
  EXPECT_EQ(LastUrl(), "http://h/svc/$metadata");
  core.OtherQueryOptions.Assign("sap-language=EN");
  SetRoot("http://h/svc");
  ASSERT_EQ(core.GetSchema(), 0);
  EXPECT_EQ(LastUrl(), "http://h/svc/$metadata?sap-language=EN");
}

TEST_F(ServiceRequests, MissingRootIsRefusedBeforeAnyTraffic) {
  EXPECT_EQ(core.QueryService(), errNoServiceRoot);
  EXPECT_STREQ(core.LastErrorText(), "The ServiceRootURI must be set before do action.");
  EXPECT_EQ(core.GetSchema(), errNoServiceRoot);
  EXPECT_STREQ(core.LastErrorText(), "The ServiceRootURI must be set before get schema.");
  EXPECT_TRUE(core.requests.empty());
}

TEST_F(ServiceRequests, CustomRequestPicksTheActionByMethod) {
  struct Row {
    const char* method;
    int action;
    const char* httpMethod; // HTTPMethod after the call
  };
  const Row rows[] = {
      {"get", actGet, ""},       {nullptr, actGet, ""},      {"", actGet, ""},
      {"Delete", actDelete, ""}, {"HEAD", actHead, ""},      {"post", actPost, ""},
      {"PUT", actPut, ""},       {"merge", actPut, "MERGE"}, {"patch", actGet, "PATCH"},
  };
  for (const Row& row : rows) {
    RecordingCore fresh;
    ASSERT_EQ(fresh.CustomRequest(row.method, "http://h/x(1)?$a=b c", "{body}"), 0);
    const auto& request = fresh.requests.back();
    EXPECT_EQ(request.action, row.action) << (row.method ? row.method : "(null)");
    EXPECT_EQ(request.url, "http://h/x(1)?$a=b c"); // used exactly
    EXPECT_EQ(request.httpMethod, row.httpMethod);
    EXPECT_EQ(request.postData, "{body}"); // stored for every method
  }
  // A forced method stays for later actions until another is forced.
  ASSERT_EQ(core.CustomRequest("MERGE", "http://h/a", "x"), 0);
  ASSERT_EQ(core.CustomRequest("GET", "http://h/b", ""), 0);
  EXPECT_EQ(core.requests.back().httpMethod, "MERGE");
  ASSERT_EQ(core.CustomRequest("PATCH", "http://h/c", ""), 0);
  EXPECT_EQ(core.requests.back().httpMethod, "PATCH");
}

TEST_F(ServiceRequests, UserHeadersTravelWithOneRequestOnly) {
  SetRoot("http://h/svc");
  core.userHeaders.Assign("X-Trace: 1\r\n");
  core.OtherHeaders.Assign("If-Match:W/\"1\"\r\n");
  ASSERT_EQ(core.QueryService(), 0);
  EXPECT_EQ(core.requests.back().otherHeaders, "If-Match:W/\"1\"\r\nX-Trace: 1\r\n");
  EXPECT_TRUE(core.OtherHeaders.IsEmpty());
  EXPECT_EQ(core.FollowRedirects, 1);
}

TEST_F(ServiceRequests, FailedStatusesBecome151Or902) {
  SetRoot("http://h/svc");
  // A 4xx keeps its status text and its body unparsed.
  core.answer = {errHttpStatus, 404, "<error>not found</error>",
                 "HTTP protocol error. 404 Not Found."};
  EXPECT_EQ(core.QueryService(), errHttpStatus);
  EXPECT_STREQ(core.LastErrorText(), "HTTP protocol error. 404 Not Found.");
  EXPECT_EQ(core.TransferredData.View(), "<error>not found</error>");

  // Any other failure with a body reports the trimmed body, BOM and outer blanks removed.
  core.answer = {errHttpStatus, 500, "\xEF\xBB\xBF  Internal failure\r\n",
                 "HTTP protocol error. 500"};
  EXPECT_EQ(core.QueryService(), errServiceError);
  EXPECT_STREQ(core.LastErrorText(), "Internal failure");

  // Without a body the code and its text stand.
  core.answer = {10061, 0, "", "[10061] Connection refused"};
  EXPECT_EQ(core.QueryService(), 10061);
  EXPECT_STREQ(core.LastErrorText(), "[10061] Connection refused");

  // A success without a body is plain success.
  core.answer = {0, 204, "  \r\n", ""};
  EXPECT_EQ(core.QueryService(), 0);

  // The edges of the 4xx range.
  const std::pair<int, int> edges[] = {
      {399, errServiceError}, {400, errHttpStatus}, {499, errHttpStatus}, {500, errServiceError}};
  for (const auto& [status, code] : edges) {
    core.answer = {errHttpStatus, status, "body", "HTTP protocol error."};
    EXPECT_EQ(core.QueryService(), code) << status;
  }
}

} // namespace
} // namespace quillon
