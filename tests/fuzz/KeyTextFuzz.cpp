// The PPK, SSH2 and XML key readers over any text; the first byte picks the reader, so that
// each keeps a corpus of its own shape.
#include "frame/ComponentCore.h"
#include "keys/KeyReader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  quillon::ComponentCore core;
  quillon::KeyReader reader(core);
  quillon::KeyMaterial key;
  quillon::PublicKeyInfo info;
  quillon::BufStr out;
  bool isDss = false;
  int form = 0;
  switch (data[0] % 5) {
  case 0:
    reader.ReadPpkKey(text, "secret", key);
    break;
  case 1:
    reader.ReadSsh2PrivateKey(text, "secret", key);
    break;
  case 2:
    reader.ReadSsh2PublicKey(text, info, isDss);
    break;
  case 3:
    reader.XmlKeyToText(text, out, form);
    break;
  default:
    reader.ReadOpenSshKey(text, key);
  }
  return 0;
}
