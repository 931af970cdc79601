// Digest authentication. The challenge is read as name=value pairs separated by commas, values
// quoted or not; the response is
//   MD5(HA1 ":" nonce ":" [nc ":" cnonce ":" qop ":"] HA2)
// with HA1 = MD5(user ":" realm ":" password), for MD5-sess MD5(HA1 ":" nonce ":" cnonce), and
// HA2 = MD5(method ":" uri [":" MD5(body)] for auth-int). The header values are written without
// escaping, in the order servers have always been sent.
#include "http/DigestAuth.h"

#include "crypto/HashContext.h"
#include "frame/Errors.h"
#include "frame/Text.h"

#include <chrono>
#include <cstdio>

namespace quillon {

namespace {
bool IsSpaceOrTab(char c) {
  return c == ' ' || c == '\t';
}

// Appends in a chain and keeps the first failure, so that a header reads as one expression.
class Joiner {
public:
  explicit Joiner(BufStrBase& target) : out(target) {}
  Joiner& operator<<(std::string_view text) {
    if (rc == errNone) rc = out.Append(text);
    return *this;
  }
  Joiner& operator<<(const BufStrBase& text) { return *this << text.View(); }
  // The count as eight lower-case hex digits, as nc and the response want it.
  Joiner& Count(uint32_t count) {
    char text[9];
    std::snprintf(text, sizeof text, "%08x", count);
    return *this << std::string_view(text, 8);
  }
  Joiner& Md5Of(const BufStrBase& text) {
    if (rc == errNone) rc = Md5Hex(text.Data(), text.Length(), out);
    return *this;
  }

  int rc = errNone; // the first failure, or 0

private:
  BufStrBase& out;
};

// "auth," at the very front chooses auth; otherwise auth-int wins over auth anywhere in a list,
// and text naming neither stays as the server sent it.
int NormaliseQop(BufStrBase& qop) {
  if (qop.StartsWith("auth,")) return qop.Assign("auth");
  if (qop.Find("auth-int") >= 0) return qop.Assign("auth-int");
  if (qop.Find("auth") >= 0) return qop.Assign("auth");
  return errNone;
}

uint32_t TickCount() {
  using namespace std::chrono;
  return static_cast<uint32_t>(
      duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}
} // namespace

DigestState::DigestState() : nonceCount(0) {
  ResetDigestState(*this);
}

void ResetDigestState(DigestState& state) {
  for (BufStrBase* field : {&state.realm, &state.qop, &state.nonce, &state.cnonce, &state.opaque,
                            &state.user, &state.password, &state.method})
    field->Clear();
  state.uri.Clear();
  state.entityBody.Clear();
  state.errorText.Clear();
  state.algorithm.Assign("md5");
  state.nonceCount = 0;
}

int ParseDigestChallenge(DigestState& state, std::string_view params) {
  for (BufStrBase* field : {&state.realm, &state.qop, &state.nonce, &state.cnonce, &state.opaque})
    field->Clear();
  int rc = state.algorithm.Assign("md5");
  state.nonceCount = 0;

  size_t at = 0;
  while (rc == errNone && at < params.size()) {
    while (at < params.size() && IsSpaceOrTab(params[at]))
      ++at;
    if (at == params.size()) break;
    // name=value; blanks between the name and the "=" stay in the name.
    size_t equals = params.find('=', at);
    if (equals == std::string_view::npos) equals = params.size();
    const std::string_view name = params.substr(at, equals - at);
    at = equals < params.size() ? equals + 1 : equals;
    std::string_view value;
    if (at < params.size() && params[at] == '"') {
      // A quoted value runs to the next quote, commas inside it included; one comma right
      // behind the closing quote is skipped.
      const size_t close = params.find('"', at + 1);
      const size_t end = close == std::string_view::npos ? params.size() : close;
      value = params.substr(at + 1, end - at - 1);
      at = end < params.size() ? end + 1 : end;
      if (at < params.size() && params[at] == ',') ++at;
    } else {
      size_t comma = params.find(',', at);
      if (comma == std::string_view::npos) comma = params.size();
      value = params.substr(at, comma - at);
      at = comma < params.size() ? comma + 1 : comma;
    }
    // stale, domain and any other parameter are not used.
    if (EqualsNoCase(name, "realm"))
      rc = state.realm.Assign(value);
    else if (EqualsNoCase(name, "qop"))
      rc = state.qop.Assign(value);
    else if (EqualsNoCase(name, "algorithm"))
      rc = state.algorithm.Assign(value);
    else if (EqualsNoCase(name, "nonce"))
      rc = state.nonce.Assign(value);
    else if (EqualsNoCase(name, "opaque"))
      rc = state.opaque.Assign(value);
  }
  if (rc == errNone) rc = NormaliseQop(state.qop);
  if (rc == errNone && !state.qop.IsEmpty()) rc = MakeClientNonce(state, TickCount());
  return rc;
}

int MakeClientNonce(DigestState& state, uint32_t ticks) {
  const uint32_t value = ticks + static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&state));
  uint8_t bytes[4];
  for (int i = 0; i < 4; ++i)
    bytes[i] = static_cast<uint8_t>(value >> (8 * i));
  state.cnonce.Clear();
  return HexEncode(state.cnonce, bytes, 4);
}

