// Quillon: a client component for OData services in the Atom/XML format.
//
// A host creates one Quillon object, sets properties (ServiceRootURI, ResourcePath, query
// options, credentials...), calls a method (QueryService, GetSchema, CustomRequest...) and reads
// the results through events and properties. Every member returns 0 on success or the engine's
// result code, with its description in ErrorDescription(); nothing throws. Text crosses this
// surface as UTF-8 and reaches the engine in the code page set by Config("CodePage=...").
//
// Each property of QuillonProperties.inc has typed members: `std::string ServiceRootURI() const`
// and `int SetServiceRootURI(std::string_view)`, `int EntryCount() const`, `std::string
// EntryPropertiesValue(int index) const`, `AuthSchemes AuthScheme() const`. A getter that fails
// returns an empty text, 0 or false, and LastResult() tells its code; read-only properties have
// no setter. The same properties are reached by name through GetProperty and SetProperty.
#pragma once

#include "quillon/QuillonEvents.h"
#include "quillon/QuillonTypes.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {

class QUILLON_API Quillon {
public:
  Quillon();
  ~Quillon();
  Quillon(const Quillon&) = delete;
  Quillon& operator=(const Quillon&) = delete;

  // Events go to `handler` (not owned); null stops them.
  void SetEventHandler(QuillonEvents* handler);

  // Typed members of every property, made from the one table.
#define QUILLON_PROPERTY(id, Name, Type, Index, Access, DesignTime, ...)                           \
  QUILLON_DECLARE_MEMBERS(Name, Type, Index, Access)
#include "quillon/QuillonProperties.inc"
#undef QUILLON_PROPERTY

  // Properties by public name, case-insensitive. Numbers travel as decimal text; a flag reads
  // "-1" for true and "0" for false, and is true on the way in for any number but 0 and for
  // "True" or "yes". Byte properties and counted texts carry their bytes unchanged.
  int GetProperty(std::string_view name, std::string& value);
  int GetProperty(std::string_view name, int index, std::string& value);
  int SetProperty(std::string_view name, std::string_view value);
  int SetProperty(std::string_view name, int index, std::string_view value);
  // The properties, in the order of their ids.
  static std::vector<PropertyInfo> Properties();

  // Design mode: while it is on, reading a property that is not allowed at design time fails
  // with 394, "Property is runtime only (no supported in design time).". Off by default.
  void SetDesignMode(bool on);
  bool DesignMode() const;

  // Methods
  // Hands back the text of the about box: the component's name and version.
  int AboutBox(std::string* text = nullptr);
  int Config(std::string_view configurationString, std::string* result = nullptr);
  int QueryService();
  int GetSchema();
  int CustomRequest(std::string_view httpMethod, std::string_view url, std::string_view postData);
  // Select in the schema of the latest EDMX document by short name, ignoring case: an entity set
  // (which raises Property for each of its properties), a property of the current entity set's
  // type, or a complex type. A name that is not there gives 432 and moves nothing.
  int SetSchemaEntity(std::string_view name);
  int SetSchemaProperty(std::string_view name);
  int SetSchemaType(std::string_view name);

  // Clears the results of the latest response (entries, channel, schema, the response document)
  // and the entry being put together; the request settings stay. 0, or 143 during an action.
  int Reset();
  // Reads or rewrites one value of an entry by path: a bare property name ("Name") on the
  // current entry, or a path that names the entry ("entry[2]/properties/Name",
  // "/feed/entry/content/properties/Name"). A path that exists nowhere reads as empty; one that
  // names no entry is 207.
  int GetEntryProperty(std::string_view xpath, std::string& value);
  int SetEntryProperty(std::string_view xpath, std::string_view value);
  // Whether `xpath` leads to an element of the response document; the cursor (XPath) stays.
  bool HasXPath(std::string_view xpath);

  // The operations that change the service, on the current entry (EntryIndex, or the entry being
  // put together before any response): CreateEntry POSTs its entry document, UpdateEntry PUTs
  // it, UpdateProperty PUTs the one element at `xpath` of the latest response with `value` as its
  // text, and DeleteEntry sends DELETE. The URL is ServiceRootURI and ResourcePath; an entry
  // with an ETag goes with If-Match, unless OtherHeaders holds one.
  int CreateEntry();
  int UpdateEntry();
  int UpdateProperty(std::string_view xpath, std::string_view value);
  int DeleteEntry();

  // Lets the component's network events run on this thread for `milliseconds`, as a host's
  // message loop would: each round delivers one pending event or waits for one, and 0 runs one
  // round without waiting. A host calls it while a connection works in the background (a
  // negative Timeout) and from nowhere else; events arrive inside this call. Returns 0.
  int DoEvents(int milliseconds);

  // What the latest response document was: "feed", "entry", "edmx", "error", "service", or
  // empty when none has been read or its root was none of these.
  std::string RootKind() const;

  // Failures
  // The result of the latest member: 0, or the code of its failure.
  int LastResult() const;
  // The latest failure, kept until the next one.
  const Failure& LastFailure() const;
  // The description of the latest failure.
  std::string ErrorDescription() const;
  // The failure value for `code`: 0x800A0007 for 200, 0x800A0000 | n for the surface's own 380,
  // 381, 383, 394 and 438, else 0x800A0000 | (code + 20001), or + 15001 for socket codes from
  // 10001 up; 0 for 0.
  static uint32_t FailureValue(int code);

private:
  struct Impl;
  std::unique_ptr<Impl> impl;
};

} // namespace quillon
