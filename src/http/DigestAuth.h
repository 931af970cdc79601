// HTTP Digest authentication (RFC 2617, MD5 and MD5-sess, qop auth and auth-int) over one state
// per side: the challenge parser, the client nonce and the Authorization value. The server side
// and the proxy side of HttpClient and the CONNECT tunnel each keep a DigestState of their own.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

struct DigestState {
  DigestState();
  BufStr20 realm;      // from the challenge
  BufStr20 qop;        // "auth", "auth-int", the server's text when unknown, or empty
  BufStr20 algorithm;  // from the challenge; "md5" until one names another
  BufStr20 nonce;      // from the challenge; empty until a challenge came
  BufStr20 cnonce;     // made once per challenge that has a qop
  BufStr20 opaque;     // from the challenge
  uint32_t nonceCount; // requests answered with this nonce
  BufStr20 user;       // copied in before each use
  BufStr20 password;   // copied in before each use
  BufStr uri;          // the request target as on the request line
  BufStr20 method;     // the request method
  BufStr entityBody;   // the request body, hashed for auth-int
  BufStr errorText;    // the message of the latest failure
};

// Result of BuildDigestHeader when the qop is neither "auth" nor "auth-int".
constexpr int kDigestUnknownQop = 1;

// Empties every field, the request fields included, and sets the initial algorithm.
void ResetDigestState(DigestState& state);
// Reads the parameters after the word "Digest" of a WWW-Authenticate or Proxy-Authenticate
// value into `state`, normalises the qop and, when there is one, makes a client nonce. 0 or 200.
int ParseDigestChallenge(DigestState& state, std::string_view params);
// The client nonce from a tick count: the sum of `ticks` and the low 32 bits of the state's
// address, as eight hex digits of its bytes, lowest byte first.
int MakeClientNonce(DigestState& state, uint32_t ticks);
int SetDigestRequest(DigestState& state, std::string_view method, std::string_view uri,
                     const char* body, int bodyLength);
// Appends the Authorization value to `out`. Without a nonce or a user it appends nothing: that is
// the first leg of an exchange. `withAlgorithm` is off for Proxy-Authorization and the tunnel.
// 0, kDigestUnknownQop with errorText set (and the part built so far in `out`), or 200.
int BuildDigestHeader(DigestState& state, BufStrBase& out, bool withAlgorithm);
// Appends the 32 lower-case hex digits of the response value to `out`.
int DigestResponse(const DigestState& state, BufStrBase& out);
// Appends the lower-case hex MD5 of the bytes to `out`.
int Md5Hex(const char* data, int length, BufStrBase& out);

} // namespace quillon
