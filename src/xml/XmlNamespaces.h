// Namespaces that the XML engine knows without a declaration.
#pragma once

#include <string_view>

namespace quillon {

// The namespace of the "xml" prefix (xml:lang, xml:base), which needs no declaration.
inline constexpr std::string_view NS_XML = "http://www.w3.org/XML/1998/namespace";

} // namespace quillon
