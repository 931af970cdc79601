// The HTTP link against real servers on loopback: nginx for static, chunked, gzip and slow
// bodies, redirects and status pages, and the sample OData service for an entry's round trip
// (its filtered pages and schema are the command-line program's main job, CliServiceTest).
// Apache's Basic and Digest are among the sign-on tests.
// Then QueryService of the sample service through every kind of proxy and firewall, set through
// the public properties or taken from the environment's proxy variables: squid as a plain proxy
// (absolute request line, Basic, Digest after a 407) and as a CONNECT tunnel, tinyproxy's CONNECT
// with Basic, SOCKS 4 and 5 through dante and microsocks, nginx as a proxy reached over TLS; and
// HTTPS inside each kind of tunnel.
// Nothing listens on 127.0.0.1:1, so a proxy there shows which requests went through it.
#include "frame/Errors.h"
#include "odata/QuillonCore.h"
#include "support/Corpus.h"
#include "support/HttpEventLog.h"
#include "support/LiveHost.h"
#include "support/Peers.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
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

TEST(HttpLiveTest, AnEntrysRoundTripAgainstTheSampleService) {
  LiveClient client;
  client.ServiceRootURI.Assign(PeerValue("odata", "URL").c_str());

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

enum Target { kOData, kHttps, kSignOn };

// The sample service, nginx's static feed of 200 items over HTTPS, or the sign-on server's plain
// feed (the only target of its proxies).
int Query(Quillon& q, const std::string& host, int top, Target target = kOData) {
  const std::string roots[] = {
      "http://" + host + ":" + PeerValue("odata", "PORT") + "/odata/v2/catalog/",
      PeerValue("nginx", "HTTPS_URL") + "/odata/", PeerValue("signon", "URL") + "/plain/"};
  const char* paths[] = {"Products", "Items", "feed.xml"};
  q.SetServiceRootURI(roots[target]);
  q.SetResourcePath(paths[target]);
  q.SetQueryTop(target == kOData ? std::to_string(top) : "");
  return q.QueryService();
}

TEST(ProxyLiveTest, QueryThroughEveryKindOfProxyAndFirewall) {
  struct Row {
    const char* name;
    std::string settings; // "Name=value;...", expanded
    int rc;
    std::string text; // the start of the error after a failure; else what squid logs, or ""
    Target target = kOData;
  };
  // clang-format off
  const std::string squid = "ProxyServer={squid.HOST};ProxyPort={squid.PORT};",
                    squidAuth = "ProxyServer={squid.HOST};ProxyPort={squid.AUTH_PORT};ProxyUser={squid.USER};",
                    squidDigest = squidAuth + "ProxyAuthScheme=1;",
                    tiny = "ProxySSL=3;ProxyServer={tinyproxy.HOST};ProxyPort={tinyproxy.PORT};ProxyUser={tinyproxy.USER};",
                    dante = "FirewallHost={dante.HOST};FirewallPort={dante.PORT};",
                    danteAuth = "FirewallType=3;FirewallHost={dante_auth.HOST};FirewallPort={dante_auth.PORT};",
                    ntlmTunnel = "ProxySSL=3;ProxyAuthScheme=4;ProxyServer=127.0.0.1;ProxyPort={signon.PROXY_PORT};ProxyUser={signon.NTLM_DOMAIN}\\{signon.NTLM_USER};ProxyPassword={signon.NTLM_PASSWORD}",
                    right = "ProxyPassword={squid.PASSWORD}", wrong = "ProxyPassword=wrong",
                    absolute = "GET http://127.0.0.1:{odata.PORT}/odata/v2/catalog/Products? ";
  const Row rows[] = {
      {"squid, absolute request line", squid, 0, absolute + "- "},
      {"squid, Basic", squidAuth + right, 0, absolute + "proxyuser "},
      {"squid, Digest after a 407", squidDigest + right, 0, absolute + "proxyuser "},
      {"squid, no credentials", squid + "ProxyPort={squid.AUTH_PORT}", 151, "HTTP protocol error. 407 Proxy Authentication Required."},
      {"squid, Digest with a wrong password", squidDigest + wrong, 151, "HTTP protocol error. 407 Proxy Authentication Required."},
      {"squid, CONNECT without credentials", "ProxySSL=3;" + squid + "ProxyPort={squid.AUTH_PORT}", 118, "Firewall error. HTTP/1.1 407 Proxy Authentication Required."},
      {"squid, CONNECT for an http URL", "ProxySSL=3;" + squid, 0, "CONNECT 127.0.0.1:{odata.PORT} - "},
      {"squid, CONNECT with Digest", "ProxySSL=3;" + squidDigest + right, 0, "CONNECT 127.0.0.1:{odata.PORT} proxyuser "},
      {"squid, CONNECT with Digest and a wrong password", "ProxySSL=3;" + squidDigest + wrong, 118, "Firewall error after digest authentication."},
      {"squid, CONNECT with OAuth", "ProxySSL=3;ProxyAuthScheme=6;" + squid, 153, "Unknown proxy authentication scheme."},
      {"tinyproxy, CONNECT with Basic", tiny + "ProxyPassword={tinyproxy.PASSWORD}", 0, ""},
      {"tinyproxy, wrong password", tiny + wrong, 118, "Firewall error. HTTP/1.0 401 Unauthorized."},
      {"dante, SOCKS 4", "FirewallType=2;" + dante, 0, ""},
      {"dante, SOCKS 5", "FirewallType=3;" + dante, 0, ""},
      {"dante, SOCKS 5 with user and password", danteAuth + "FirewallUser={dante_auth.USER};FirewallPassword={dante_auth.PASSWORD}", 0, ""},
      {"dante, SOCKS 5 with a wrong password", danteAuth + "FirewallUser={dante_auth.USER};FirewallPassword=wrong", 118, "firewall authentication failed: 1"},
      {"dante, SOCKS 5 without credentials", danteAuth, 118, "no acceptable firewall authentication methods"},
      {"microsocks, SOCKS 5 with user and password", "FirewallType=3;FirewallHost={microsocks.HOST};FirewallPort={microsocks.PORT};FirewallUser={microsocks.USER};FirewallPassword={microsocks.PASSWORD}", 0, ""},
      {"NTLM tunnel", ntlmTunnel, 0, "", kSignOn},
      {"https, NTLM tunnel", ntlmTunnel, 0, "", kHttps},
      // TLS runs end to end inside the tunnel; the Digest one reads its proxy's lines first.
      {"https, squid", squid, 0, "CONNECT 127.0.0.1:{nginx.HTTPS_PORT} - ", kHttps},
      {"https, squid with Digest", squidDigest + right, 0, "CONNECT 127.0.0.1:{nginx.HTTPS_PORT} proxyuser ", kHttps},
      {"https, tinyproxy", tiny + "ProxyPassword={tinyproxy.PASSWORD}", 0, "", kHttps},
      {"https, dante SOCKS 4", "FirewallType=2;" + dante, 0, "", kHttps},
      {"https, dante SOCKS 5", "FirewallType=3;" + dante, 0, "", kHttps},
      // TLS to the proxy itself (nginx forwarding absolute URLs), the request line as to any proxy.
      {"TLS to the proxy", "ProxySSL=1;ProxyServer=127.0.0.1;ProxyPort={nginx.TLS_PROXY_PORT}", 0, ""},
  };
  // clang-format on
  setenv("SSL_CERT_FILE", PeerValue("certs", "CA_FILE").c_str(), 1);
  int top = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    top = top % 5 + 1;
    LiveHost host;
    Quillon& q = host.q;
    ASSERT_TRUE(host.Set(row.settings));
    // squid logs a transaction that ended well a moment after it ends.
    const std::vector<std::string> parts = {Expand(row.text), "/200 "};
    const size_t logged = LoggedLines("squid", parts, 0).size();
    ASSERT_EQ(Query(q, "127.0.0.1", top, row.target), row.rc) << q.ErrorDescription();
    if (row.rc != 0) {
      EXPECT_EQ(q.ErrorDescription().rfind(row.text, 0), 0u) << q.ErrorDescription();
      // The same object goes on, direct.
      ASSERT_TRUE(host.Set("ProxyServer=;FirewallType=0"));
      ASSERT_EQ(Query(q, "127.0.0.1", top), 0) << q.ErrorDescription();
    } else if (!row.text.empty()) {
      EXPECT_GT(LoggedLines("squid", parts, logged + 1).size(), logged) << parts[0];
    }
    EXPECT_EQ(q.EntryCount(), row.target == kOData ? top : row.target == kHttps ? 200 : 0);
  }
  unsetenv("SSL_CERT_FILE");
}

