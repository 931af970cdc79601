// The one file that includes libargon2; its codes become ours.
#include "crypto/Argon2.h"

#include "crypto/CryptoErrors.h"
#include "frame/Errors.h"

#include <argon2.h>

namespace quillon {

int Argon2Derive(int flavour, uint32_t memoryKiB, uint32_t passes, uint32_t parallelism,
                 std::string_view password, std::string_view salt, int wantedBytes,
                 BufStrBase& out) {
  if (flavour < argon2d || flavour > argon2id || wantedBytes < 1) return errUnknownAlgorithm;
  if (int rc = out.Resize(wantedBytes, nullptr); rc != errNone) return rc;
  const int rc = argon2_hash(passes, memoryKiB, parallelism, password.data(), password.size(),
                             salt.data(), salt.size(), out.Data(), static_cast<size_t>(wantedBytes),
                             nullptr, 0, static_cast<argon2_type>(flavour), ARGON2_VERSION_13);
  if (rc == ARGON2_OK) return errNone;
  out.Clear();
  if (rc == ARGON2_MEMORY_ALLOCATION_ERROR) return errOutOfMemory;
  return errUnknownAlgorithm;
}

} // namespace quillon
