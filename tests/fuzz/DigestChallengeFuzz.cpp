// A WWW-Authenticate Digest challenge from the network, answered both ways: the parser, the qop
// rule and the header builder must hold on any bytes.
#include "http/DigestAuth.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quillon::DigestState state;
  const std::string_view challenge(reinterpret_cast<const char*>(data), size);
  if (quillon::ParseDigestChallenge(state, challenge) != 0) std::abort();
  const std::string_view qop = state.qop.View();
  if (qop != "auth" && qop != "auth-int" && qop.find("auth") != std::string_view::npos)
    std::abort();
  if (!qop.empty() && state.cnonce.Length() != 8) std::abort();
  state.user.Assign("user");
  state.password.Assign("password");
  quillon::SetDigestRequest(state, "POST", "/service/Entries", "body", 4);
  for (bool withAlgorithm : {true, false}) {
    quillon::BufStr header;
    const int rc = quillon::BuildDigestHeader(state, header, withAlgorithm);
    if (rc != 0 && rc != quillon::kDigestUnknownQop) std::abort();
    if (rc == 0 && !state.nonce.IsEmpty() && header.Find("response=\"") < 0) std::abort();
  }
  return 0;
}
