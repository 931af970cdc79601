// PeerValue against the running nginx peer: the keys it writes, and the failures a test sees
// when it names a peer or key that is not there.
#include "support/Peers.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace quillon::test {
namespace {

TEST(PeerValueTest, KeysOfARunningPeer) {
  const std::string port = PeerValue("nginx", "PORT");
  ASSERT_FALSE(port.empty());
  EXPECT_EQ(PeerValue("nginx", "URL"), "http://127.0.0.1:" + port);
  EXPECT_EQ(PeerValue("nginx", "CA_FILE"), PeerValue("certs", "CA_FILE"));
  EXPECT_EQ(PeerValue("nginx", "HTTPS_URL").rfind("https://127.0.0.1:", 0), 0u);
}

TEST(PeerValueTest, MissingPeerOrKeyFailsTheTest) {
  struct Row {
    const char* kind;
    const char* key;
    const char* message;
  } const rows[] = {
      {"nginx", "NO_SUCH_KEY", "peer nginx has no key NO_SUCH_KEY"},
      {"nginx", "UR", "peer nginx has no key UR"},
      {"no-such-peer", "URL", "peer no-such-peer is not running"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    std::string value = "unchanged";
    EXPECT_NONFATAL_FAILURE(value = PeerValue(row.kind, row.key), row.message);
    EXPECT_EQ(value, "");
  }
}

} // namespace
} // namespace quillon::test
