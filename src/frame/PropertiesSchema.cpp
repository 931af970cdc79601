// Properties of the schema cursor: Schema...
#include "frame/ControlSurface.h"

namespace quillon {

std::span<const PropertyRow> SchemaProperties() {
  return {};
}

} // namespace quillon
