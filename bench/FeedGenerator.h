// Generated Atom feeds in the shape services send, for the benchmarks: entries of about 1.7 KB
// with an etag, links, a category, escaped text, and properties with types, a null and a complex
// value. A feed can be built in memory or written to a file entry by entry.
#pragma once

#include <cstdio>
#include <string>

namespace quillon::bench {

inline void AppendEntry(std::string& out, int i) {
  const std::string n = std::to_string(i);
  out += "  <entry m:etag=\"W/&quot;datetime'2024-03-0" + std::to_string(i % 9 + 1) +
         "T10%3A15%3A00.123'&quot;\">\n"
         "    <id>https://services.example.com/Catalog.svc/Products(" +
         n +
         ")</id>\n"
         "    <category term=\"Catalog.Product\" "
         "scheme=\"http://schemas.microsoft.com/ado/2007/08/dataservices/scheme\" />\n"
         "    <link rel=\"edit\" title=\"Product\" href=\"Products(" +
         n +
         ")\" />\n"
         "    <link rel=\"http://schemas.microsoft.com/ado/2007/08/dataservices/related/Category\""
         " type=\"application/atom+xml;type=entry\" title=\"Category\" href=\"Products(" +
         n +
         ")/Category\" />\n"
         "    <link rel=\"http://schemas.microsoft.com/ado/2007/08/dataservices/related/Supplier\""
         " type=\"application/atom+xml;type=entry\" title=\"Supplier\" href=\"Products(" +
         n +
         ")/Supplier\" />\n"
         "    <title type=\"text\">Product " +
         n +
         " &amp; accessories</title>\n"
         "    <summary type=\"text\">Low fat milk in a one litre carton, kept cool &lt;8 C&gt;"
         "</summary>\n"
         "    <updated>2024-03-01T10:15:00Z</updated>\n"
         "    <author>\n      <name />\n    </author>\n"
         "    <content type=\"application/xml\">\n"
         "      <m:properties>\n"
         "        <d:ID m:type=\"Edm.Int32\">" +
         n +
         "</d:ID>\n"
         "        <d:Name>Milk " +
         n +
         "</d:Name>\n"
         "        <d:Description>Low fat milk in a one litre carton</d:Description>\n"
         "        <d:ReleaseDate m:type=\"Edm.DateTime\">1995-10-01T00:00:00</d:ReleaseDate>\n"
         "        <d:DiscontinuedDate m:type=\"Edm.DateTime\" m:null=\"true\" />\n"
         "        <d:Rating m:type=\"Edm.Int16\">3</d:Rating>\n"
         "        <d:Price m:type=\"Edm.Decimal\">3.5</d:Price>\n"
         "        <d:Address m:type=\"Catalog.Address\">\n"
         "          <d:Street>NE 228th</d:Street>\n"
         "          <d:City>Sammamish</d:City>\n"
         "          <d:State>WA</d:State>\n"
         "          <d:ZipCode>98074</d:ZipCode>\n"
         "          <d:Country>USA</d:Country>\n"
         "        </d:Address>\n"
         "      </m:properties>\n"
         "    </content>\n"
         "  </entry>\n";
}

// Leaf properties of one generated entry: seven simple ones and five inside Address.
constexpr int kPropertiesPerEntry = 12;

inline std::string FeedHead() {
  return "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
         "<feed xml:base=\"https://services.example.com/Catalog.svc/\" "
         "xmlns:d=\"http://schemas.microsoft.com/ado/2007/08/dataservices\" "
         "xmlns:m=\"http://schemas.microsoft.com/ado/2007/08/dataservices/metadata\" "
         "xmlns=\"http://www.w3.org/2005/Atom\">\n"
         "  <title type=\"text\">Products</title>\n"
         "  <id>https://services.example.com/Catalog.svc/Products</id>\n"
         "  <updated>2024-03-01T10:15:00Z</updated>\n"
         "  <link rel=\"self\" title=\"Products\" href=\"Products\" />\n";
}

inline std::string FeedTail() {
  return "</feed>\n";
}

inline std::string MakeFeed(int entries) {
  std::string out = FeedHead();
  out.reserve(static_cast<size_t>(entries) * 1800 + 1000);
  for (int i = 1; i <= entries; ++i)
    AppendEntry(out, i);
  return out + FeedTail();
}

// Writes a feed of `entries` to `path` without holding it in memory; its size, or -1.
inline long long WriteFeedFile(const std::string& path, int entries) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return -1;
  long long size = 0;
  std::string block = FeedHead();
  for (int i = 1; i <= entries + 1; ++i) {
    if (i <= entries)
      AppendEntry(block, i);
    else
      block += FeedTail();
    if (block.size() > 65536 || i > entries) {
      size += static_cast<long long>(std::fwrite(block.data(), 1, block.size(), file));
      block.clear();
    }
  }
  return std::fclose(file) == 0 ? size : -1;
}

} // namespace quillon::bench
