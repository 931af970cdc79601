// The PPK, SSH2 and XML key readers over any text; the first byte picks the reader, so that
// each keeps a corpus of its own shape.
#include "FuzzSupport.h"
#include "frame/ComponentCore.h"
#include "keys/KeyReader.h"

QUILLON_FUZZ_TARGET(input) {
  if (input.empty()) return;
  const std::string_view text = input.substr(1);
  ComponentCore core;
  KeyReader reader(core);
  KeyMaterial key;
  PublicKeyInfo info;
  BufStr out;
  bool isDss = false;
  int form = 0;
  switch (static_cast<uint8_t>(input[0]) % 5) {
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
}
