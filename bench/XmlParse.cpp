// Parse speed of the XML engine against expat (with namespaces), libxml2 (building its tree)
// and pugixml, on the same generated Atom feed, with the ratios printed at the end; the cost of
// walking a feed by "/feed/[i]"; and the size of an idle parser.
//   bench_XmlParse                       everything (about a minute; the ratios come last)
//   bench_XmlParse --benchmark_filter=Small
#include "FeedGenerator.h"
#include "xml/XmlParser.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <malloc.h>
#include <map>
#include <string>

#ifdef QUILLON_HAVE_EXPAT
#include <expat.h>
#endif
#ifdef QUILLON_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/tree.h>
#endif
#ifdef QUILLON_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

namespace {

using quillon::XmlParser;
using quillon::bench::AppendEntry;
using quillon::bench::MakeFeed;

constexpr int kLargeEntries = 50000;
// Each parse is repeated and compared by its median: the machines it runs on are shared.
constexpr int kRepetitions = 5;
constexpr int kSmallEntries = 1000;

const std::string& Feed(int entries) {
  static std::map<int, std::string> feeds;
  auto found = feeds.find(entries);
  if (found == feeds.end()) found = feeds.emplace(entries, MakeFeed(entries)).first;
  return found->second;
}

// The response parse as the service reader makes it: tree, kept text, then "/".
void ParseQuillon(benchmark::State& state, int entries) {
  const std::string& feed = Feed(entries);
  for (auto _ : state) {
    XmlParser parser;
    parser.PrepareForDocument();
    if (parser.Parse(feed) != 0 || parser.SetXPath("/") != 0)
      state.SkipWithError(parser.LastErrorText());
    benchmark::DoNotOptimize(parser.XChildrenCount());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(feed.size()));
}

#ifdef QUILLON_HAVE_EXPAT
struct ExpatCounts {
  long elements = 0;
  long textBytes = 0;
};
void ParseExpat(benchmark::State& state, int entries) {
  const std::string& feed = Feed(entries);
  for (auto _ : state) {
    XML_Parser parser = XML_ParserCreateNS(nullptr, '|');
    ExpatCounts counts;
    XML_SetUserData(parser, &counts);
    XML_SetElementHandler(
        parser,
        [](void* data, const XML_Char*, const XML_Char**) {
          ++static_cast<ExpatCounts*>(data)->elements;
        },
        [](void*, const XML_Char*) {});
    XML_SetCharacterDataHandler(parser, [](void* data, const XML_Char*, int length) {
      static_cast<ExpatCounts*>(data)->textBytes += length;
    });
    if (XML_Parse(parser, feed.data(), static_cast<int>(feed.size()), 1) != XML_STATUS_OK)
      state.SkipWithError("expat failed");
    benchmark::DoNotOptimize(counts.elements);
    XML_ParserFree(parser);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(feed.size()));
}
#endif

#ifdef QUILLON_HAVE_LIBXML2
void ParseLibxml2(benchmark::State& state, int entries) {
  const std::string& feed = Feed(entries);
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(feed.data(), static_cast<int>(feed.size()), "feed.xml", nullptr,
                                  XML_PARSE_NONET | XML_PARSE_HUGE);
    if (!doc) state.SkipWithError("libxml2 failed");
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(feed.size()));
}
#endif

#ifdef QUILLON_HAVE_PUGIXML
void ParsePugixml(benchmark::State& state, int entries) {
  const std::string& feed = Feed(entries);
  for (auto _ : state) {
    pugi::xml_document doc;
    if (!doc.load_buffer(feed.data(), feed.size())) state.SkipWithError("pugixml failed");
    benchmark::DoNotOptimize(doc.first_child());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(feed.size()));
}
#endif

