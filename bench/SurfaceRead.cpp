// The cost of the control surface: a generated feed of 10,000 entries read with ReadFile, then
// every property of every entry (the entry's fields, its links and each property's name, type,
// value, null flag, attributes and path) read three ways: on the engine directly, through the
// typed members of Quillon, and through GetProperty by name. The ...Pass runs read an object
// whose entries were read before, so they show the border alone. Printed after the runs: the
// typed and by-name times against the engine's (goal 1.5 or less) and by name against typed
// (goal 1.2 or less).
//   bench_SurfaceRead
#include "FeedGenerator.h"
#include "MedianReporter.h"
#include "odata/QuillonCore.h"

#include <quillon/Quillon.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

using quillon::EntryLink;
using quillon::EntryProperty;
using quillon::EntryRecord;
using quillon::Quillon;
using quillon::QuillonCore;

constexpr int kEntries = 10000;

const std::string& FeedPath() {
  static const std::string path = [] {
    std::string file = (std::filesystem::temp_directory_path() /
                        ("quillon-bench-surface-" + std::to_string(::getpid()) + ".xml"))
                           .string();
    quillon::bench::WriteFeedFile(file, kEntries);
    return file;
  }();
  return path;
}

// Every read gives the host a text of its own, as the surface does.
struct Sink {
  std::string text;
  long reads = 0;
  void Take(const char* value) { Take(std::string_view(value ? value : "")); }
  void Take(std::string_view value) {
    text.assign(value.data(), value.size());
    benchmark::DoNotOptimize(text.data());
    ++reads;
  }
};

long EngineRead(QuillonCore& core, Sink& sink) {
  for (int i = 0; i < static_cast<int>(core.entries.Count()); ++i) {
    core.SetEntryIndex(i);
    EntryRecord& entry = core.CurrentEntry();
    for (std::string_view path : {"/entry/id", "/entry/title", "/entry/summary", "/entry/updated"})
      sink.Take(entry.Value(path));
    sink.Take(entry.ETag());
    sink.Take(entry.Author(core.nameAndEmailFormat));
    for (int l = 0; l < entry.LinkCount(); ++l) {
      const EntryLink* link = entry.Links()->At(l);
      sink.Take(link->title.View());
      sink.Take(link->href.View());
    }
    for (int p = 0; p < entry.PropertyCount(); ++p) {
      const EntryProperty* property = entry.Properties()->At(p);
      sink.Take(property->name.View());
      sink.Take(property->type.View());
      sink.Take(property->value.View());
      sink.Take(property->isNull ? "-1" : "0");
      sink.Take(property->attributes.View());
      sink.Take(core.PropertyXPath(p));
    }
  }
  return sink.reads;
}

long TypedRead(Quillon& q, Sink& sink) {
  for (int i = 0; i < q.EntryCount(); ++i) {
    q.SetEntryIndex(i);
    sink.Take(q.EntryId());
    sink.Take(q.EntryTitle());
    sink.Take(q.EntrySummary());
    sink.Take(q.EntryUpdated());
    sink.Take(q.EntryETag());
    sink.Take(q.EntryAuthor());
    for (int l = 0; l < q.EntryLinksCount(); ++l) {
      sink.Take(q.EntryLinksTitle(l));
      sink.Take(q.EntryLinksResourcePath(l));
    }
    for (int p = 0; p < q.EntryPropertiesCount(); ++p) {
      sink.Take(q.EntryPropertiesName(p));
      sink.Take(q.EntryPropertiesType(p));
      sink.Take(q.EntryPropertiesValue(p));
      sink.Take(q.EntryPropertiesIsNull(p) ? "-1" : "0");
      sink.Take(q.EntryPropertiesAttributes(p));
      sink.Take(q.EntryPropertiesXPath(p));
    }
  }
  return sink.reads;
}

int Count(Quillon& q, const char* name) {
  std::string text;
  q.GetProperty(name, text);
  return std::atoi(text.c_str());
}

