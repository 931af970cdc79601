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
  const int pick = static_cast<uint8_t>(input[0]) % 5;
  if (pick == 0) reader.ReadPpkKey(text, "secret", key);
  if (pick == 1) reader.ReadSsh2PrivateKey(text, "secret", key);
  if (pick == 2) reader.ReadSsh2PublicKey(text, info, isDss);
  if (pick == 3) reader.XmlKeyToText(text, out, form);
  if (pick == 4) reader.ReadOpenSshKey(text, key);
}
