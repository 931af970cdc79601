// The records of a feed: an entry with its properties and links. An entry read from a response
// is read in place, in the response document's tree, until that document goes or the entry's
// text is changed; then it keeps its inner XML as text of its own, parsed in a document of its
// own on demand. The lists (links, properties) are derived on demand and can be dropped and
// derived again, so an entry nobody reads costs a small record.
#pragma once

#include "frame/BufStr.h"
#include "frame/PtrList.h"
#include "xml/XmlParser.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// One leaf below an entry's properties element: an element without child elements.
struct EntryProperty {
  int CopyTo(EntryProperty& destination) const;

  BufStr30 attributes; // every attribute as name="value", by local name, blanks between
  BufStr30 name;       // the path from properties, '/' between levels: "Address/City"
  BufStr30 value;      // the element's text; empty for a null
  BufStr30 path;       // the path inside the entry: "content/properties/Address/City"
  BufStr30 type;       // the type attribute (m:type in the document); empty when absent
  BufStr30 fullPath;   // scratch for EntryPropertiesXPath
  int32_t isNull = 0;  // null="true", or an empty element
};

// One link element of an entry, by its attributes.
struct EntryLink {
  int CopyTo(EntryLink& destination) const;
  void Clear();

  BufStr30 title;
  BufStr30 href; // what EntryLinksResourcePath shows
  BufStr30 rel;
  BufStr30 etag; // m:etag
  BufStr30 type;
};

class EntryRecord {
public:
  EntryRecord() = default;
  ~EntryRecord();
  EntryRecord(const EntryRecord&) = delete;
  EntryRecord& operator=(const EntryRecord&) = delete;

  // The destination gets the text, the lists, the edit link and the edit marks, and parses again
  // on demand. 0 or 200.
  int CopyTo(EntryRecord& destination) const;
  // Back to an empty entry: no text, no namespaces, nothing derived.
  void Clear();

  // Raw text
  // Takes the cursor element of `parser` as this entry, read in place in that document, which
  // must not change until Detach: the owner calls it before `parser` reads another one. Notes
  // the parser's code page. 0, or 214 when the parser keeps no text.
  int Capture(XmlParser& parser);
  // An entry read in place takes its own copy of what it is: its inner XML byte for byte, the
  // namespace mappings in scope at it and its etag attribute. The lists stay. 0, or 200 with the
  // entry emptied.
  int Detach();
  bool InDocument() const { return document != nullptr; }
  // The inner XML: in the document while the entry is read there, else rawXml.
  std::string_view RawText() const;
  // Replaces the raw text and drops the parse and the properties; with `alsoLinks` the links and
  // the edit link too. The namespaces stay. 0 or 200.
  int SetRawXml(std::string_view text, bool alsoLinks);

  // Derived state. Each result is 0, 200 or the code of the entry's parser, whose text
  // ErrorText() gives.
  // Parses "<entry namespaces>" raw text "</entry>" once; on success the cursor of the entry's
  // parser is on /entry. Nothing to do for an entry read in place.
  int EnsureParsed();
  // Fill the lists from the parse; repeat calls are free until the text changes.
  int ScanLinks();
  int ScanProperties();
  // Drops the parse, and each list that the host has not changed by index; what is dropped is
  // derived again on demand. The owner calls this when the entry stops being current.
  void Release();
  std::string_view ErrorText() const;

