// The records of a feed: an entry kept as raw text with its own parser, its properties and its
// links.
#pragma once

namespace quillon {} // namespace quillon
