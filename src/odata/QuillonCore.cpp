// Initialisation of the OData link, its Config keys and its event carriers.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"

namespace quillon {

QuillonCore::QuillonCore() {
  // The component talks HTTPS unless a URL says otherwise; the proxy stays on 80.
  DefaultPort = 443;
  URLPort = 443;
  DefaultScheme.Assign("https");
  ProxyPort = 80;
  ResetCore();
}

int QuillonCore::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  if (EqualsNoCase(name, "TransferredHeaders") && request.isGet)
    return ReturnText(result, TransferredHeaders);
  if (EqualsNoCase(name, "ReadFile") && !request.isGet) {
    // The Config result is the file's; the reader's result comes back as the text.
    int readResult = errNone;
    if (int rc = ReadFile(request.value.Data(), &readResult); rc != errNone) return rc;
    return ReturnSigned(result, readResult);
  }
  if (EqualsNoCase(name, "NameAndEmailFormat")) {
    if (request.isGet) return ReturnSigned(result, nameAndEmailFormat);
    nameAndEmailFormat = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
    return ReturnText(result, "0");
  }
  if (EqualsNoCase(name, "Category")) {
    EntryRecord& entry = CurrentEntry();
    if (request.isGet) {
      const char* term = entry.Value("/entry/category@term");
      return ReturnText(result, term ? term : "");
    }
    // The write's own result comes back as the text.
    const int rc = entry.SetValue("/entry/category@term", request.value.View());
    if (rc != errNone) EntryFailure(entry, rc);
    return ReturnSigned(result, rc);
  }
  if (EqualsNoCase(name, "GenerateEntryXML") && request.isGet) {
    generatedEntry.Clear();
    if (int rc = BuildEntryDocument(CurrentEntry(), generatedEntry, parser, true); rc != errNone)
      return rc;
    return ReturnText(result, generatedEntry);
  }
  if (EqualsNoCase(name, "EncodeResourcePath")) {
    if (request.isGet) return ReturnSigned(result, encodeResourcePath ? 1 : 0);
    encodeResourcePath = IsTrueText(request.value.Data()) ? 1 : 0;
    return errNone;
  }
  return HttpClient::Config(request, result);
}

void QuillonCore::FireEntry(const char* id, const char* title, const char* summary,
                            const char* etag) {
  if (EventSink* sink = SinkForEvent())
    sink->Entry(EventText(id), EventText(title), EventText(summary), EventText(etag));
}

void QuillonCore::FireEntity(const char* name) {
  if (EventSink* sink = SinkForEvent()) sink->Entity(EventText(name));
}

void QuillonCore::FireProperty(const char* name, const char* typeName, bool nullable) {
  if (EventSink* sink = SinkForEvent()) {
    int32_t flag = nullable ? 1 : 0;
    sink->Property(EventText(name), EventText(typeName), &flag);
  }
}

} // namespace quillon
