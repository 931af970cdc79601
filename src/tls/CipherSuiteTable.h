// The table of cipher suite names, shared by the name lookup and its tests.
#pragma once

#include <cstdint>

namespace quillon {

struct CipherSuiteRow {
  uint32_t code;
  const char* text; // the name, a blank, and the code as "(0x002f)"
};

extern const CipherSuiteRow kCipherSuites[];
extern const int kCipherSuiteCount;

} // namespace quillon
