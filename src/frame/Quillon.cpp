// The public object. It owns the engine and its event sink, and at its border converts text,
// checks the written values of enumerations and flags, and makes sure that every failure has a
// description (DescribeError fills one in where the engine left none).
#include "quillon/Quillon.h"

#include "frame/ControlSurface.h"
#include "frame/Errors.h"
#include "frame/HostSink.h"
#include "frame/Text.h"

namespace quillon {

namespace {
// Seconds of Timeout for a new object.
constexpr int kDefaultTimeout = 60;

// Texts that travel with their length, so that zeros inside them stay.
bool IsCountedText(int id) {
  return id == 126 || id == 127 || id == 128 || id == 132 || id == 134;
}
} // namespace

struct Quillon::Impl {
  QuillonCore core;
  HostSink sink;

  Impl() { core.SetTimeout(kDefaultTimeout, true); }

  // The result of a member: 200 always reads "Out of memory."; any other failure keeps the
  // engine's text or gets one from the socket error table.
  int Result(int code) {
    if (code != errNone && (code == errOutOfMemory || core.lastError.IsEmpty()))
      core.DescribeError(code);
    return code;
  }

  int ToEngine(BufStrBase& out, std::string_view text, bool exact = false) {
    return HostToEngine(out, text, core.codePage, exact);
  }
};

Quillon::Quillon() : impl(std::make_unique<Impl>()) {}

Quillon::~Quillon() = default;

// Without a handler the engine has no sink, so that it can skip the work of an event (the Entry
// event parses each entry of a feed).
void Quillon::SetEventHandler(QuillonEvents* handler) {
  impl->sink.SetHandler(handler);
  impl->core.SetEventSink(handler ? &impl->sink : nullptr);
}

int Quillon::GetProperty(std::string_view name, std::string& value) {
  return GetProperty(name, -1, value);
}

int Quillon::GetProperty(std::string_view name, int index, std::string& value) {
  QuillonCore& core = impl->core;
  const PropertyRow* row = FindProperty(name);
  if (!row) return core.Fail(errUnknownMember, "Unknown property.");
  PropertyValue held;
  core.pendingError = 0;
  int rc = row->get(core, index, held);
  if (rc == errNone) rc = core.pendingError;
  if (rc != errNone) return impl->Result(rc);
  switch (row->type) {
  case PropertyType::Text: {
    std::string_view bytes = held.text.View();
    if (!IsCountedText(row->id)) bytes = bytes.substr(0, bytes.find('\0'));
    return impl->Result(EngineToHost(value, bytes, core.codePage));
  }
  case PropertyType::Bytes:
    value.assign(held.text.Data(), static_cast<size_t>(held.text.Length()));
    return errNone;
  case PropertyType::Boolean:
    value.assign(1, held.number ? '1' : '0');
    return errNone;
  case PropertyType::Integer:
  case PropertyType::Enumeration:
    value = std::to_string(held.number);
    return errNone;
  }
  return errNone;
}

int Quillon::SetProperty(std::string_view name, std::string_view value) {
  return SetProperty(name, -1, value);
}

int Quillon::SetProperty(std::string_view name, int index, std::string_view value) {
  QuillonCore& core = impl->core;
  const PropertyRow* row = FindProperty(name);
  if (!row) return core.Fail(errUnknownMember, "Unknown property.");
  if (row->readOnly || !row->set) return core.Fail(errReadOnly, "Property is read-only.");
  PropertyValue held;
  switch (row->type) {
  case PropertyType::Text:
  case PropertyType::Bytes:
    if (int rc = impl->ToEngine(held.text, value,
                                row->type == PropertyType::Bytes || IsCountedText(row->id));
        rc != errNone)
      return impl->Result(rc);
    break;
  case PropertyType::Boolean:
    held.number = IsTrueText(std::string(value).c_str()) ? 1 : 0;
    break;
  case PropertyType::Integer:
  case PropertyType::Enumeration: {
    BufStr text;
    text.Assign(value);
    held.number = ParseConfigNumber(text.Data());
    // Enumerations are tested as unsigned numbers, so a negative value is out of range.
    if (row->type == PropertyType::Enumeration &&
        static_cast<uint64_t>(held.number) >= static_cast<uint64_t>(row->enumLimit))
      return core.Fail(errValueOutOfRange, "Value is out of range.");
    break;
  }
  }
  return impl->Result(row->set(core, index, held));
}

std::vector<PropertyInfo> Quillon::Properties() {
  std::vector<PropertyInfo> list;
  ForEachProperty(
      [](const PropertyRow& row, void* context) {
        static_cast<std::vector<PropertyInfo>*>(context)->push_back(
            {row.id, row.name, row.type, row.readOnly, row.indexName ? row.indexName : ""});
      },
      &list);
  return list;
}

int Quillon::Config(std::string_view configurationString, std::string* result) {
  QuillonCore& core = impl->core;
  BufStr text;
  if (int rc = impl->ToEngine(text, configurationString); rc != errNone) return impl->Result(rc);
  const char* answer = "";
  const int rc = core.ConfigText(text.Data(), &answer);
  // The answer is handed back even when the engine's result is a failure.
  if (result && EngineToHost(*result, answer, core.codePage) != errNone) result->clear();
  return impl->Result(rc);
}

int Quillon::QueryService() {
  return impl->Result(impl->core.QueryService());
}

int Quillon::GetSchema() {
  return impl->Result(impl->core.GetSchema());
}

int Quillon::CustomRequest(std::string_view httpMethod, std::string_view url,
                           std::string_view postData) {
  BufStr method, target, body;
  for (auto [out, in] : {std::pair<BufStrBase*, std::string_view>{&method, httpMethod},
                         {&target, url},
                         {&body, postData}})
    if (int rc = impl->ToEngine(*out, in); rc != errNone) return impl->Result(rc);
  return impl->Result(impl->core.CustomRequest(method.Data(), target.Data(), body.Data()));
}

int Quillon::SetSchemaEntity(std::string_view name) {
  BufStr text;
  if (int rc = impl->ToEngine(text, name); rc != errNone) return impl->Result(rc);
  return impl->Result(impl->core.SetSchemaEntity(text.View()));
}

int Quillon::SetSchemaProperty(std::string_view name) {
  BufStr text;
  if (int rc = impl->ToEngine(text, name); rc != errNone) return impl->Result(rc);
  return impl->Result(impl->core.SetSchemaProperty(text.View()));
}

int Quillon::SetSchemaType(std::string_view name) {
  BufStr text;
  if (int rc = impl->ToEngine(text, name); rc != errNone) return impl->Result(rc);
  return impl->Result(impl->core.SetSchemaType(text.View()));
}

int Quillon::Reset() {
  return impl->Result(impl->core.Reset());
}

int Quillon::GetEntryProperty(std::string_view xpath, std::string& value) {
  QuillonCore& core = impl->core;
  value.clear();
  BufStr path, text;
  if (int rc = impl->ToEngine(path, xpath); rc != errNone) return impl->Result(rc);
  const int rc = core.GetEntryProperty(path.View(), text);
  // The text is handed back even when the engine's result is a failure.
  if (EngineToHost(value, text.View(), core.codePage) != errNone) value.clear();
  return impl->Result(rc);
}

int Quillon::SetEntryProperty(std::string_view xpath, std::string_view value) {
  BufStr path, text;
  for (auto [out, in] : {std::pair<BufStrBase*, std::string_view>{&path, xpath}, {&text, value}})
    if (int rc = impl->ToEngine(*out, in); rc != errNone) return impl->Result(rc);
  return impl->Result(impl->core.SetEntryProperty(path.View(), text.View()));
}

bool Quillon::HasXPath(std::string_view xpath) {
  BufStr path;
  if (impl->ToEngine(path, xpath) != errNone) return false;
  return impl->core.parser.HasXPath(path.View());
}

int Quillon::CreateEntry() {
  return impl->Result(impl->core.CreateEntry());
}

int Quillon::UpdateEntry() {
  return impl->Result(impl->core.UpdateEntry());
}

int Quillon::UpdateProperty(std::string_view xpath, std::string_view value) {
  BufStr path, text;
  for (auto [out, in] : {std::pair<BufStrBase*, std::string_view>{&path, xpath}, {&text, value}})
    if (int rc = impl->ToEngine(*out, in); rc != errNone) return impl->Result(rc);
  return impl->Result(impl->core.UpdateProperty(path.View(), text.View()));
}

int Quillon::DeleteEntry() {
  return impl->Result(impl->core.DeleteEntry());
}

int Quillon::DoEvents(int milliseconds) {
  return impl->Result(impl->core.DoEvents(milliseconds));
}

std::string Quillon::RootKind() const {
  return std::string(impl->core.rootKind.View());
}

std::string Quillon::ErrorDescription() const {
  std::string text;
  if (EngineToHost(text, impl->core.lastError.View(), impl->core.codePage) != errNone)
    text.assign(impl->core.lastError.Data(), static_cast<size_t>(impl->core.lastError.Length()));
  return text;
}

uint32_t Quillon::FailureValue(int code) {
  if (code == 0) return 0;
  if (code == errOutOfMemory) return 0x800A0007u;
  if (code == errValueOutOfRange || code == errArrayIndex || code == errReadOnly ||
      code == errUnknownMember)
    return 0x800A0000u | static_cast<uint32_t>(code);
  const int32_t offset = code < 10001 ? code + 20001 : code + 15001;
  return 0x800A0000u | static_cast<uint32_t>(offset);
}

} // namespace quillon
