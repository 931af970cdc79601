// Grammar, read left to right:
//   name-part* [ '=' blanks* ['"'] value ['"'] blanks* ]
//   name-part = char | ('[' | '(') index-char* (']' | ')')
// Everything after the first '=' is the value, so a value may hold '=' and inner quotes.
#include "frame/ConfigRequest.h"

#include "frame/Errors.h"
#include "frame/Text.h"

#include <cstring>

namespace quillon {

namespace {
bool IsConfigBlank(char c) {
  return c == ' ' || c == '\t';
}
} // namespace

int ConfigRequest::Parse(const char* text) {
  name.Clear();
  value.Clear();
  indexText.Clear();
  index = -1;
  isGet = false;
  if (!text) return errNone;

  BufStr20 work;
  bool inIndex = false;
  const char* p = text;
  for (; *p && *p != '='; ++p) {
    const char c = *p;
    if (inIndex) {
      if (c == ']' || c == ')') {
        inIndex = false;
        index = ParseDec32(work.Data());
        if (indexText.Assign(work) != errNone) return errOutOfMemory;
      } else if (work.AppendChar(c) != errNone) {
        return errOutOfMemory;
      }
    } else if (c == '[' || c == '(') {
      inIndex = true;
      work.Resize(0, nullptr);
    } else if (name.AppendChar(c) != errNone) {
      return errOutOfMemory;
    }
  }
  if (*p != '=') {
    isGet = true;
    return errNone;
  }

  const char* begin = p + 1;
  const char* end = begin + std::strlen(begin);
  while (begin < end && IsConfigBlank(*begin))
    ++begin;
  if (begin < end && *begin == '"') ++begin;
  while (end > begin && IsConfigBlank(end[-1]))
    --end;
  if (end > begin && end[-1] == '"') --end;
  return value.Assign(begin, static_cast<int>(end - begin));
}

} // namespace quillon
