#include "EventLog.h"

namespace quillon::cli {

void EventLog::Add(Event event) {
  if (print) {
    std::printf("event %s:", event.name.c_str());
    for (const Argument& argument : event.arguments) {
      if (argument.kind == Argument::kText)
        std::printf(" %s=%s", argument.name.c_str(), JsonQuote(argument.text).c_str());
      else if (argument.kind == Argument::kFlag)
        std::printf(" %s=%s", argument.name.c_str(), argument.number ? "true" : "false");
      else
        std::printf(" %s=%lld", argument.name.c_str(), static_cast<long long>(argument.number));
    }
    std::printf("\n");
  }
  events.push_back(std::move(event));
}

void EventLog::WriteJson(JsonWriter& json) const {
  json.BeginArray();
  for (const Event& event : events) {
    json.BeginObject();
    json.Field("event", event.name);
    for (const Argument& argument : event.arguments) {
      if (argument.kind == Argument::kText)
        json.Field(argument.name, argument.text);
      else if (argument.kind == Argument::kFlag)
        json.Field(argument.name, argument.number != 0);
      else
        json.Field(argument.name, argument.number);
    }
    json.EndObject();
  }
  json.EndArray();
}

void EventLog::Connected(int statusCode, const std::string& description) {
  Add({"Connected", {Number("StatusCode", statusCode), Text("Description", description)}});
}

void EventLog::Disconnected(int statusCode, const std::string& description) {
  Add({"Disconnected", {Number("StatusCode", statusCode), Text("Description", description)}});
}

void EventLog::EndTransfer(int direction) {
  if (progress) progress->End();
  Add({"EndTransfer", {Number("Direction", direction)}});
}

void EventLog::Entity(const std::string& name) {
  Add({"Entity", {Text("Name", name)}});
}

void EventLog::Entry(const std::string& id, const std::string& title, const std::string& summary,
                     const std::string& etag) {
  Add({"Entry",
       {Text("Id", id), Text("Title", title), Text("Summary", summary), Text("ETag", etag)}});
}

void EventLog::Error(int errorCode, const std::string& description) {
  Add({"Error", {Number("ErrorCode", errorCode), Text("Description", description)}});
}

void EventLog::Header(const std::string& field, const std::string& value) {
  Add({"Header", {Text("Field", field), Text("Value", value)}});
}

void EventLog::Property(const std::string& name, const std::string& typeName, bool nullable) {
  Add({"Property", {Text("Name", name), Text("TypeName", typeName), Flag("Nullable", nullable)}});
}

void EventLog::SetCookie(const std::string& name, const std::string& value,
                         const std::string& expires, const std::string& domain,
                         const std::string& path, bool secure) {
  Add({"SetCookie",
       {Text("Name", name), Text("Value", value), Text("Expires", expires), Text("Domain", domain),
        Text("Path", path), Flag("Secure", secure)}});
}

void EventLog::SSLServerAuthentication(const std::string& certEncoded,
                                       const std::string& certSubject,
                                       const std::string& certIssuer, const std::string& status,
                                       bool& accept) {
  Add({"SSLServerAuthentication",
       {Number("CertLength", static_cast<int64_t>(certEncoded.size())),
        Text("CertSubject", certSubject), Text("CertIssuer", certIssuer), Text("Status", status),
        Flag("Accept", accept)}});
}

void EventLog::SSLStatus(const std::string& message) {
  Add({"SSLStatus", {Text("Message", message)}});
}

void EventLog::StartTransfer(int direction) {
  Add({"StartTransfer", {Number("Direction", direction)}});
}

void EventLog::Status(const std::string& httpVersion, int statusCode,
                      const std::string& description) {
  Add({"Status",
       {Text("HTTPVersion", httpVersion), Number("StatusCode", statusCode),
        Text("Description", description)}});
}

void EventLog::Transfer(int direction, int64_t bytesTransferred, int percentDone,
                        const std::string& text) {
  if (progress) progress->Update(direction, bytesTransferred, percentDone);
  Add({"Transfer",
       {Number("Direction", direction), Number("BytesTransferred", bytesTransferred),
        Number("PercentDone", percentDone),
        Number("TextLength", static_cast<int64_t>(text.size()))}});
}

} // namespace quillon::cli