// The feed reader's walk: "/feed/[i]" for every child, and each entry's content captured.
void WalkFeed(benchmark::State& state) {
  const int entries = static_cast<int>(state.range(0));
  XmlParser parser;
  parser.PrepareForDocument();
  if (parser.Parse(Feed(entries)) != 0 || parser.SetXPath("/feed") != 0) {
    state.SkipWithError("parse failed");
    return;
  }
  const int children = parser.XChildrenCount();
  char path[40];
  for (auto _ : state) {
    size_t captured = 0;
    for (int i = 1; i <= children; ++i) {
      std::snprintf(path, sizeof path, "/feed/[%d]", i);
      if (parser.SetXPath(path) != 0) {
        state.SkipWithError("walk failed");
        break;
      }
      std::string_view contents;
      parser.XContents(&contents);
      captured += contents.size();
    }
    benchmark::DoNotOptimize(captured);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * children);
}

// Prints MB/s of every parse and its ratio to the engine's, per feed size, after the runs.
class RatioReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    // The median of the repetitions where there are any, else the last run.
    for (const Run& run : runs) {
      const auto found = run.counters.find("bytes_per_second");
      if (found == run.counters.end()) continue;
      const std::string& name = run.run_name.function_name;
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
        medians[name] = found->second.value / 1e6;
      else if (run.run_type == Run::RT_Iteration)
        speeds[name] = found->second.value / 1e6;
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const auto& [name, speed] : medians)
      speeds[name] = speed;
    for (const char* size : {"Large", "Small"}) {
      const auto ours = speeds.find(std::string("Parse/Quillon/") + size);
      if (ours == speeds.end()) continue;
      std::printf("\n%s feed: %.0f MB/s for the engine (tree and kept text)\n", size, ours->second);
      for (const char* other : {"Expat", "Libxml2", "Pugixml"}) {
        const auto theirs = speeds.find(std::string("Parse/") + other + "/" + size);
        if (theirs != speeds.end())
          std::printf("  %-8s %7.0f MB/s   engine / %s = %.2f\n", other, theirs->second, other,
                      ours->second / theirs->second);
      }
    }
    std::fflush(stdout);
  }

private:
  std::map<std::string, double> speeds;  // MB/s by benchmark name
  std::map<std::string, double> medians; // the same, median of the repetitions
};

void PrintParserSizes() {
  std::printf("sizeof(XmlParser) idle: %zu bytes\n", sizeof(XmlParser));
  std::string entry;
  AppendEntry(entry, 1);
  const std::string text = "<entry xmlns:m=\"urn:m\" xmlns:d=\"urn:d\">" + entry + "</entry>";
  const size_t before = mallinfo2().uordblks;
  auto* parser = new XmlParser;
  const size_t idle = mallinfo2().uordblks - before;
  parser->PrepareForDocument();
  parser->Parse(text);
  parser->SetXPath("/entry");
  const size_t parsed = mallinfo2().uordblks - before;
  std::printf("heap of one parser: %zu bytes idle, %zu bytes after parsing a %zu-byte entry\n",
              idle, parsed, text.size());
  delete parser;
}

} // namespace

// One parse benchmark, repeated and reported by its aggregates.
void RegisterParse(const char* parser, const std::string& size, void (*run)(benchmark::State&, int),
                   int entries) {
  benchmark::RegisterBenchmark((std::string("Parse/") + parser + "/" + size).c_str(),
                               [run, entries](benchmark::State& state) { run(state, entries); })
      ->Unit(benchmark::kMillisecond)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true);
}

int main(int argc, char** argv) {
  for (const auto& [size, entries] :
       {std::pair{"Large", kLargeEntries}, {"Small", kSmallEntries}}) {
    std::printf("%s feed: %d entries, %.1f MB\n", size, entries, Feed(entries).size() / 1e6);
    RegisterParse("Quillon", size, ParseQuillon, entries);
#ifdef QUILLON_HAVE_EXPAT
    RegisterParse("Expat", size, ParseExpat, entries);
#endif
#ifdef QUILLON_HAVE_LIBXML2
    RegisterParse("Libxml2", size, ParseLibxml2, entries);
#endif
#ifdef QUILLON_HAVE_PUGIXML
    RegisterParse("Pugixml", size, ParsePugixml, entries);
#endif
  }
  benchmark::RegisterBenchmark("WalkFeed", WalkFeed)
      ->Arg(1000)
      ->Arg(10000)
      ->Arg(50000)
      ->Unit(benchmark::kMillisecond);
  PrintParserSizes();
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
