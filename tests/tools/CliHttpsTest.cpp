// The command-line program querying nginx over HTTPS: refused while the test CA is not trusted,
// through once it is (SSL_CERT_FILE) or once the server's certificate is named as accepted.
#include "support/CliRunner.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quillon::test {
namespace {

TEST(CliHttpsTest, QueryOverHttpsIsJudgedByTheTrustedCa) {
  QUILLON_REQUIRE_CLI();
  const std::string query = "-p ServiceRootURI=" + PeerValue("nginx", "HTTPS_URL") +
                            "/odata/ -p ResourcePath=Items -p QueryTop=2 QueryService";
  const std::string accepted =
      "-p \"SSLAcceptServerCertEncoded=$(cat " + PeerValue("certs", "SERVER_CERT") + ")\" ";
  struct Row {
    const char* name;
    const char* caFile; // SSL_CERT_FILE, or none
    std::string options;
    int status;
    const char* shown;
  };
  const Row rows[] = {
      {"untrusted", nullptr, "", 1,
       "quillon: error 276: Server certificate verification failed. Connection aborted."},
      {"trusted CA", "CA_FILE", "", 0, "QueryService: OK"},
      {"accepted certificate", nullptr, accepted, 0, "QueryService: OK"},
  };
  for (const Row& row : rows) {
    if (row.caFile)
      ::setenv("SSL_CERT_FILE", PeerValue("certs", row.caFile).c_str(), 1);
    else
      ::unsetenv("SSL_CERT_FILE");
    const CliRun run = RunCli(row.options + query);
    EXPECT_EQ(run.status, row.status) << row.name << "\n" << run.out;
    EXPECT_NE(run.out.find(row.shown), std::string::npos) << row.name << "\n" << run.out;
  }
  ::unsetenv("SSL_CERT_FILE");
}

} // namespace
} // namespace quillon::test
