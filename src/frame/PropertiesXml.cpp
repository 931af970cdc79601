// Properties of the response document's cursor: XPath, X..., Attr...
#include "frame/ControlSurface.h"

namespace quillon {

std::span<const PropertyRow> XmlProperties() {
  return {};
}

} // namespace quillon
