// The HTTP link against real servers on loopback: nginx for static, chunked, gzip and slow
// bodies, redirects and status pages, and the sample OData service for every operation of the
// component. Apache's Basic and Digest are among the sign-on tests.
#include "frame/Errors.h"
#include "odata/QuillonCore.h"
#include "support/Corpus.h"
#include "support/HttpEventLog.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace quillon::test {
namespace {

class LiveClient : public QuillonCore {
public:
  LiveClient() {
    SetEventSink(&log);
    SetTimeout(20, true);
  }
  // A GET, or a POST when a body is set.
  int Get(const std::string& url) {
    SetURL(url.c_str(), 0);
    return RunAction(PostData.IsEmpty() ? actGet : actPost);
  }
  HttpEventLog log;
};

std::string NginxFile(const std::string& path) {
  return FileText(PeerValue("nginx", "DOC_ROOT") + path);
}

TEST(HttpLiveTest, NginxBodiesRedirectsAndStatuses) {
  const std::string root = PeerValue("nginx", "URL");
  const std::string small = NginxFile("/feeds/small.xml"), medium = NginxFile("/feeds/medium.xml");
  ASSERT_FALSE(small.empty());
  // Settings go through Config, a POST sends "body", and the body is expected, or the error's
  // text after a failure.
  struct Row {
    const char* name;
    std::vector<std::string> settings;
    const char *method, *path;
    int code;
    std::string expected;
  };
  // clang-format off
  const Row rows[] = {
      {"chunked body", {}, "GET", "/chunked/medium.xml", errNone, medium},
      {"gzip, chunked", {"AllowHTTPCompression=1"}, "GET", "/feeds/medium.xml", errNone, medium},
      {"slow sender", {}, "GET", "/slow/medium.xml", errNone, medium},
      {"length body, kept connection", {"KeepAlive=1"}, "GET", "/feeds/medium.xml", errNone, medium},
      {"relative 302 followed", {"FollowRedirects=1"}, "GET", "/redirect/relative", errNone, small},
      {"chain of 302 and 301 followed", {"FollowRedirects=1"}, "GET", "/redirect/chain", errNone, small},
      {"POST answered by 303 goes on as GET", {"FollowRedirects=1"}, "POST", "/redirect/303", errNone, small},
      {"more redirects than allowed", {"FollowRedirects=1", "MaxRedirectAttempts=1"}, "GET", "/redirect/chain", 310, "There were too many redirects."},
      {"loop refused", {"FollowRedirects=1"}, "GET", "/redirect/loop", 151, "Attempting to redirect to identical URL.  Aborting connection."},
      {"no Location", {"FollowRedirects=1"}, "GET", "/redirect/no-location", 152, "No server specified in URL"},
      {"302 not followed", {"FollowRedirects=0"}, "GET", "/redirect/302", 151, "HTTP protocol error. 302 Moved Temporarily."},
      {"empty body", {}, "GET", "/empty.txt", errNone, ""},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    LiveClient client;
    for (const std::string& item : row.settings)
      ASSERT_EQ(client.ConfigText(item.c_str(), nullptr), errNone) << item;
    if (*row.method == 'P') client.PostData.Assign("body");
    EXPECT_EQ(client.Get(root + row.path), row.code) << client.lastError.Data();
    EXPECT_EQ(row.code == errNone ? client.TransferredData.View() : client.lastError.View(),
              row.expected);
    if (client.KeepAlive) {
      EXPECT_EQ(client.Get(root + row.path), errNone);
      EXPECT_TRUE(client.IsConnected());
    }
  }
}

TEST(HttpLiveTest, LocalFileAndTheDataLimit) {
  const std::string root = PeerValue("nginx", "URL"), medium = NginxFile("/feeds/medium.xml");
  const std::string file = ::testing::TempDir() + "quillon-local-file.xml";
  LiveClient toFile;
  toFile.LocalFile.narrow.Assign(file.c_str());
  ASSERT_EQ(toFile.Get(root + "/feeds/medium.xml"), errNone);
  EXPECT_EQ(FileText(file), medium);
  EXPECT_TRUE(toFile.TransferredData.IsEmpty());
  EXPECT_EQ(toFile.Get(root + "/missing"), 151); // a refusal leaves the file alone
  EXPECT_EQ(FileText(file), medium);
  std::remove(file.c_str());

  LiveClient limited;
  limited.MaxTransferredData = 100;
  ASSERT_EQ(limited.Get(root + "/feeds/medium.xml"), errNone);
  EXPECT_EQ(limited.TransferredData.View(), medium.substr(0, 100));
  EXPECT_EQ(limited.BytesTransferred, static_cast<int64_t>(medium.size()));
  EXPECT_EQ(limited.log.lastPercent, 100);
}

TEST(HttpLiveTest, EveryODataOperationAgainstTheSampleService) {
  LiveClient client;
  client.ServiceRootURI.Assign(PeerValue("odata", "URL").c_str());

  client.ResourcePath.Assign("Products");
  client.QueryFilter.Assign("Price gt 15");
  client.QueryOrderBy.Assign("Price desc");
  ASSERT_EQ(client.QueryService(), errNone) << client.lastError.Data();
  EXPECT_EQ(client.entries.Count(), 5); // the service's page
  client.QuerySkipToken.Assign("5");
  ASSERT_EQ(client.QueryService(), errNone) << client.lastError.Data();
  EXPECT_GT(client.entries.Count(), 0);
  client.QueryFilter.Clear();
  client.QueryOrderBy.Clear();
  client.QuerySkipToken.Clear();

  ASSERT_EQ(client.GetSchema(), errNone) << client.lastError.Data();
  EXPECT_EQ(client.entitySets.Count(), 3);

  // Create, read back, update with the ETag, be refused with a stale one, delete.
  client.SetEntryIndex(-1);
  EntryRecord& fresh = client.CurrentEntry();
  ASSERT_EQ(fresh.PropertyCount(), 0); // read once, then sized and filled by index
  PtrList<EntryProperty>* properties = fresh.PropertiesForEdit();
  ASSERT_NE(properties, nullptr);
  ASSERT_EQ(properties->Resize(2), errNone);
  properties->At(0)->name.Assign("ID");
  properties->At(0)->type.Assign("Edm.Int32");
  properties->At(0)->value.Assign("1013");
  properties->At(1)->name.Assign("Name");
  properties->At(1)->value.Assign("Live test desk");
  client.ResourcePath.Assign("Products");
  ASSERT_EQ(client.CreateEntry(), errNone) << client.lastError.Data();
  const std::string firstTag = client.CurrentEntry().ETag();
  ASSERT_FALSE(firstTag.empty());
  const std::string editLink = client.CurrentEntry().EditHref();

  ASSERT_EQ(client.SetEntryIndex(0), errNone); // the edit link is absolute: it is the URL
  EXPECT_EQ(client.ResourcePath.View(), editLink);
  ASSERT_EQ(client.UpdateProperty("/entry/content/properties/Name", "Renamed"), errNone)
      << client.lastError.Data();
  EXPECT_NE(std::string(client.CurrentEntry().ETag()), firstTag);

  client.CurrentEntry().SetETag(firstTag);
  EXPECT_EQ(client.UpdateEntry(), 151);
  EXPECT_EQ(client.lastError.View(), "HTTP protocol error. 412 Precondition Failed.");
  EXPECT_NE(client.TransferredData.Find("<error"), -1);

  ASSERT_EQ(client.QueryService(), errNone) << client.lastError.Data(); // fresh entry and ETag
  EXPECT_EQ(client.CustomRequest("GET", editLink.c_str(), ""), errNone) << client.lastError.Data();
  client.userHeaders.Assign("If-Match: *\r\n");
  EXPECT_EQ(client.DeleteEntry(), errNone) << client.lastError.Data();
  client.userHeaders.Clear();
  EXPECT_EQ(client.QueryService(), 151);
  EXPECT_EQ(client.lastError.View(), "HTTP protocol error. 404 Not Found.");
}

} // namespace
} // namespace quillon::test
