// A small host of the installed component: reads a saved feed (a file, as a response from the
// service would be read) and prints each entry with its properties through the typed members.
//
//   host FEED.xml
#include <quillon/Quillon.h>

#include <cstdio>
#include <string>

namespace {

class Titles : public quillon::QuillonEvents {
public:
  int entries = 0;
  void Entry(const std::string&, const std::string&, const std::string&,
             const std::string&) override {
    ++entries;
  }
};

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: host FEED.xml\n");
    return 2;
  }
  quillon::Quillon component;
  Titles events;
  component.SetEventHandler(&events);
  std::string result;
  if (component.Config(std::string("ReadFile=") + argv[1], &result) != 0 || result != "0") {
    std::fprintf(stderr, "host: %s\n", component.ErrorDescription().c_str());
    return 1;
  }
  std::printf("%s: %d entries, %d events\n", component.ChannelTitle().c_str(),
              component.EntryCount(), events.entries);
  for (int i = 0; i < component.EntryCount(); ++i) {
    component.SetEntryIndex(i);
    std::printf("%s\n", component.EntryTitle().c_str());
    for (int p = 0; p < component.EntryPropertiesCount(); ++p)
      std::printf("  %s = %s\n", component.EntryPropertiesName(p).c_str(),
                  component.EntryPropertiesIsNull(p) ? "null"
                                                     : component.EntryPropertiesValue(p).c_str());
  }
  return 0;
}
