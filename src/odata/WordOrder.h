// The order in which the entry document lists property names: a word order in the manner of a
// desktop locale, written out so that it is the same on every system.
#pragma once

#include <string_view>

namespace quillon {

// Compares two names; below 0 when `a` comes first, 0 when they are the same bytes.
//
// 1. Hyphens and apostrophes are passed over, and the rest compares ignoring case, with symbols
//    before digits before letters (bytes from 0x80 up count as letters after z, by value). A name
//    that is a prefix of the other comes first.
// 2. On a tie, the first place where the case differs decides: lower case first.
// 3. On a tie still, the bytes decide, hyphens and apostrophes included.
//
// So "Category_ID" comes before "CategoryName" ('_' is a symbol), and "address" before "Name".
int CompareWordOrder(std::string_view a, std::string_view b);

} // namespace quillon
