// A Type 2 NTLM message from the network: the reader must fail cleanly or give pairs that lie
// inside the message, and the Type 3 answer must be built for both response paths.
#include "http/NtlmContext.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view message(reinterpret_cast<const char*>(data), size);
  if (message.empty()) return 0; // an empty token begins an exchange: no challenge to read
  for (uint32_t useNtlmV2 : {0u, 1u}) {
    quillon::NtlmContext ntlm;
    ntlm.LoadCredentials("NTLM", "DOMAIN\\user", "password");
    ntlm.useNtlmV2 = useNtlmV2;
    quillon::BufStr out;
    if (ntlm.NtlmStep(out, "NTLM", "host", "") != 0) std::abort();
    const int rc = ntlm.NtlmStep(out, "NTLM", "host", message);
    if (rc == -1 && ntlm.errorText.IsEmpty()) std::abort();
    if (rc == 0 && out.Length() < 72) std::abort();
  }
  return 0;
}
