// Properties of the current entry and of the channel: Channel..., Entry...
#include "frame/ControlSurface.h"

namespace quillon {

std::span<const PropertyRow> EntryProperties() {
  return {};
}

} // namespace quillon
