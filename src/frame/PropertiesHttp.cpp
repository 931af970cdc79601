// Properties of the HTTP link.
#include "frame/ControlSurface.h"

namespace quillon {

namespace {
int GetIdle(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.CurrentAction == 0;
  return 0;
}

const PropertyRow kRows[] = {
    {61, "Idle", PropertyType::Boolean, true, nullptr, 0, &GetIdle, nullptr},
    {134, "TransferredData", PropertyType::Text, true, nullptr, 0,
     &GetTextField<&QuillonCore::TransferredData>, nullptr},
    {157, "TransferredDataB", PropertyType::Bytes, true, nullptr, 0,
     &GetTextField<&QuillonCore::TransferredData>, nullptr},
};
} // namespace

std::span<const PropertyRow> HttpProperties() {
  return kRows;
}

} // namespace quillon
