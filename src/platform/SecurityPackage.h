// The system's security package for Negotiate: SPNEGO with Kerberos over the GSS-API library,
// which is loaded at first use so that a host without it still runs (then Available() is false
// and every call fails with kSecurityLibraryMissing). Texts come from the library itself.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon::platform {

// Result of the calls when the library could not be loaded.
constexpr uint32_t kSecurityLibraryMissing = 0xFFFFFFFF;

// True once the library and every function the session needs were found.
bool SecurityLibraryAvailable();
// Drops the loaded library and names the one to load next time; for tests of a missing library.
void ReloadSecurityLibrary(const char* fileName);

class SecuritySession {
public:
  SecuritySession() = default;
  ~SecuritySession();
  SecuritySession(const SecuritySession&) = delete;
  SecuritySession& operator=(const SecuritySession&) = delete;

  // Operations. Each returns 0 or the library's major status (kSecurityLibraryMissing without
  // the library), with the library's text for it in `errorText`.
  // Credentials for outbound use: the ones in the user's Kerberos cache when `principal` is
  // empty, else acquired with `password` for `principal` ("user@REALM").
  uint32_t AcquireCredentials(std::string_view principal, std::string_view password);
  // One step of the context for `target` (a host-based service, "HTTP@host"): without a context
  // it starts one and ignores `input`. `bindings` is the application data of the channel
  // bindings, empty for none. `out` receives the output token, `complete` whether the context
  // is established.
  uint32_t Step(std::string_view target, std::string_view input, std::string_view bindings,
                BufStrBase& out, bool& complete);
  void DeleteContext();
  void FreeCredentials();
  bool HasContext() const { return context != nullptr; }

  BufStr errorText; // the library's text of the latest failure

private:
  uint32_t Failed(uint32_t major, uint32_t minor);

  void* credential = nullptr; // gss_cred_id_t; null when free
  void* context = nullptr;    // gss_ctx_id_t; null when free
};

} // namespace quillon::platform