long ByNameRead(Quillon& q, Sink& sink) {
  std::string& text = sink.text;
  auto take = [&](const char* name, int index = -1) {
    q.GetProperty(name, index, text);
    benchmark::DoNotOptimize(text.data());
    ++sink.reads;
  };
  for (int i = 0, n = Count(q, "EntryCount"); i < n; ++i) {
    q.SetProperty("EntryIndex", std::to_string(i));
    for (const char* name :
         {"EntryId", "EntryTitle", "EntrySummary", "EntryUpdated", "EntryETag", "EntryAuthor"})
      take(name);
    for (int l = 0, links = Count(q, "EntryLinksCount"); l < links; ++l) {
      take("EntryLinksTitle", l);
      take("EntryLinksResourcePath", l);
    }
    for (int p = 0, properties = Count(q, "EntryPropertiesCount"); p < properties; ++p)
      for (const char* name :
           {"EntryPropertiesName", "EntryPropertiesType", "EntryPropertiesValue",
            "EntryPropertiesIsNull", "EntryPropertiesAttributes", "EntryPropertiesXPath"})
        take(name, p);
  }
  return sink.reads;
}

template <class Object> bool ReadFile(Object& object) {
  std::string result;
  if constexpr (std::is_same_v<Object, QuillonCore>) {
    const char* answer = "";
    if (object.ConfigText(("ReadFile=" + FeedPath()).c_str(), &answer) != 0) return false;
    result = answer;
  } else if (object.Config("ReadFile=" + FeedPath(), &result) != 0) {
    return false;
  }
  return result == "0";
}

// The reads of a whole pass, as the engine counts them; each way must make as many.
long ExpectedReads() {
  static const long reads = [] {
    QuillonCore core;
    Sink sink;
    return ReadFile(core) ? EngineRead(core, sink) : -1;
  }();
  return reads;
}

template <class Object, long (*Read)(Object&, Sink&)> void ReadWhole(benchmark::State& state) {
  for (auto _ : state) {
    auto object = std::make_unique<Object>();
    Sink sink;
    if (!ReadFile(*object) || Read(*object, sink) != ExpectedReads())
      state.SkipWithError("the feed was not read whole");
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}

template <class Object, long (*Read)(Object&, Sink&)> void ReadPass(benchmark::State& state) {
  auto object = std::make_unique<Object>();
  Sink sink;
  if (!ReadFile(*object) || Read(*object, sink) != ExpectedReads()) {
    state.SkipWithError("the feed was not read whole");
    return;
  }
  for (auto _ : state) {
    sink.reads = 0;
    Read(*object, sink);
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}

void BM_Engine(benchmark::State& state) {
  ReadWhole<QuillonCore, EngineRead>(state);
}
void BM_Typed(benchmark::State& state) {
  ReadWhole<Quillon, TypedRead>(state);
}
void BM_ByName(benchmark::State& state) {
  ReadWhole<Quillon, ByNameRead>(state);
}
void BM_EnginePass(benchmark::State& state) {
  ReadPass<QuillonCore, EngineRead>(state);
}
void BM_TypedPass(benchmark::State& state) {
  ReadPass<Quillon, TypedRead>(state);
}
void BM_ByNamePass(benchmark::State& state) {
  ReadPass<Quillon, ByNameRead>(state);
}

// The ratios of the medians of the CPU times, which other work on the machine disturbs least,
// printed after the runs.
class RatioReporter : public quillon::bench::MedianReporter {
public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const char* pass : {"", "Pass"}) {
      const double engine = Median(std::string("BM_Engine") + pass);
      const double typed = Median(std::string("BM_Typed") + pass);
      const double byName = Median(std::string("BM_ByName") + pass);
      if (engine <= 0 || typed <= 0 || byName <= 0) continue;
      std::printf("%s: typed members %.2f times the engine (goal <= 1.5), by name %.2f times the "
                  "engine (goal <= 1.5), by name %.2f times typed (goal <= 1.2)\n",
                  *pass ? "every property again, entries read before"
                        : "ReadFile and every property",
                  typed / engine, byName / engine, byName / typed);
    }
    std::fflush(stdout);
  }
};

} // namespace

BENCHMARK(BM_Engine)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Typed)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_ByName)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_EnginePass)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_TypedPass)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_ByNamePass)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  std::remove(FeedPath().c_str());
  return 0;
}
