// Which entry the host works on, and the path form of reading and writing it.
//
// The current entry is entries[entryIndex], or scratchEntry outside the list. When another entry
// becomes current the previous one is released back to raw text (keeping what the host changed
// by index), so walking a large feed holds one parsed entry at a time.
//
// Paths of GetEntryProperty and SetEntryProperty:
//   "Name"                                   the current entry, content/properties/Name
//   "entry[2]/properties/Name"               the second entry (from 1), properties/Name
//   "/feed/entry/content/properties/Name"    the first entry (or the scratch entry)
//   "properties/Name"                        refused: a '/' without an entry
#include "odata/QuillonCore.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
constexpr const char* kInvalidPath = "Invalid xPath, please check if xPath is correct.";
} // namespace

int QuillonCore::EntryFailure(const EntryRecord& entry, int code) {
  if (code == errOutOfMemory) return DescribeError(code);
  lastError.Assign(entry.ErrorText());
  return code;
}

EntryRecord& QuillonCore::CurrentEntry() {
  if (entryIndex >= 0 && entryIndex < entries.Count())
    if (EntryRecord* entry = entries.At(entryIndex)) return *entry;
  return scratchEntry;
}

int QuillonCore::SelectEntry(int index) {
  EntryRecord& previous = CurrentEntry();
  entryIndex = index;
  EntryRecord& current = CurrentEntry();
  if (&previous != &current) previous.Release();
  const char* href = current.EditHref();
  if (ResourcePath.Assign(href ? href : "") != errNone) return DescribeError(errOutOfMemory);
  return errNone;
}

int QuillonCore::SetEntryIndex(int index) {
  if (inResponseRead) return Fail(errBusy, "Busy performing current action.");
  if (index == -1) {
    entryIndex = 0;
    scratchEntry.Clear();
    entries.Clear();
    return errNone;
  }
  if (index < 0 || index >= entries.Count())
    return Fail(errIndex, "Invalid index (out of bounds).");
  return SelectEntry(index);
}

EntryRecord* QuillonCore::EntryFromPath(std::string_view xpath) {
  if (xpath.empty()) return nullptr;
  BufStr lower;
  if (lower.Assign(xpath) != errNone) return nullptr;
  lower.ToLower();
  if (const int at = lower.Find("entry["); at >= 0) {
    const int close = lower.Find("]/", at + 6);
    if (close < 0) return nullptr;
    BufStr30 digits;
    digits.Assign(
        lower.View().substr(static_cast<size_t>(at + 6), static_cast<size_t>(close - at - 6)));
    const int n = ParseDec32(digits.Data());
    return n >= 1 && n <= entries.Count() ? entries.At(n - 1) : nullptr;
  }
  if (lower.Find("entry/") >= 0) return entries.Count() > 0 ? entries.At(0) : &scratchEntry;
  if (lower.Find("/") >= 0) return nullptr;
  return &CurrentEntry();
}

int QuillonCore::ResolveEntryPath(std::string_view xpath, EntryRecord& entry, BufStrBase& path) {
  path.Clear();
  if (xpath.find("properties/") == std::string_view::npos) {
    // A bare property name goes where the entry's first property lives.
    if (entry.PropertyCount() == 0) return errNone;
    const EntryProperty* first = entry.Properties()->At(0);
    const int cut = first ? first->path.Find("properties/") : -1;
    if (cut < 0) return errNone;
    BufStr combined;
    if (combined.Assign(first->path.View().substr(0, static_cast<size_t>(cut) + 11)) != errNone ||
        combined.Append(xpath) != errNone)
      return DescribeError(errOutOfMemory);
    return ResolveEntryPath(combined.View(), entry, path);
  }
  size_t from = xpath.find("content/properties/");
  if (from == std::string_view::npos) from = xpath.find("properties/");
  return path.Assign(xpath.substr(from)) == errNone ? errNone : DescribeError(errOutOfMemory);
}

int QuillonCore::GetEntryProperty(std::string_view xpath, BufStrBase& value) {
  value.Clear();
  EntryRecord* entry = EntryFromPath(xpath);
  BufStr path;
  if (entry)
    if (int rc = ResolveEntryPath(xpath, *entry, path); rc != errNone) return rc;
  if (!entry || path.IsEmpty()) return Fail(errXPath, kInvalidPath);
  const char* text = entry->Value(path.View());
  if (value.Assign(text ? text : "") != errNone) return DescribeError(errOutOfMemory);
  if (entry != &CurrentEntry()) entry->Release();
  return errNone;
}

int QuillonCore::SetEntryProperty(std::string_view xpath, std::string_view value) {
  EntryRecord* entry = EntryFromPath(xpath);
  BufStr path;
  if (entry)
    if (int rc = ResolveEntryPath(xpath, *entry, path); rc != errNone) return rc;
  if (!entry || path.IsEmpty()) return Fail(errXPath, kInvalidPath);
  if (int rc = entry->SetValue(path.View(), value); rc != errNone) return EntryFailure(*entry, rc);
  if (entry != &CurrentEntry()) entry->Release();
  return errNone;
}

const char* QuillonCore::PropertyXPath(int index) {
  EntryRecord& entry = CurrentEntry();
  EntryProperty* property = index < entry.PropertyCount() ? entry.Properties()->At(index) : nullptr;
  if (!property) return "";
  BufStrBase& out = property->fullPath;
  out.Clear();
  if (rootKind.View() == "feed") {
    out.AppendText("/feed/entry");
    if (entryIndex >= 0) {
      out.AppendChar('[');
      out.AppendDecimal(entryIndex + 1);
      out.AppendChar(']');
    }
  } else if (rootKind.View() == "entry") {
    out.AppendText("/entry");
  }
  if (!out.EndsWith("/")) out.AppendChar('/');
  out.Append(property->path);
  return out.Data();
}

} // namespace quillon