// The proxy variables count from the moment ProxyAutoDetect or FirewallAutoDetect is turned on,
// for the scheme of the URL current then: a first query goes direct.
TEST(ProxyLiveTest, ProxiesFromTheEnvironment) {
  struct Row {
    const char *name, *variable, *value, *noProxy, *property, *host;
    int rc;
  };
  // clang-format off
  const Row rows[] = {
      {"http_proxy", "http_proxy", "http://{squid.HOST}:{squid.PORT}", "", "ProxyAutoDetect", "127.0.0.1", 0},
      {"HTTP_PROXY with credentials", "HTTP_PROXY", "http://{squid.USER}:{squid.PASSWORD}@{squid.HOST}:{squid.AUTH_PORT}", "", "ProxyAutoDetect", "127.0.0.1", 0},
      {"http_proxy where nothing listens", "http_proxy", "http://127.0.0.1:1", "", "ProxyAutoDetect", "127.0.0.1", 10061},
      {"http_proxy, host in no_proxy", "http_proxy", "http://127.0.0.1:1", "example.org,localhost", "ProxyAutoDetect", "localhost", 0},
      {"http_proxy, other host in no_proxy", "http_proxy", "http://127.0.0.1:1", "localhost", "ProxyAutoDetect", "127.0.0.1", 10061},
      {"all_proxy SOCKS 5", "all_proxy", "socks5://{dante.HOST}:{dante.PORT}", "", "FirewallAutoDetect", "127.0.0.1", 0},
      {"all_proxy SOCKS 4, by ProxyAutoDetect", "all_proxy", "socks4://{dante.HOST}:{dante.PORT}", "", "ProxyAutoDetect", "127.0.0.1", 0},
      {"ALL_PROXY SOCKS 5 with credentials", "ALL_PROXY", "socks5://{dante_auth.USER}:{dante_auth.PASSWORD}@{dante_auth.HOST}:{dante_auth.PORT}", "", "FirewallAutoDetect", "127.0.0.1", 0},
      {"all_proxy where nothing listens", "all_proxy", "socks5://127.0.0.1:1", "", "FirewallAutoDetect", "127.0.0.1", 10061},
      {"all_proxy, host in no_proxy", "all_proxy", "socks5://127.0.0.1:1", "localhost", "FirewallAutoDetect", "localhost", 0},
  };
  // clang-format on
  const char* variables[] = {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY",
                             "all_proxy",  "ALL_PROXY",  "no_proxy",    "NO_PROXY"};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    for (const char* variable : variables)
      unsetenv(variable);
    setenv(row.variable, Expand(row.value).c_str(), 1);
    if (*row.noProxy) setenv("no_proxy", row.noProxy, 1);
    LiveHost host;
    Quillon& q = host.q;
    ASSERT_EQ(Query(q, row.host, 1), 0) << q.ErrorDescription();
    ASSERT_EQ(q.SetProperty(row.property, "True"), 0);
    EXPECT_EQ(Query(q, row.host, 2), row.rc) << q.ErrorDescription();
    if (row.rc != 0) continue;
    EXPECT_EQ(q.EntryCount(), 2);
  }
  for (const char* variable : variables)
    unsetenv(variable);
}

} // namespace
} // namespace quillon::test
