// Both armor readers and the private key search over any text: block, headers, "DEK-Info" and
// the formats behind it. Only the codes of the readers may come back.
#include "frame/ComponentCore.h"
#include "keys/KeyReader.h"
#include "keys/PemReader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  quillon::BufStr out;
  quillon::ReadArmorBody(out, "PRIVATE KEY", text);
  quillon::ReadPemBlock(out, "RSA PRIVATE KEY", text, "secret", false);
  quillon::ReadPemBlock(out, "CERTIFICATE", text, "", true);
  quillon::ComponentCore core;
  quillon::KeyReader reader(core);
  quillon::KeyMaterial key;
  reader.ReadPrivateKey(text, "secret", key);
  return 0;
}
