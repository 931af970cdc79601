// The feed reader at scale: ReadFile of generated feeds of 10,000 and 50,000 entries followed by
// the walk that the JSON report and a host do (every entry by EntryIndex: its six texts, its
// links and every field of every property), against a bare expat parse with namespaces of the
// same file read in the same blocks. Printed around the runs: the size of an idle record, the
// peak memory of each step measured in a child process against the file size, the time per
// entry, each time against expat's, and the 50k/10k ratio of each against expat's own.
//   bench_FeedRead                               everything, about two minutes
//   bench_FeedRead --benchmark_filter=/10000     the small feed only
#include "FeedGenerator.h"
#include "MedianReporter.h"
#include "odata/QuillonCore.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <map>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

#ifdef QUILLON_HAVE_EXPAT
#include <expat.h>
#endif

namespace {

using quillon::EntryLink;
using quillon::EntryProperty;
using quillon::EntryRecord;
using quillon::QuillonCore;

constexpr int kSizes[] = {10000, 50000};

struct FeedFile {
  std::string path;
  long long size = 0;
};

const FeedFile& Feed(int entries) {
  static std::map<int, FeedFile> files;
  FeedFile& file = files[entries];
  if (file.path.empty()) {
    file.path =
        (std::filesystem::temp_directory_path() / ("quillon-bench-feed-" + std::to_string(entries) +
                                                   "-" + std::to_string(::getpid()) + ".xml"))
            .string();
    file.size = quillon::bench::WriteFeedFile(file.path, entries);
  }
  return file;
}

int ReadFile(QuillonCore& core, const std::string& path) {
  const char* result = "";
  const int rc = core.ConfigText(("ReadFile=" + path).c_str(), &result);
  return rc != 0 ? rc : std::atoi(result);
}

template <class T> void Touch(const T& value) {
  benchmark::DoNotOptimize(value);
}

// The walk of the JSON report, on the engine: every entry made current by its index, its texts,
// its navigation links and every field of every property. The count of properties.
long ReadEveryProperty(QuillonCore& core) {
  long properties = 0;
  for (int i = 0; i < core.entries.Count(); ++i) {
    if (core.SetEntryIndex(i) != 0) return -1;
    EntryRecord& entry = core.CurrentEntry();
    for (const char* path : {"/entry/id", "/entry/title", "/entry/summary", "/entry/updated"})
      Touch(entry.Value(path));
    Touch(entry.ETag());
    Touch(entry.Author(0));
    for (int l = 0, links = entry.LinkCount(); l < links; ++l) {
      const EntryLink* link = entry.Links()->At(l);
      Touch(link->title.Data());
      Touch(link->href.Data());
    }
    const int count = entry.PropertyCount();
    for (int p = 0; p < count; ++p) {
      const EntryProperty* property = entry.Properties()->At(p);
      Touch(property->name.Data());
      Touch(property->type.Data());
      Touch(property->value.Data());
      Touch(property->isNull);
      Touch(property->attributes.Data());
      Touch(core.PropertyXPath(p));
    }
    properties += count;
  }
  return properties;
}

void BM_ReadFileAndEveryProperty(benchmark::State& state) {
  const FeedFile& file = Feed(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto core = std::make_unique<QuillonCore>();
    if (ReadFile(*core, file.path) != 0 || core->entries.Count() != state.range(0))
      state.SkipWithError("the feed was not read");
    if (ReadEveryProperty(*core) != state.range(0) * quillon::bench::kPropertiesPerEntry)
      state.SkipWithError("a property is missing");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * file.size);
}

void BM_ReadFile(benchmark::State& state) {
  const FeedFile& file = Feed(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto core = std::make_unique<QuillonCore>();
    if (ReadFile(*core, file.path) != 0 || core->entries.Count() != state.range(0))
      state.SkipWithError("the feed was not read");
    benchmark::DoNotOptimize(core->entries.Count());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * file.size);
}

#ifdef QUILLON_HAVE_EXPAT
// The file through expat with namespaces in the blocks that ReadFile reads, counting elements.
void BM_ExpatParse(benchmark::State& state) {
  const FeedFile& file = Feed(static_cast<int>(state.range(0)));
  std::vector<char> block(16384);
  for (auto _ : state) {
    FILE* in = std::fopen(file.path.c_str(), "rb");
    XML_Parser parser = XML_ParserCreateNS(nullptr, '|');
    long elements = 0;
    XML_SetUserData(parser, &elements);
    XML_SetElementHandler(
        parser, [](void* data, const XML_Char*, const XML_Char**) { ++*static_cast<long*>(data); },
        [](void*, const XML_Char*) {});
    XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
    size_t got;
    bool ok = in != nullptr;
    while (ok && (got = std::fread(block.data(), 1, block.size(), in)) > 0)
      ok = XML_Parse(parser, block.data(), static_cast<int>(got), 0) == XML_STATUS_OK;
    if (!ok || XML_Parse(parser, block.data(), 0, 1) != XML_STATUS_OK)
      state.SkipWithError("expat failed");
    benchmark::DoNotOptimize(elements);
    XML_ParserFree(parser);
    if (in) std::fclose(in);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * file.size);
}
#endif

// kB of a line of /proc/self/status ("VmRSS", "VmHWM").
long long StatusKilobytes(const char* key) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind(key, 0) == 0) return std::atoll(line.c_str() + std::strlen(key) + 1);
  return -1;
}

