// The flat DER reader over any bytes: every element of every nesting level is walked with the
// reader's own steps, and the key converters are run on the whole input. Nothing may read
// outside the buffer, and a child must lie inside its list.
#include "crypto/Der.h"
#include "keys/KeyBlob.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {
void Walk(std::string_view list, int depth) {
  for (int index = 0; depth < 8; ++index) {
    std::string_view child;
    int tag = 0;
    const int rc = quillon::GetChild(list, index, child, &tag);
    if (rc != 0) {
      if (rc != 446 && rc != 447) std::abort();
      return;
    }
    if (child.data() < list.data() || child.data() + child.size() > list.data() + list.size())
      std::abort();
    if (tag & 0x20) Walk(child, depth + 1);
  }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  Walk(input, 0);
  quillon::BufStr list(input), out;
  int32_t value = 0;
  uint32_t unsignedValue = 0;
  if (quillon::EnterSequence(list, nullptr) == 0) {
    for (int i = 0; i < 4; ++i) {
      quillon::GetInt(list, i, value, nullptr);
      quillon::GetUnsigned(list, i, unsignedValue, nullptr);
      quillon::GetOid(list, i, out, nullptr);
    }
  }
  quillon::KeyMaterial key;
  quillon::RsaDerToBlob(input, key);
  quillon::DsaDerToBlob(input, key);
  quillon::PublicKeyInfo info;
  quillon::PublicKeyFromDer(input, info, true, true);
  return 0;
}
