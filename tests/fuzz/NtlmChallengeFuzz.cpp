// A Type 2 NTLM message from the network: the reader must fail cleanly or give pairs that lie
// inside the message, and the Type 3 answer must be built for both response paths.
#include "FuzzSupport.h"
#include "http/NtlmContext.h"

QUILLON_FUZZ_TARGET(message) {
  if (message.empty()) return; // an empty token begins an exchange: no challenge to read
  for (uint32_t useNtlmV2 : {0u, 1u}) {
    NtlmContext ntlm;
    ntlm.LoadCredentials("NTLM", "DOMAIN\\user", "password");
    ntlm.useNtlmV2 = useNtlmV2;
    BufStr out;
    Check(ntlm.NtlmStep(out, "NTLM", "host", "") == 0);
    const int rc = ntlm.NtlmStep(out, "NTLM", "host", message);
    Check(rc != -1 || !ntlm.errorText.IsEmpty());
    Check(rc != 0 || out.Length() >= 72);
  }
}
