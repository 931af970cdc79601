// The two armor readers: a block between "-----BEGIN label-----" and its end line, with the
// legacy "DEK-Info" header decrypted, as bare base64, or as binary DER passed through.
#pragma once

#include "frame/BufStr.h"

#include <string_view>

namespace quillon {

// The decoded, and if need be decrypted, bytes of the block `label` in `out`. Text with a byte
// above 0x7F is binary and comes back as it is. Without the label, `required` gives 1424 and
// otherwise the whole text is taken for the body. 0, 1424, or a code of DecryptKeyBody.
int ReadPemBlock(BufStrBase& out, std::string_view label, std::string_view text,
                 std::string_view password, bool required);
// The text between the armor lines of `label`, not decoded; 0 or 1424.
int ReadArmorBody(BufStrBase& out, std::string_view label, std::string_view text);

} // namespace quillon
