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
#include "xml/XmlWriter.h"

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
  // Whether `text` begins with a scheme and "://".
  static bool IsAbsoluteUrl(std::string_view text);
  // ServiceRootURI and ResourcePath, or ResourcePath alone when it is an absolute URL
  // (`absolute` then set: nothing more is added to it). 0 or 200.
  int ComposeResourceUrl(BufStrBase& url, bool& absolute);
  // One exchange with the service, then the reading of its answer.
  int RunRequest(int action, const char* url, const char* body, int bodyLength);
  // Reads a response body by its root element.
  virtual int DispatchResponse(BufStrBase& body);

  // Feed and entry reader, entry properties, response dispatch
  // A response is read in three steps: BeginResponse prepares `parser`, the document goes to
  // parser.Parse in one or more pieces, and ReadResponse reads it by its root element. The
  // results of the previous response stay until a document has parsed.
  int BeginResponse();
  int ReadResponse(int parseResult);
  // The readers behind ReadResponse; each works on `parser`.
  int ReadFeed();
  int ReadEntryDocument();
  int ReadChannel();
  int ReadServiceError();
  int ReadServiceDocument();
  // The Config key ReadFile: a saved response read as if it had come from the service. 0 with
  // the reader's result in `*readResult`, or 302 when the file can't be opened.
  int ReadFile(const char* path, int* readResult);
  // Clears the results of the latest response and the scratch entry, then resets the HTTP link.
  // 0 or 143.
  int Reset();

  // The entry at entryIndex while that lies inside entries, otherwise scratchEntry.
  EntryRecord& CurrentEntry();
  // Makes entry `index` current and writes its edit link's target over ResourcePath.
  int SelectEntry(int index);
  // -1 empties entries and scratchEntry; 0 to count - 1 selects; anything else is 432.
  int SetEntryIndex(int index);
  // The entry a path names ("entry[2]/...", "entry/...", a bare property name), or null.
  EntryRecord* EntryFromPath(std::string_view xpath);
  // The path inside `entry` that `xpath` names, empty when it can't be resolved.
  int ResolveEntryPath(std::string_view xpath, EntryRecord& entry, BufStrBase& path);
  // Value and rewrite by path; 207 when the path names no entry or no place in it.
  int GetEntryProperty(std::string_view xpath, BufStrBase& value);
  int SetEntryProperty(std::string_view xpath, std::string_view value);
  // EntryPropertiesXPath: the property's path in the response ("/feed/entry[2]/content/...").
  const char* PropertyXPath(int index);
  void ClearChannel();
  // Returns `code` with the text of an entry's failure (or of `parser`'s) in lastError.
  int EntryFailure(const EntryRecord& entry, int code);
  int ParserFailure(int code);

  // Entry documents and entry operations
  // Writes the entry document of `entry` into `out`: the Atom fields, then its properties sorted
  // by name. The prefixes follow the namespace declarations on the cursor element of
  // `response`; `includeLinks` adds the navigation links. 0 or the first failure's code, and
  // `out` stays as it was on a failure.
  int BuildEntryDocument(EntryRecord& entry, BufStrBase& out, XmlParser& response,
                         bool includeLinks);
  // Closes the open property elements that `name` does not share and opens the rest of its
  // steps ('/' between levels), each in the data services namespace. 906 for an empty name.
  static int OpenPropertyPath(XmlWriter& writer, std::string_view dataPrefix, std::string_view name,
                              StrList& openPath);
  // Orders the properties by name, stable, in place (see WordOrder.h).
  static void SortProperties(PtrList<EntryProperty>& list);
  // The four operations that change the service; each sends one request.
  int CreateEntry();
  int UpdateEntry();
  int UpdateProperty(std::string_view xpath, std::string_view value);
  int DeleteEntry();
  // ServiceRootURI, ResourcePath and OtherQueryOptions, as the entry operations address.
  int ComposeEntryUrl(BufStrBase& url);
  // Puts "If-Match:" and the entry's ETag in front of the request's header lines, unless there
  // is no ETag or the caller's lines already hold an If-Match. 0 or 200.
  int AddIfMatch(EntryRecord& entry);
  // Returns `code` with the writer's text in lastError.
  int WriterFailure(const XmlWriter& writer, int code);

  // Schema reader and schema cursor
  // Empties the four schema lists and puts the five schema cursors back to 0.
  void ClearSchema();
  // Reads the EDMX document in `parser` into the schema lists, raising Entity for each entity
  // set, resolves every navigation property against its association (903 when one does not
  // resolve) and selects entity set 0 (432 when there is none). Of a document cut short it reads
  // the records that closed before the cut (see the source).
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
  // the EntityContainer under the cursor; the second pass over the navigation properties, which
  // in a `cut` document passes over those that do not resolve.
  int ReadSchemaChildren();
  int ReadEntitySets(std::string_view owner);
  int ResolveNavigation(bool cut);
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
  PtrList<EntryRecord> entries; // the entries of the latest feed or entry document
  EntryRecord scratchEntry;     // current while entryIndex lies outside entries: a new entry
  uint8_t inResponseRead = 0;   // a reader walks `parser` and fires events; nothing may reset it
  BufStr ChannelAuthorEmail;
  BufStr ChannelAuthorName;
  BufStr ChannelAuthorUri;
  BufStr ChannelCategoryLabel;
  BufStr ChannelCategoryScheme;
  BufStr ChannelCategoryTerm;
  BufStr ChannelContributorEmail;
  BufStr ChannelContributorName;
  BufStr ChannelContributorUri;
  BufStr ChannelGenerator;
  BufStr ChannelIcon;
  BufStr ChannelId;
  BufStr ChannelLinkHref;
  BufStr ChannelLinkHrefLang;
  BufStr ChannelLinkLength;
  BufStr ChannelLinkRel;
  BufStr ChannelLinkTitle;
  BufStr ChannelLinkType;
  BufStr ChannelLogo;
  BufStr ChannelRights;
  BufStr ChannelSubtitle;
  BufStr ChannelTitle;
  BufStr ChannelUpdated;
  int32_t ChannelRightsTextType = 0; // AtomTextTypes: 0 text, 1 HTML, 2 XHTML
  int32_t ChannelSubtitleTextType = 0;
  int32_t ChannelTitleTextType = 0;

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
