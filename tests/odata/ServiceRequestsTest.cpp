#include "ODataTestSupport.h"

#include "frame/Errors.h"
#include "http/HttpErrors.h"
#include "odata/ODataErrors.h"
#include "support/RecordingCore.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quillon {
namespace {

using test::Join;
using test::RecordingCore;
using test::ScriptedAnswer;
using test::Text;

class ServiceRequests : public ::testing::Test {
protected:
  RecordingCore core;
  void SetRoot(const char* root) { core.ServiceRootURI.Assign(root); }
  std::string LastUrl() const { return core.requests.empty() ? "" : core.requests.back().url; }
};

TEST_F(ServiceRequests, QueryServiceComposesPathAndOptions) {
  // ServiceRootURI, ResourcePath, whether it is encoded, the URL.
  const std::tuple<const char*, const char*, bool, const char*> rows[] = {
      {"http://h/svc/", "Products", true, "http://h/svc/Products"},
      {"http://h/svc", "Products", true, "http://h/svc/Products"},
      {"http://h/svc", "Products(1)/Category", true, "http://h/svc/Products%281%29%2FCategory"},
      {"http://h/svc", "Products(1)/Category", false, "http://h/svc/Products(1)/Category"},
      {"http://h/svc", "", true, "http://h/svc"},
      {"http://h/svc", "Caf\xC3\xA9 Items", true, "http://h/svc/Caf%C3%A9%20Items"},
  };
  for (const auto& [root, resourcePath, encodePath, expected] : rows) {
    SetRoot(root);
    core.ResourcePath.Assign(resourcePath);
    core.encodeResourcePath = encodePath;
    ASSERT_EQ(core.QueryService(), 0) << resourcePath;
    EXPECT_EQ(Join(LastUrl(), core.requests.back().action), Join(expected, actGet));
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
  const std::tuple<const char*, const char*, const char*> rows[] = {
      // root, options, URL
      {"http://h/svc/", "", "http://h/svc/$metadata"},
      {"http://h/svc/$metadata", "", "http://h/svc/$metadata"},
      {"http://h/svc", "sap-language=EN", "http://h/svc/$metadata?sap-language=EN"},
  };
  for (const auto& [root, options, expected] : rows) {
    SetRoot(root);
    core.OtherQueryOptions.Assign(options);
    ASSERT_EQ(core.GetSchema(), 0) << root;
    EXPECT_EQ(LastUrl(), expected);
  }
}

TEST_F(ServiceRequests, MissingRootIsRefusedBeforeAnyTraffic) {
  EXPECT_EQ(core.QueryService(), errNoServiceRoot);
  EXPECT_STREQ(core.LastErrorText(), "The ServiceRootURI must be set before do action.");
  EXPECT_EQ(core.GetSchema(), errNoServiceRoot);
  EXPECT_STREQ(core.LastErrorText(), "The ServiceRootURI must be set before get schema.");
  EXPECT_TRUE(core.requests.empty());
}

TEST_F(ServiceRequests, CustomRequestPicksTheActionByMethod) {
  // The method, the action, HTTPMethod after the call.
  const std::tuple<const char*, int, const char*> rows[] = {
      {"get", actGet, ""},       {nullptr, actGet, ""},      {"", actGet, ""},
      {"Delete", actDelete, ""}, {"HEAD", actHead, ""},      {"post", actPost, ""},
      {"PUT", actPut, ""},       {"merge", actPut, "MERGE"}, {"patch", actGet, "PATCH"},
  };
  for (const auto& [method, action, httpMethod] : rows) {
    RecordingCore fresh;
    ASSERT_EQ(fresh.CustomRequest(method, "http://h/x(1)?$a=b c", "{body}"), 0);
    const auto& request = fresh.requests.back();
    // The URL is used exactly, and the body stored for every method.
    EXPECT_EQ(Join(request.action, request.url, request.httpMethod, request.postData),
              Join(action, "http://h/x(1)?$a=b c", httpMethod, "{body}"))
        << Text(method);
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
  EXPECT_EQ(Join(core.requests.back().otherHeaders, core.OtherHeaders, core.FollowRedirects),
            "If-Match:W/\"1\"\r\nX-Trace: 1\r\n||1");
}

TEST_F(ServiceRequests, FailedStatusesBecome151Or902) {
  SetRoot("http://h/svc");
  // The answer, the result and LastErrorText: a 4xx keeps its status text and its body unparsed;
  // any other failure with a body reports the trimmed body, BOM and outer blanks removed; without
  // a body the code and its text stand; a success without a body is plain success.
  const std::tuple<ScriptedAnswer, int, const char*> rows[] = {
      {{errHttpStatus, 404, "<error>not found</error>", "HTTP protocol error. 404 Not Found."},
       errHttpStatus,
       "HTTP protocol error. 404 Not Found."},
      {{errHttpStatus, 500, "\xEF\xBB\xBF  Internal failure\r\n", "HTTP protocol error. 500"},
       errServiceError,
       "Internal failure"},
      {{10061, 0, "", "[10061] Connection refused"}, 10061, "[10061] Connection refused"},
      {{0, 204, "  \r\n", ""}, 0, ""},
      // The edges of the 4xx range.
      {{errHttpStatus, 399, "body", "HTTP protocol error."}, errServiceError, "body"},
      {{errHttpStatus, 400, "body", "HTTP protocol error."}, errHttpStatus, "HTTP protocol error."},
      {{errHttpStatus, 499, "body", "HTTP protocol error."}, errHttpStatus, "HTTP protocol error."},
      {{errHttpStatus, 500, "body", "HTTP protocol error."}, errServiceError, "body"},
  };
  for (const auto& [answer, result, text] : rows) {
    core.answer = answer;
    const int rc = core.QueryService();
    EXPECT_EQ(Join(rc, core.LastErrorText(), core.TransferredData), Join(result, text, answer.body))
        << answer.statusCode << " " << answer.body;
  }
}

} // namespace
} // namespace quillon
