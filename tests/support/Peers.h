// Values of the live peers that tests/peers/ starts on 127.0.0.1 for a test program that names
// them with quillon_use_peers(): KEY=VALUE lines of $QUILLON_PEERS/<peer>/peer.env.
#pragma once

#include <string>
#include <string_view>

namespace quillon::test {

// The value of `key` for the peer `kind` (a kind such as "nginx", or a variant's name), e.g.
// PeerValue("nginx", "URL") == "http://127.0.0.1:PORT". A peer that is not running or a key it
// does not have fails the current test (ADD_FAILURE) and gives an empty text.
std::string PeerValue(std::string_view kind, std::string_view key);

} // namespace quillon::test
