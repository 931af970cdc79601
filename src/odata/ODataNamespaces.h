// Namespaces of the published standards that the OData client reads, by role.
#pragma once

#include <string_view>

namespace quillon {

inline constexpr std::string_view NS_ATOM = "http://www.w3.org/2005/Atom";
inline constexpr std::string_view NS_DATASERVICES =
    "http://schemas.microsoft.com/ado/2007/08/dataservices";
inline constexpr std::string_view NS_METADATA =
    "http://schemas.microsoft.com/ado/2007/08/dataservices/metadata";
inline constexpr std::string_view NS_SCHEME =
    "http://schemas.microsoft.com/ado/2007/08/dataservices/scheme";
// The scheme and host that the three above share; every navigation link's rel starts with it.
inline constexpr std::string_view NS_DATASERVICES_HOST = "http://schemas.microsoft.com";

} // namespace quillon
