// A WWW-Authenticate Digest challenge from the network, answered both ways: the parser, the qop
// rule and the header builder must hold on any bytes.
#include "FuzzSupport.h"
#include "http/DigestAuth.h"

QUILLON_FUZZ_TARGET(challenge) {
  DigestState state;
  Check(ParseDigestChallenge(state, challenge) == 0);
  const std::string_view qop = state.qop.View();
  Check(qop == "auth" || qop == "auth-int" || qop.find("auth") == std::string_view::npos);
  Check(qop.empty() || state.cnonce.Length() == 8);
  state.user.Assign("user");
  state.password.Assign("password");
  SetDigestRequest(state, "POST", "/service/Entries", "body", 4);
  for (bool withAlgorithm : {true, false}) {
    BufStr header;
    const int rc = BuildDigestHeader(state, header, withAlgorithm);
    Check(rc == 0 || rc == kDigestUnknownQop);
    Check(rc != 0 || state.nonce.IsEmpty() || header.Find("response=\"") >= 0);
  }
}
