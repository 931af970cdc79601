// The methods the command-line program can call by name, with their arguments.
#pragma once

#include <quillon/Quillon.h>

#include <optional>
#include <string>
#include <vector>

namespace quillon::cli {

struct MethodEntry {
  const char* name;
  const char* usage; // the arguments, for the help text
  size_t minArguments;
  size_t maxArguments;
  int (*run)(Quillon& component, const std::vector<std::string>& arguments);
};

const std::vector<MethodEntry>& Methods();
// The text that the latest method gave back (GetEntryProperty, HasXPath); empty when it gives
// none.
std::optional<std::string>& MethodText();
// The method of a name (case-insensitive), or null.
const MethodEntry* FindMethod(const std::string& name);

} // namespace quillon::cli
