// The public object. It owns the engine and its event sink; at its border it converts text, tests
// writes, and turns every failure into what the host sees: the code, the failure value, the help
// number and a description (DescribeError fills one in where the engine left none).
#include "quillon/Quillon.h"

#include "surface/QuillonImpl.h"

namespace quillon {

namespace {
// Seconds of Timeout for a new object.
constexpr int kDefaultTimeout = 60;

// What a host is told when a text cannot be converted: the platform's "no mapping" failure.
constexpr uint32_t kConversionFailureValue = 0x80070459;

constexpr int MethodHelpNumber(MethodId id) {
  return 48100 + static_cast<int>(id) - 501;
}

#ifndef QUILLON_VERSION
#define QUILLON_VERSION "0"
#endif
} // namespace

Quillon::Impl::Impl() {
  core.SetTimeout(kDefaultTimeout, true);
}

int Quillon::Impl::SurfaceFailure(int code, const char* description, int helpNumber) {
  lastResult = code;
  failure.code = code;
  failure.value = FailureValue(code);
  failure.helpNumber = helpNumber;
  failure.description = description;
  return code;
}

int Quillon::Impl::EngineResult(int code, int helpNumber) {
  if (code == errNone) return Succeed();
  if (code == errOutOfMemory) {
    core.DescribeError(code);
    return SurfaceFailure(code, "Out of memory.", 0);
  }
  if (core.lastError.IsEmpty()) core.DescribeError(code);
  std::string text;
  if (EngineToHost(text, core.lastError.View(), core.codePage) != errNone)
    text.assign(core.lastError.Data(), static_cast<size_t>(core.lastError.Length()));
  SurfaceFailure(code, "", helpNumber);
  failure.description = text.empty() ? "No description available." : std::move(text);
  return code;
}

int Quillon::Impl::BorderFailure(int code) {
  if (code == errOutOfMemory) return SurfaceFailure(code, "Out of memory.", 0);
  SurfaceFailure(code, "The text cannot be converted to or from the code page.", 0);
  failure.value = kConversionFailureValue;
  return code;
}

// Of the read-only properties, the bytes of the running event refuse a write in design mode as a
// read would.
int Quillon::Impl::ReadOnlyFailure(const PropertyRow& row) {
  constexpr int kFirstHeldBytes = 158;
  if (designMode && row.id >= kFirstHeldBytes)
    return SurfaceFailure(errDesignTime, "Property is runtime only (no supported in design time).",
                          PropertyHelpNumber(row.id));
  return SurfaceFailure(errReadOnly, "Property is read-only.", PropertyHelpNumber(row.id));
}

int Quillon::Impl::WriteText(const PropertyRow& row, int index, std::string_view text) {
  if (row.readOnly) return ReadOnlyFailure(row);
  PropertyValue value;
  BufStrBase& bytes = value.text.Store();
  const int rc = row.kind == ValueKind::Bytes
                     ? bytes.Assign(text)
                     : HostToEngine(bytes, text, core.codePage, row.kind == ValueKind::Counted);
  if (rc != errNone) return BorderFailure(rc);
  value.text.Adopt();
  return EngineResult(row.set(core, index, value), PropertyHelpNumber(row.id));
}

// Enumerations are tested as unsigned numbers, so a negative value is out of range.
int Quillon::Impl::WriteNumber(const PropertyRow& row, int index, int64_t number) {
  if (row.readOnly) return ReadOnlyFailure(row);
  if (row.kind == ValueKind::Enum &&
      static_cast<uint64_t>(number) >= static_cast<uint64_t>(row.enumLimit))
    return SurfaceFailure(errValueOutOfRange, "Value is out of range.", PropertyHelpNumber(row.id));
  PropertyValue value;
  value.number = row.kind == ValueKind::Bool ? number != 0 : number;
  return EngineResult(row.set(core, index, value), PropertyHelpNumber(row.id));
}

Quillon::Quillon() : impl(std::make_unique<Impl>()) {}

Quillon::~Quillon() = default;

// Without a handler the engine has no sink, so that it can skip the work of an event (the Entry
// event parses each entry of a feed).
void Quillon::SetEventHandler(QuillonEvents* handler) {
  impl->sink.SetHandler(handler);
  impl->core.SetEventSink(handler ? &impl->sink : nullptr);
}

void Quillon::SetDesignMode(bool on) {
  impl->designMode = on;
}

bool Quillon::DesignMode() const {
  return impl->designMode;
}

int Quillon::AboutBox(std::string* text) {
  if (text) *text = "Quillon " QUILLON_VERSION ": a client component for OData services.";
  return impl->Succeed();
}

int Quillon::Config(std::string_view configurationString, std::string* result) {
  QuillonCore& core = impl->core;
  BufStr text;
  if (int rc = impl->ToEngine(text, configurationString); rc != errNone)
    return impl->BorderFailure(rc);
  const char* answer = "";
  const int rc = core.ConfigText(text.Data(), &answer);
  // The answer is handed back even when the engine's result is a failure.
  if (result && EngineToHost(*result, answer, core.codePage) != errNone) result->clear();
  return impl->EngineResult(rc, MethodHelpNumber(MethodId::Config));
}

int Quillon::QueryService() {
  return impl->EngineResult(impl->core.QueryService(), MethodHelpNumber(MethodId::QueryService));
}

int Quillon::GetSchema() {
  return impl->EngineResult(impl->core.GetSchema(), MethodHelpNumber(MethodId::GetSchema));
}

int Quillon::CustomRequest(std::string_view httpMethod, std::string_view url,
                           std::string_view postData) {
  BufStr method, target, body;
  for (auto [out, in] : {std::pair<BufStrBase*, std::string_view>{&method, httpMethod},
                         {&target, url},
                         {&body, postData}})
    if (int rc = impl->ToEngine(*out, in); rc != errNone) return impl->BorderFailure(rc);
  return impl->EngineResult(impl->core.CustomRequest(method.Data(), target.Data(), body.Data()),
                            MethodHelpNumber(MethodId::CustomRequest));
}

int Quillon::SetSchemaEntity(std::string_view name) {
  BufStr text;
  if (int rc = impl->ToEngine(text, name); rc != errNone) return impl->BorderFailure(rc);
  return impl->EngineResult(impl->core.SetSchemaEntity(text.View()),
                            MethodHelpNumber(MethodId::SetSchemaEntity));
}

int Quillon::SetSchemaProperty(std::string_view name) {
  BufStr text;
  if (int rc = impl->ToEngine(text, name); rc != errNone) return impl->BorderFailure(rc);
  return impl->EngineResult(impl->core.SetSchemaProperty(text.View()),
                            MethodHelpNumber(MethodId::SetSchemaProperty));
}

int Quillon::SetSchemaType(std::string_view name) {
  BufStr text;
  if (int rc = impl->ToEngine(text, name); rc != errNone) return impl->BorderFailure(rc);
  return impl->EngineResult(impl->core.SetSchemaType(text.View()),
                            MethodHelpNumber(MethodId::SetSchemaType));
}

int Quillon::Reset() {
  return impl->EngineResult(impl->core.Reset(), MethodHelpNumber(MethodId::Reset));
}

int Quillon::GetEntryProperty(std::string_view xpath, std::string& value) {
  QuillonCore& core = impl->core;
  value.clear();
  BufStr path, text;
  if (int rc = impl->ToEngine(path, xpath); rc != errNone) return impl->BorderFailure(rc);
  const int rc = core.GetEntryProperty(path.View(), text);
  // The text is handed back even when the engine's result is a failure.
  if (EngineToHost(value, text.View(), core.codePage) != errNone) value.clear();
  return impl->EngineResult(rc, MethodHelpNumber(MethodId::GetEntryProperty));
}

int Quillon::SetEntryProperty(std::string_view xpath, std::string_view value) {
  BufStr path, text;
  for (auto [out, in] : {std::pair<BufStrBase*, std::string_view>{&path, xpath}, {&text, value}})
    if (int rc = impl->ToEngine(*out, in); rc != errNone) return impl->BorderFailure(rc);
  return impl->EngineResult(impl->core.SetEntryProperty(path.View(), text.View()),
                            MethodHelpNumber(MethodId::SetEntryProperty));
}

// It never fails: a path that cannot be converted leads nowhere.
bool Quillon::HasXPath(std::string_view xpath) {
  impl->Succeed();
  BufStr path;
  if (impl->ToEngine(path, xpath) != errNone) return false;
  return impl->core.parser.HasXPath(path.View());
}

int Quillon::CreateEntry() {
  return impl->EngineResult(impl->core.CreateEntry(), MethodHelpNumber(MethodId::CreateEntry));
}

int Quillon::UpdateEntry() {
  return impl->EngineResult(impl->core.UpdateEntry(), MethodHelpNumber(MethodId::UpdateEntry));
}

int Quillon::UpdateProperty(std::string_view xpath, std::string_view value) {
  BufStr path, text;
  for (auto [out, in] : {std::pair<BufStrBase*, std::string_view>{&path, xpath}, {&text, value}})
    if (int rc = impl->ToEngine(*out, in); rc != errNone) return impl->BorderFailure(rc);
  return impl->EngineResult(impl->core.UpdateProperty(path.View(), text.View()),
                            MethodHelpNumber(MethodId::UpdateProperty));
}

int Quillon::DeleteEntry() {
  return impl->EngineResult(impl->core.DeleteEntry(), MethodHelpNumber(MethodId::DeleteEntry));
}

int Quillon::DoEvents(int milliseconds) {
  return impl->EngineResult(impl->core.DoEvents(milliseconds), 0);
}

std::string Quillon::RootKind() const {
  return std::string(impl->core.rootKind.View());
}

int Quillon::LastResult() const {
  return impl->lastResult;
}

const Failure& Quillon::LastFailure() const {
  return impl->failure;
}

// After a failure its description; otherwise the engine's last error, which carries the reader's
// text after a ReadFile whose Config call itself succeeded.
std::string Quillon::ErrorDescription() const {
  if (impl->lastResult != errNone) return impl->failure.description;
  const BufStr& lastError = impl->core.lastError;
  std::string text;
  if (EngineToHost(text, lastError.View(), impl->core.codePage) != errNone)
    text.assign(lastError.Data(), static_cast<size_t>(lastError.Length()));
  return text;
}

uint32_t Quillon::FailureValue(int code) {
  if (code == 0) return 0;
  if (code == errOutOfMemory) return 0x800A0007u;
  if (code == errValueOutOfRange || code == errArrayIndex || code == errReadOnly ||
      code == errDesignTime || code == errUnknownMember)
    return 0x800A0000u | static_cast<uint32_t>(code);
  const int32_t offset = code < 10001 ? code + 20001 : code + 15001;
  return 0x800A0000u | static_cast<uint32_t>(offset);
}

} // namespace quillon
