// Bindings of the connection engine: Timeout and LocalHost.
#pragma once

#include "surface/Bindings.h"

#include <cstdint>

namespace quillon {

// Timeout is a 16-bit number; a wider one is refused rather than cut.
inline int GetTimeout(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.GetTimeout());
  return errNone;
}
inline int SetTimeout(QuillonCore& core, int, const PropertyValue& in) {
  if (in.number < INT16_MIN || in.number > INT16_MAX)
    return core.Fail(errValueOutOfRange, "Value is out of range.");
  core.SetTimeout(static_cast<int>(in.number), true);
  return errNone;
}

inline int GetLocalHost(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.GetLocalHost());
  return errNone;
}
inline int SetLocalHost(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetLocalHost(in.text.Data());
}

} // namespace quillon
