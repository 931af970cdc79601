// Properties of the connection engine: Timeout and LocalHost.
#include "frame/ControlSurface.h"

#include "frame/Errors.h"

#include <cstdint>

namespace quillon {

namespace {
int GetTimeoutValue(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.GetTimeout());
  return errNone;
}

// Timeout is a 16-bit number; a wider one is refused rather than cut.
int SetTimeoutValue(QuillonCore& core, int, const PropertyValue& in) {
  if (in.number < INT16_MIN || in.number > INT16_MAX)
    return core.Fail(errValueOutOfRange, "Value is out of range.");
  core.SetTimeout(static_cast<int>(in.number), true);
  return errNone;
}

int GetLocalHostValue(QuillonCore& core, int, PropertyValue& out) {
  return out.text.Assign(core.GetLocalHost());
}

int SetLocalHostValue(QuillonCore& core, int, const PropertyValue& in) {
  return core.SetLocalHost(in.text.Data());
}

const PropertyRow kRows[] = {
    {62, "LocalHost", PropertyType::Text, false, nullptr, 0, &GetLocalHostValue,
     &SetLocalHostValue},
    {133, "Timeout", PropertyType::Integer, false, nullptr, 0, &GetTimeoutValue, &SetTimeoutValue},
};
} // namespace

std::span<const PropertyRow> NetProperties() {
  return kRows;
}

} // namespace quillon