  // Reading and writing by path
  // The text, or with "@name" behind the last step the attribute, at `path`: "/entry/id",
  // "content/properties/Name" (steps from /entry), "/entry/category@term". Null when the entry
  // does not parse, the path leads nowhere or the attribute is absent; otherwise NUL-terminated
  // and valid until the entry is parsed again.
  const char* Value(std::string_view path);
  // Rewrites the raw text with the element or attribute at `path` ("/entry/title",
  // "content/properties/Name", "link[2]@href") set to `value`, which is escaped; a missing path
  // is created. Drops the parse and the properties; the links stay. 0, 207 for an empty path,
  // 555 for an index beyond the elements there, 200 or the parser's code; nothing changes on a
  // failure.
  int SetValue(std::string_view path, std::string_view value);
  // The author by format: 0 the name and " <email>" (no blank without a name), 1 the name,
  // 2 the email, anything else empty. Valid until the next call.
  const char* Author(int format);
  // Format 0 takes "name <email>" apart (a text without " <" and a '>' behind it is all name and
  // empties the email); 1 writes the name, 2 the email, anything else nothing.
  int SetAuthor(std::string_view text, int format);
  // "<entry >", the raw text and "</entry>"; empty when there is no raw text.
  const char* Xml();
  // Takes the inner XML of the text's entry root as the new raw text, dropping everything
  // derived; the parser's code when the text does not parse or has another root.
  int SetXml(std::string_view text);

  // The edit link. Null when the links can't be scanned.
  const char* ETag();
  const char* EditHref();
  // Replaces the edit link's etag, which then survives Release. 0, 200 or the scan's code.
  int SetETag(std::string_view text);

  // The lists, made on first use: null only without memory. They hold what the last scan found,
  // or what the host set by index since. The ...ForEdit forms mark the list as changed by the
  // host, so that Release keeps it.
  PtrList<EntryProperty>* Properties();
  PtrList<EntryProperty>* PropertiesForEdit();
  PtrList<EntryLink>* Links();
  PtrList<EntryLink>* LinksForEdit();
  // Counts after a scan, 0 when the scan fails.
  int PropertyCount();
  int LinkCount();

  // Fields
  BufStrN<7> rawXml;     // the entry's inner XML once detached: what everything derives from
  BufStrN<7> namespaces; // xmlns:p="uri" for each mapping in scope at the entry, blanks between
  BufStrN<15> entryETag; // the entry element's etag once detached; the ETag when no link has one
  int32_t codePage = 0;  // of the parser it was captured from: numeric references decode to it
  int8_t charsetMode = 0;
  int8_t parsed = 0;           // entryParser holds rawXml
  int8_t propertiesRead = 0;   // properties is valid
  int8_t linksRead = 0;        // links and editLink are valid
  int8_t propertiesEdited = 0; // the host changed the properties list by index
  int8_t linksEdited = 0;      // the host changed the links or the ETag

private:
  // What the lists keep: made on first use, dropped by Release unless edited.
  struct Lists {
    PtrList<EntryProperty> properties;
    PtrList<EntryLink> links; // the navigation links only
    EntryLink editLink;       // rel="edit"; its etag is the entry's ETag
    BufStr authorText;        // scratch for Author
    BufStr xmlText;           // scratch for Xml
  };
  // The tree that holds the entry and the entry's element there: the document's, or its own
  // after EnsureParsed. 0 or EnsureParsed's code.
  int Locate(const XmlTree** tree, uint32_t* element);
  // The element that the steps of `path` lead to from `element`, for a path of name steps
  // ("author/name", "Name[2]"); false when `path` holds any other step, which the walker of the
  // entry's own parser then reads.
  static bool WalkNameSteps(const XmlTree& tree, std::string_view path, uint32_t* element);
  const char* ValueByWalker(std::string_view path);
  XmlParser* Parser();
  Lists* MakeLists();
  void DropParser();
  void DropLists();
  void PrepareParser(XmlParser& parser) const;
  int ReadProperties(const XmlTree& tree, uint32_t parent, BufStrBase& namePrefix,
                     BufStrBase& path);
  int ReadLink(const XmlTree& tree, uint32_t element);

  XmlParser* entryParser = nullptr; // this entry's own document; made by EnsureParsed
  XmlParser* document = nullptr;    // the response document while the entry is read there
  uint32_t documentElement = 0;     // the entry's element in `document`
  Lists* lists = nullptr;
};

} // namespace quillon
