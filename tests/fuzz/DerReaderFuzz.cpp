// The flat DER reader over any bytes: every element of every nesting level is walked with the
// reader's own steps, and the key converters are run on the whole input. Nothing may read
// outside the buffer, and a child must lie inside its list.
#include "FuzzSupport.h"
#include "crypto/Der.h"
#include "keys/KeyBlob.h"

namespace quillon::fuzz {
namespace {
void Walk(std::string_view list, int depth) {
  for (int index = 0; depth < 8; ++index) {
    std::string_view child;
    int tag = 0;
    const int rc = GetChild(list, index, child, &tag);
    if (rc != 0) return Check(rc == 446 || rc == 447); // the end of the list, or a broken element
    Check(child.data() >= list.data() && child.data() + child.size() <= list.data() + list.size());
    if (tag & 0x20) Walk(child, depth + 1);
  }
}
} // namespace
} // namespace quillon::fuzz

QUILLON_FUZZ_TARGET(input) {
  Walk(input, 0);
  BufStr list(input), out;
  int32_t value = 0;
  uint32_t unsignedValue = 0;
  if (EnterSequence(list, nullptr) == 0) {
    for (int i = 0; i < 4; ++i) {
      GetInt(list, i, value, nullptr);
      GetUnsigned(list, i, unsignedValue, nullptr);
      GetOid(list, i, out, nullptr);
    }
  }
  KeyMaterial key;
  RsaDerToBlob(input, key);
  DsaDerToBlob(input, key);
  PublicKeyInfo info;
  PublicKeyFromDer(input, info, true, true);
}
