#include "Methods.h"

#include <strings.h>

namespace quillon::cli {

namespace {
const std::string& Arg(const std::vector<std::string>& arguments, size_t i) {
  static const std::string empty;
  return i < arguments.size() ? arguments[i] : empty;
}
} // namespace

std::optional<std::string>& MethodText() {
  static std::optional<std::string> text;
  return text;
}

const std::vector<MethodEntry>& Methods() {
  static const std::vector<MethodEntry> methods = {
      {"QueryService", "", 0, 0,
       [](Quillon& q, const std::vector<std::string>&) { return q.QueryService(); }},
      {"GetSchema", "", 0, 0,
       [](Quillon& q, const std::vector<std::string>&) { return q.GetSchema(); }},
      {"CustomRequest", "HTTPMETHOD URL [POSTDATA]", 2, 3,
       [](Quillon& q, const std::vector<std::string>& a) {
         return q.CustomRequest(Arg(a, 0), Arg(a, 1), Arg(a, 2));
       }},
      {"Reset", "", 0, 0, [](Quillon& q, const std::vector<std::string>&) { return q.Reset(); }},
      {"GetEntryProperty", "XPATH", 1, 1,
       [](Quillon& q, const std::vector<std::string>& a) {
         std::string value;
         const int rc = q.GetEntryProperty(Arg(a, 0), value);
         MethodText() = value;
         return rc;
       }},
      {"SetEntryProperty", "XPATH VALUE", 2, 2,
       [](Quillon& q, const std::vector<std::string>& a) {
         return q.SetEntryProperty(Arg(a, 0), Arg(a, 1));
       }},
      {"HasXPath", "XPATH", 1, 1,
       [](Quillon& q, const std::vector<std::string>& a) {
         MethodText() = q.HasXPath(Arg(a, 0)) ? "true" : "false";
         return 0;
       }},
      {"CreateEntry", "", 0, 0,
       [](Quillon& q, const std::vector<std::string>&) { return q.CreateEntry(); }},
      {"UpdateEntry", "", 0, 0,
       [](Quillon& q, const std::vector<std::string>&) { return q.UpdateEntry(); }},
      {"UpdateProperty", "XPATH VALUE", 2, 2,
       [](Quillon& q, const std::vector<std::string>& a) {
         return q.UpdateProperty(Arg(a, 0), Arg(a, 1));
       }},
      {"DeleteEntry", "", 0, 0,
       [](Quillon& q, const std::vector<std::string>&) { return q.DeleteEntry(); }},
      {"SetSchemaEntity", "NAME", 1, 1,
       [](Quillon& q, const std::vector<std::string>& a) { return q.SetSchemaEntity(a[0]); }},
      {"SetSchemaProperty", "NAME", 1, 1,
       [](Quillon& q, const std::vector<std::string>& a) { return q.SetSchemaProperty(a[0]); }},
      {"SetSchemaType", "NAME", 1, 1,
       [](Quillon& q, const std::vector<std::string>& a) { return q.SetSchemaType(a[0]); }},
  };
  return methods;
}

const MethodEntry* FindMethod(const std::string& name) {
  for (const MethodEntry& method : Methods())
    if (strcasecmp(method.name, name.c_str()) == 0) return &method;
  return nullptr;
}

} // namespace quillon::cli