int SetDigestRequest(DigestState& state, std::string_view method, std::string_view uri,
                     const char* body, int bodyLength) {
  int rc = state.method.Assign(method);
  if (rc == errNone) rc = state.uri.Assign(uri);
  if (rc == errNone) rc = state.entityBody.Assign(body ? body : "", body ? bodyLength : 0);
  return rc;
}

int BuildDigestHeader(DigestState& state, BufStrBase& out, bool withAlgorithm) {
  if (state.nonce.IsEmpty() || state.user.IsEmpty()) return errNone;
  Joiner header(out);
  header << "Digest username=\"" << state.user << "\", realm=\"" << state.realm << "\", nonce=\""
         << state.nonce << "\", uri=\"" << state.uri << "\"";
  if (withAlgorithm) header << ", algorithm=\"" << state.algorithm << "\"";
  if (header.rc != errNone) return header.rc;
  if (!state.qop.IsEmpty()) {
    if (state.qop.View() != "auth" && state.qop.View() != "auth-int") {
      state.errorText.Assign("Digest authentication error: unknown qop value.");
      return kDigestUnknownQop;
    }
    ++state.nonceCount;
    header << ", qop=\"" << state.qop << "\", nc=";
    header.Count(state.nonceCount) << ", cnonce=\"" << state.cnonce << "\"";
  }
  BufStr response;
  if (int rc = DigestResponse(state, response); rc != errNone) return rc;
  header << ", response=\"" << response << "\"";
  if (!state.opaque.IsEmpty()) header << ", opaque=\"" << state.opaque << "\"";
  return header.rc;
}

int DigestResponse(const DigestState& state, BufStrBase& out) {
  const bool isSession = EqualsNoCase(state.algorithm.View(), "MD5-sess");
  // An algorithm other than the two forms of MD5 leaves A1 empty; the header still goes out.
  BufStr a1;
  Joiner first(a1);
  if (isSession || EqualsNoCase(state.algorithm.View(), "MD5"))
    first << state.user << ":" << state.realm << ":" << state.password;
  if (isSession && first.rc == errNone) {
    BufStr session;
    Joiner sessionKey(session);
    sessionKey.Md5Of(a1) << ":" << state.nonce << ":" << state.cnonce;
    first.rc = sessionKey.rc == errNone ? a1.Assign(session) : sessionKey.rc;
  }
  if (first.rc != errNone) return first.rc;

  BufStr a2;
  Joiner second(a2);
  second << state.method << ":" << state.uri;
  if (state.qop.View() == "auth-int") (second << ":").Md5Of(state.entityBody);
  if (second.rc != errNone) return second.rc;

  BufStr whole;
  Joiner response(whole);
  response.Md5Of(a1) << ":" << state.nonce << ":";
  if (!state.qop.IsEmpty())
    response.Count(state.nonceCount) << ":" << state.cnonce << ":" << state.qop << ":";
  response.Md5Of(a2);
  return response.rc == errNone ? Md5Hex(whole.Data(), whole.Length(), out) : response.rc;
}

int Md5Hex(const char* data, int length, BufStrBase& out) {
  BufStr20 digest;
  int rc = Md5Digest(digest, data, length);
  return rc == errNone ? HexEncode(out, digest.Data(), digest.Length()) : rc;
}

} // namespace quillon
