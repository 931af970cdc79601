// The parsed form of one Config text: "name=value" sets, "name" gets, and a name may carry an
// index in square or round brackets ("Cookie[2]", "Cookie(2)").
#pragma once

#include "frame/BufStr.h"

namespace quillon {

struct ConfigRequest {
  BufStr name;        // the setting's name, without the index
  BufStr value;       // the value, without surrounding blanks and one pair of quotes
  BufStr indexText;   // the text between the brackets
  int index = -1;     // that text as a number; -1 when the name has no index
  bool isGet = false; // true when the text holds no '='

  // Parses `text`; null gives an empty request that is no get, "" an empty get.
  int Parse(const char* text);
};

} // namespace quillon
