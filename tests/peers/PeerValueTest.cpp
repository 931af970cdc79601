// PeerValue against the running nginx peer: the keys it writes, and the failures a test sees
// when it names a peer or key that is not there.
#include "support/Peers.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <array>

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
  // Peer, key, and the failure's message.
  const std::array<const char*, 3> rows[] = {
      {"nginx", "NO_SUCH_KEY", "peer nginx has no key NO_SUCH_KEY"},
      {"nginx", "UR", "peer nginx has no key UR"},
      {"no-such-peer", "URL", "peer no-such-peer is not running"},
  };
  for (const auto& [kind, key, message] : rows) {
    SCOPED_TRACE(message);
    std::string value = "unchanged";
    EXPECT_NONFATAL_FAILURE(value = PeerValue(kind, key), message);
    EXPECT_EQ(value, "");
  }
}

} // namespace
} // namespace quillon::test
