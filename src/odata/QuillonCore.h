// The last link of the engine's chain: the OData client. It composes the URL of each operation,
// runs one exchange through the HTTP link and hands the response to the readers.
#pragma once

#include "frame/BufStr.h"
#include "frame/Text.h"
#include "http/HttpClient.h"
#include "odata/EntryRecord.h"
#include "odata/SchemaNameIndex.h"
#include "odata/SchemaRecords.h"
#include "xml/XmlParser.h"

#include <cstdint>

namespace quillon {

class QuillonCore : public HttpClient {
public:
  QuillonCore();
  ~QuillonCore() override = default;

  // Config
  int Config(ConfigRequest& request, const char** result) override;

  // Operations
  int QueryService();
  int GetSchema();
  // `httpMethod` selects the action (MERGE and unknown methods also set HTTPMethod); `url` is
  // used exactly; `postData` becomes PostData, up to its first NUL.
  int CustomRequest(const char* httpMethod, const char* url, const char* postData);

  // Internal operations
  // Appends "/" (unless `url` ends in one) and `text`, percent-encoded when `encode` is set.
  static int AppendPath(BufStrBase& url, std::string_view text, bool encode);
  // Appends "?" (or "&" once `url` holds a "?") and `text`, percent-encoded when `encode` is set.
  static int AppendQuery(BufStrBase& url, std::string_view text, bool encode);
  // One exchange with the service, then the reading of its answer.
  int RunRequest(int action, const char* url, const char* body, int bodyLength);
  // Reads a response body by its root element.
  virtual int DispatchResponse(BufStrBase& body);

  // Feed and entry reader, entry properties, response dispatch

  // Schema reader and schema cursor
  // Empties the four schema lists and puts the five schema cursors back to 0.
  void ClearSchema();
  // Reads the EDMX document in `parser` into the schema lists, raising Entity for each entity
  // set, resolves every navigation property against its association (903 when one does not
  // resolve) and selects entity set 0 (432 when there is none).
  int ReadSchema();
  // Select by short name, ignoring case: 0, or 432 with the name in lastError and every cursor
  // left as it was. SetSchemaType also puts the field cursor on 0, which fails with 432 for a
  // complex type without fields.
  int SetSchemaEntity(std::string_view name);
  int SetSchemaProperty(std::string_view name);
  int SetSchemaType(std::string_view name);
  // The index setters: 0, or 432 for an index outside the list, which leaves the cursor alone.
  int SetSchemaEntityIndex(int index);
  int SetSchemaPropertyIndex(int index);
  int SetSchemaAssociationIndex(int index);
  int SetSchemaTypeFieldIndex(int index);
  // Makes entity set `index` current with property 0 and association 0, and raises Property for
  // each property of its entity type.
  int SelectSchemaEntity(int index);
  // Makes property `index` current (0 when outside), and the complex type it names with field 0.
  void SelectSchemaProperty(int index);
  // The current records, derived from the cursors at each call; null when there is none.
  SchemaEntitySet* CurrentEntitySet();
  SchemaEntityType* CurrentEntityType();
  SchemaProperty* CurrentProperty();
  SchemaNavigation* CurrentNavigation();
  SchemaComplexType* CurrentComplexType();
  SchemaProperty* CurrentTypeField();
  // Steps of ReadSchema: the children of the Schema element under the cursor; the entity sets of
  // the EntityContainer under the cursor; the second pass over the navigation properties.
  int ReadSchemaChildren();
  int ReadEntitySets(std::string_view owner);
  int ResolveNavigation();
  // Stores `text`, `name` and "." as the last error and returns `code`.
  int FailNamed(int code, const char* text, std::string_view name);

  // Events to the host
  virtual void FireEntry(const char* id, const char* title, const char* summary, const char* etag);
  virtual void FireEntity(const char* name);
  virtual void FireProperty(const char* name, const char* typeName, bool nullable);

  // The request
  BufStr ServiceRootURI;    // root of the service, with or without a trailing slash
  BufStr ResourcePath;      // path below the root; entry selection rewrites it
  BufStr OtherQueryOptions; // query text added ahead of the $ options, sent as it stands
  BufStr QueryFilter;       // value of $filter
  BufStr QueryOrderBy;      // value of $orderby
  BufStr QuerySelect;       // value of $select
  BufStr QuerySkip;         // value of $skip
  BufStr QueryTop;          // value of $top
  BufStr QuerySkipToken;    // value of $skiptoken; also written by the feed reader
  BufStr userHeaders;       // the OtherHeaders property: extra header lines, each ending in CRLF

  // The latest response
  BufStr rootKind;  // "edmx", "feed", "entry", "error", "service" or empty
  XmlParser parser; // the document of the latest response; its cursor is the XPath property

  // Feed and entries

  // Schema
  PtrList<SchemaEntitySet> entitySets;     // from every EntityContainer, in document order
  PtrList<SchemaEntityType> entityTypes;   // from every Schema, in document order
  PtrList<SchemaComplexType> complexTypes; // likewise
  PtrList<SchemaAssociation> associations; // likewise
  // Qualified names of the three lists that are looked up by them; built by ReadSchema.
  SchemaNameIndex entityTypeNames;
  SchemaNameIndex complexTypeNames;
  SchemaNameIndex associationNames;

  // Cursors
  int32_t entryIndex = 0;
  int32_t schemaEntityIndex = 0;
  int32_t schemaPropertyIndex = 0;
  int32_t schemaTypeFieldIndex = 0;
  int32_t schemaAssociationIndex = 0;
  int32_t schemaTypeIndex = 0;

  // Settings and results of the OData link
  int32_t nameAndEmailFormat = 0; // how EntryAuthor reads and writes
  BufStr generatedEntry;          // the result of the Config key GenerateEntryXML
  BufStr serviceError;            // text composed from an error document
  int32_t encodeResourcePath = 1; // percent-encode ResourcePath
};

} // namespace quillon