struct Memory {
  long long baseline;   // kB resident before reading
  long long afterRead;  // kB peak resident once ReadFile is done
  long long afterPass;  // kB peak resident once every property was read
  size_t heapAfterRead; // bytes in use on the heap once ReadFile is done
  size_t heapAfterPass; // the same after the pass
  size_t keptText;      // the response parser's kept text
  size_t tree;          // the response parser's tree
  size_t ownText;       // the text that entries hold of their own (none while read in place)
};

// Runs the read and the pass in a child, so that each figure starts from a small process.
Memory Measure(const FeedFile& file) {
  Memory memory{};
  int fds[2];
  if (pipe(fds) != 0) return memory;
  const pid_t pid = fork();
  if (pid == 0) {
    Memory m{};
    m.baseline = StatusKilobytes("VmRSS:");
    const size_t heap = mallinfo2().uordblks;
    {
      auto core = std::make_unique<QuillonCore>();
      ReadFile(*core, file.path);
      m.afterRead = StatusKilobytes("VmHWM:");
      m.heapAfterRead = mallinfo2().uordblks - heap;
      m.keptText = core->parser.OriginalText().size();
      m.tree = core->parser.impl.tree.Bytes();
      for (int i = 0; i < core->entries.Count(); ++i)
        m.ownText += static_cast<size_t>(core->entries.At(i)->rawXml.Length() +
                                         core->entries.At(i)->namespaces.Length());
      ReadEveryProperty(*core);
      m.afterPass = StatusKilobytes("VmHWM:");
      m.heapAfterPass = mallinfo2().uordblks - heap;
    }
    if (write(fds[1], &m, sizeof m) != static_cast<ssize_t>(sizeof m)) _exit(1);
    _exit(0);
  }
  close(fds[1]);
  if (read(fds[0], &memory, sizeof memory) != static_cast<ssize_t>(sizeof memory))
    memory = Memory{};
  close(fds[0]);
  waitpid(pid, nullptr, 0);
  return memory;
}

void PrintMemory() {
  std::printf("sizeof(EntryRecord) %zu bytes (an entry read in place holds no text of its own),"
              " sizeof(XmlParser) %zu bytes\n",
              sizeof(EntryRecord), sizeof(quillon::XmlParser));
  for (int entries : kSizes) {
    const FeedFile& file = Feed(entries);
    const Memory m = Measure(file);
    const double mb = 1e6;
    const double size = static_cast<double>(file.size);
    std::printf("\n%d entries, file %.1f MB\n", entries, size / mb);
    std::printf("  ReadFile: peak resident %.1f MB = %.2f times the file (%.1f MB above the "
                "start = %.2f times); heap in use %.1f MB (kept text %.2f, tree %.2f, entries' "
                "own text %.2f times the file)\n",
                m.afterRead * 1024 / mb, m.afterRead * 1024 / size,
                (m.afterRead - m.baseline) * 1024 / mb, (m.afterRead - m.baseline) * 1024 / size,
                m.heapAfterRead / mb, m.keptText / size, m.tree / size, m.ownText / size);
    std::printf("  every property read: peak resident %.1f MB = %.2f times the file; heap in use "
                "%.1f MB\n",
                m.afterPass * 1024 / mb, m.afterPass * 1024 / size, m.heapAfterPass / mb);
  }
  std::printf("\n");
  std::fflush(stdout);
}

// Prints, from the median CPU times of the repetitions (which a machine shared with other work
// disturbs least), the time per entry of each benchmark, its ratio to expat's at the same size,
// and its 50k/10k ratio against expat's.
class ScalingReporter : public quillon::bench::MedianReporter {
public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    // Milliseconds to seconds.
    auto time = [&](const std::string& name, int size) {
      return Median(name + "/" + std::to_string(size)) / 1e3;
    };
    const double expatSmall = time("BM_ExpatParse", kSizes[0]);
    const double expatLarge = time("BM_ExpatParse", kSizes[1]);
    for (const char* name : {"BM_ReadFileAndEveryProperty", "BM_ReadFile", "BM_ExpatParse"}) {
      const double small = time(name, kSizes[0]);
      const double large = time(name, kSizes[1]);
      if (small == 0 || large == 0) continue;
      std::printf("%s: %.2f us per entry at %d, %.2f us at %d; %d takes %.2f times %d", name,
                  small * 1e6 / kSizes[0], kSizes[0], large * 1e6 / kSizes[1], kSizes[1], kSizes[1],
                  large / small, kSizes[0]);
      if (expatSmall > 0 && expatLarge > 0)
        std::printf("; %.2f and %.2f times expat, scaling %.2f times expat's", small / expatSmall,
                    large / expatLarge, (large / small) / (expatLarge / expatSmall));
      std::printf("\n");
    }
    std::fflush(stdout);
  }
};

} // namespace

#ifdef QUILLON_HAVE_EXPAT
BENCHMARK(BM_ExpatParse)
    ->Arg(kSizes[0])
    ->Arg(kSizes[1])
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
#endif
BENCHMARK(BM_ReadFileAndEveryProperty)
    ->Arg(kSizes[0])
    ->Arg(kSizes[1])
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ReadFile)
    ->Arg(kSizes[0])
    ->Arg(kSizes[1])
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
  // A fixed threshold: with glibc's moving one, the large blocks of a 10k feed come warm from the
  // heap after the first run while those of a 50k feed are always mapped anew, and the ratio
  // would measure the allocator instead of the reader.
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
  PrintMemory();
  benchmark::Initialize(&argc, argv);
  ScalingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  for (int entries : kSizes)
    std::remove(Feed(entries).path.c_str());
  return 0;
}
