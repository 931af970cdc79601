#include "support/Peers.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace quillon::test {

std::string PeerValue(std::string_view kind, std::string_view key) {
  const char* peers = std::getenv("QUILLON_PEERS");
  if (!peers || !*peers) {
    ADD_FAILURE() << "QUILLON_PEERS is not set: the test program needs quillon_use_peers("
                  << "<program> " << kind << ") in tests/CMakeLists.txt and a run through ctest";
    return {};
  }
  const std::string file = std::string(peers) + "/" + std::string(kind) + "/peer.env";
  std::ifstream in(file);
  if (!in) {
    ADD_FAILURE() << "peer " << kind << " is not running: " << file
                  << " is missing (see the output of the test peer_" << kind << "_start)";
    return {};
  }
  std::string line;
  while (std::getline(in, line)) {
    if (line.size() > key.size() && line.compare(0, key.size(), key) == 0 &&
        line[key.size()] == '=')
      return line.substr(key.size() + 1);
  }
  ADD_FAILURE() << "peer " << kind << " has no key " << key << " in " << file;
  return {};
}

} // namespace quillon::test
