// Arbitrary bytes as a response body through DispatchResponse, then everything a host can read
// of the result: channel, every entry with its links and properties, paths, a rewrite by path
// and by EntryXML, and Reset. Layout of an input: the document up to the first NUL, then an
// optional path (up to the next NUL) for GetEntryProperty and SetEntryProperty.
#include "FuzzSupport.h"
#include "odata/QuillonCore.h"

namespace quillon::fuzz {
namespace {
void ReadEntry(QuillonCore& core, std::string_view path) {
  EntryRecord& entry = core.CurrentEntry();
  for (const char* field : {"/entry/id", "/entry/title", "/entry/summary", "/entry/updated",
                            "/entry/category@term", "content/properties"})
    entry.Value(field);
  entry.ETag();
  entry.EditHref();
  entry.Author(0);
  entry.Xml();
  for (int i = 0; i < entry.LinkCount(); ++i)
    entry.Links()->At(i);
  for (int i = 0; i < entry.PropertyCount(); ++i)
    core.PropertyXPath(i);
  BufStr value;
  core.GetEntryProperty(path, value);
}

} // namespace
} // namespace quillon::fuzz

QUILLON_FUZZ_TARGET(input) {
  const size_t nul = input.find('\0');
  const std::string_view document = input.substr(0, nul);
  std::string_view path = nul == std::string_view::npos ? "Name" : input.substr(nul + 1);
  path = path.substr(0, path.find('\0'));

  QuillonCore core;
  BufStr body;
  body.Assign(document);
  core.DispatchResponse(body);
  const int count = core.entries.Count();
  for (int i = 0; i < count && i < 64; ++i) {
    core.SetEntryIndex(i);
    ReadEntry(core, path);
  }
  EntryRecord& entry = core.CurrentEntry();
  core.SetEntryProperty(path, "v<&>\"");
  entry.SetAuthor("A <a@b>", 0);
  ReadEntry(core, path);
  entry.SetXml(document);
  ReadEntry(core, path);
  core.SetEntryIndex(-1);
  ReadEntry(core, path);
  core.Reset();
}
