#include "JsonWriter.h"

#include <cstdio>

namespace quillon::cli {

namespace {
// Length of the valid UTF-8 sequence at `p`, or 0 when the bytes there are not one.
size_t Utf8Length(const unsigned char* p, size_t left) {
  if (p[0] < 0x80) return 1;
  size_t n;
  uint32_t min;
  if ((p[0] & 0xE0) == 0xC0) {
    n = 2;
    min = 0x80;
  } else if ((p[0] & 0xF0) == 0xE0) {
    n = 3;
    min = 0x800;
  } else if ((p[0] & 0xF8) == 0xF0) {
    n = 4;
    min = 0x10000;
  } else {
    return 0;
  }
  if (n > left) return 0;
  uint32_t cp = p[0] & (0x7F >> n);
  for (size_t i = 1; i < n; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (p[i] & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return n;
}
} // namespace

std::string JsonQuote(std::string_view text) {
  std::string out = "\"";
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
  size_t left = text.size();
  while (left > 0) {
    const unsigned char c = *p;
    char escape[8];
    switch (c) {
    case '"':
      out += "\\\"";
      break;
    case '\\':
      out += "\\\\";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    case '\b':
      out += "\\b";
      break;
    case '\f':
      out += "\\f";
      break;
    default:
      if (c < 0x20) {
        std::snprintf(escape, sizeof escape, "\\u%04x", c);
        out += escape;
      } else if (size_t n = Utf8Length(p, left); n > 0) {
        out.append(reinterpret_cast<const char*>(p), n);
        p += n;
        left -= n;
        continue;
      } else {
        // A byte that is no UTF-8: show it as the character of the same number.
        std::snprintf(escape, sizeof escape, "\\u%04x", c);
        out += escape;
      }
    }
    ++p;
    --left;
  }
  out += '"';
  return out;
}

void JsonWriter::Indent() {
  out += '\n';
  out.append(firstInContainer.size() * 2, ' ');
}

void JsonWriter::BeforeValue() {
  if (afterKey) {
    afterKey = false;
    return;
  }
  if (!firstInContainer.empty()) {
    if (!firstInContainer.back()) out += ',';
    firstInContainer.back() = false;
    Indent();
  }
}

void JsonWriter::BeginObject() {
  BeforeValue();
  out += '{';
  firstInContainer.push_back(true);
}

void JsonWriter::EndObject() {
  const bool empty = firstInContainer.back();
  firstInContainer.pop_back();
  if (!empty) Indent();
  out += '}';
  if (firstInContainer.empty()) out += '\n';
}

void JsonWriter::BeginArray() {
  BeforeValue();
  out += '[';
  firstInContainer.push_back(true);
}

void JsonWriter::EndArray() {
  const bool empty = firstInContainer.back();
  firstInContainer.pop_back();
  if (!empty) Indent();
  out += ']';
}

void JsonWriter::Key(std::string_view key) {
  BeforeValue();
  out += JsonQuote(key);
  out += ": ";
  afterKey = true;
}

void JsonWriter::String(std::string_view text) {
  BeforeValue();
  out += JsonQuote(text);
}

void JsonWriter::Number(int64_t value) {
  BeforeValue();
  out += std::to_string(value);
}

void JsonWriter::Bool(bool value) {
  BeforeValue();
  out += value ? "true" : "false";
}

} // namespace quillon::cli
