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
} // namespace

int HostToEngine(BufStrBase& out, std::string_view text, int codePage, bool counted) {
  if (!counted) {
    const size_t nul = text.find('\0');
    if (nul != std::string_view::npos) text = text.substr(0, nul);
  }
  if (IsUtf8(codePage)) return out.Assign(text);
  return ConvertCodePage(out, text, kUtf8CodePage, codePage);
}

int EngineToHost(std::string& out, std::string_view bytes, int codePage) {
  if (IsUtf8(codePage)) {
    out.assign(bytes.data(), bytes.size());
    return errNone;
  }
  BufStr converted;
  if (int rc = ConvertCodePage(converted, bytes, codePage, kUtf8CodePage); rc != errNone) return rc;
  out.assign(converted.Data(), static_cast<size_t>(converted.Length()));
  return errNone;
}

int ValueText::Assign(std::string_view text) {
  const int rc = scratch.Assign(text);
  Adopt();
  return rc;
}

} // namespace quillon
