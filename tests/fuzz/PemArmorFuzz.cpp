// Both armor readers and the private key search over any text: block, headers, "DEK-Info" and
// the formats behind it. Only the codes of the readers may come back.
#include "FuzzSupport.h"
#include "frame/ComponentCore.h"
#include "keys/KeyReader.h"
#include "keys/PemReader.h"

QUILLON_FUZZ_TARGET(text) {
  BufStr out;
  ReadArmorBody(out, "PRIVATE KEY", text);
  ReadPemBlock(out, "RSA PRIVATE KEY", text, "secret", false);
  ReadPemBlock(out, "CERTIFICATE", text, "", true);
  ComponentCore core;
  KeyReader reader(core);
  KeyMaterial key;
  reader.ReadPrivateKey(text, "secret", key);
}
