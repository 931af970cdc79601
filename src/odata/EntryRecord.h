// The records of a feed: an entry kept as its raw inner XML, with its properties and links.
// Everything but the raw text is derived on demand (the entry's own parse, the link scan, the
// property scan) and can be dropped and derived again, so an entry nobody reads costs its text.
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
  // Takes the cursor element of `parser` as this entry: its inner XML byte for byte, the
  // namespace mappings in scope there, its etag attribute and the parser's code page. 0, 200 or
  // 214 (the parser keeps no text).
  int Capture(XmlParser& parser);
  // Replaces the raw text and drops the parse and the properties; with `alsoLinks` the links and
  // the edit link too. The namespaces stay. 0 or 200.
  int SetRawXml(std::string_view text, bool alsoLinks);

  // Derived state. Each result is 0, 200 or the code of the entry's parser, whose text
  // ErrorText() gives.
  // Parses "<entry namespaces>" raw text "</entry>" once; on success the cursor of the entry's
  // parser is on /entry.
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
  BufStrN<7> rawXml;     // the entry's inner XML: the truth everything else derives from
  BufStrN<7> namespaces; // xmlns:p="uri" for each mapping in scope at the entry, blanks between
  BufStrN<15> entryETag; // the entry element's etag; the ETag when no link carries one
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
  XmlParser* Parser();
  Lists* MakeLists();
  void DropParser();
  void DropLists();
  void PrepareParser(XmlParser& parser) const;
  int ReadProperties(BufStrBase& namePrefix, BufStrBase& path);
  int ReadLink(XmlParser& parser);

  XmlParser* entryParser = nullptr; // this entry's own document; made by EnsureParsed
  Lists* lists = nullptr;
};

} // namespace quillon
