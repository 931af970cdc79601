// The records of an EDMX schema: entity sets, entity and complex types with their properties,
// keys and navigation, and associations with their two ends.
#pragma once

namespace quillon {} // namespace quillon
