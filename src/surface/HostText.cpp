// Text at the border. The host speaks UTF-8; the engine works in its code page, which is UTF-8
// unless Config("CodePage=...") says otherwise, so the common case is a plain copy.
#include "surface/ControlSurface.h"

#include "frame/Errors.h"
#include "platform/CodePage.h"

namespace quillon {

namespace {
bool IsUtf8(int codePage) {
  return codePage == 0 ? DefaultCodePage() == kUtf8CodePage : codePage == kUtf8CodePage;
}
// The conversion takes a NUL for the end of the text, so a text that keeps its NULs is converted
// piece by piece around them.
int ConvertKeepingNuls(BufStrBase& out, std::string_view text, int from, int to) {
  out.Resize(0, nullptr);
  BufStr piece;
  for (;;) {
    const size_t nul = text.find('\0');
    if (int rc = ConvertCodePage(piece, text.substr(0, nul), from, to); rc != errNone) return rc;
    if (int rc = out.Append(piece); rc != errNone) return rc;
    if (nul == std::string_view::npos) return errNone;
    if (int rc = out.AppendChar('\0'); rc != errNone) return rc;
    text.remove_prefix(nul + 1);
  }
}
} // namespace

int HostToEngine(BufStrBase& out, std::string_view text, int codePage, bool counted) {
  if (!counted) {
    const size_t nul = text.find('\0');
    if (nul != std::string_view::npos) text = text.substr(0, nul);
  }
  if (IsUtf8(codePage)) return out.Assign(text);
  return ConvertKeepingNuls(out, text, kUtf8CodePage, codePage);
}

int EngineToHost(std::string& out, std::string_view bytes, int codePage) {
  if (IsUtf8(codePage)) {
    out.assign(bytes.data(), bytes.size());
    return errNone;
  }
  BufStr converted;
  if (int rc = ConvertKeepingNuls(converted, bytes, codePage, kUtf8CodePage); rc != errNone)
    return rc;
  out.assign(converted.Data(), static_cast<size_t>(converted.Length()));
  return errNone;
}

int ValueText::Assign(std::string_view text) {
  const int rc = scratch.Assign(text);
  Adopt();
  return rc;
}

} // namespace quillon
