// The HTTP link against curl on the same nginx, in one run. nginx is started on a free loopback
// port in a temporary folder, serving generated files; each measurement is the median of a few
// runs, and every line ends in the ratio that the README's benchmark section explains:
//
//   get64   GET of 64 MiB to LocalFile and kept in TransferredData: throughput / curl's, and the
//           peak memory of a child process that does only that GET (against 16 MiB and 3x body)
//   small   2,000 small GETs on one kept connection: request rate / curl's (URLs on one line)
//   put     500 PUTs of 1 KB on one kept connection: median, p99 and the slowest request against
//           10 ms, ours and curl's (its -T uploads on one command line, timed by its -w,
//           without Expect), taking turns by 50
//   query   QueryService of a 10,000-entry feed and reading every property: time / ReadFile's
//
//   bench_HttpTransfer            everything, under a minute
//   bench_HttpTransfer put query  the parts named
#include "FeedGenerator.h"
#include "TransferTiming.h"
#include "http/HttpClient.h"
#include "odata/QuillonCore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <netinet/in.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using quillon::HttpClient;
using quillon::QuillonCore;
using quillon::bench::Clock;
using quillon::bench::Median;
using quillon::bench::Seconds;
using quillon::bench::TimeCommand;

constexpr long kBigBytes = 64L << 20;
constexpr int kSmallGets = 2000;
constexpr int kPuts = 500;
constexpr int kFeedEntries = 10000;
constexpr int kRuns = 3;

int FreePort() {
  const int s = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ::bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address);
  ::getsockname(s, reinterpret_cast<sockaddr*>(&address), &size);
  ::close(s);
  return ntohs(address.sin_port);
}

// nginx over a temporary folder; stopped by the destructor.
struct Nginx {
  fs::path dir;
  int port = 0;
  std::string url;
  bool running = false;

  Nginx() {
    dir = fs::temp_directory_path() / ("quillon-bench-http-" + std::to_string(::getpid()));
    fs::create_directories(dir / "www" / "put");
    // The workers may run as another user; they write the PUT files and request bodies.
    fs::create_directories(dir / "body");
    for (const fs::path& writable : {dir / "www" / "put", dir / "body"})
      fs::permissions(writable, fs::perms::all);
    port = FreePort();
    url = "http://127.0.0.1:" + std::to_string(port);
    std::ofstream(dir / "nginx.conf")
        << "worker_processes 1; daemon on; pid " << (dir / "nginx.pid").string() << "; error_log "
        << (dir / "error.log").string() << ";\n"
        << "events { worker_connections 64; }\n"
        << "http { access_log off; keepalive_requests 100000; sendfile on;\n"
        << "  client_body_temp_path " << (dir / "body").string() << ";\n"
        << "  server { listen 127.0.0.1:" << port << "; root " << (dir / "www").string() << ";\n"
        << "    location /put/ { dav_methods PUT; } } }\n";
    quillon::bench::WritePatternFile((dir / "www" / "big.bin").string(), kBigBytes >> 20);
    std::ofstream(dir / "www" / "small.txt") << std::string(100, 's');
    quillon::bench::WriteFeedFile((dir / "www" / "feed.xml").string(), kFeedEntries);
    const std::string command = "nginx -p " + dir.string() + " -c " +
                                (dir / "nginx.conf").string() + " 2>" +
                                (dir / "start.log").string();
    running = std::system(command.c_str()) == 0;
    ::usleep(200000);
  }
  ~Nginx() {
    if (running)
      std::system(("kill $(cat " + (dir / "nginx.pid").string() + ") 2>/dev/null").c_str());
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
};

// Runs `work` in a child process; the child's seconds and its peak memory in KiB.
std::pair<double, long> InChild(const std::function<double()>& work) {
  int channel[2];
  if (::pipe(channel) != 0) return {-1, 0};
  const pid_t child = ::fork();
  if (child == 0) {
    const double seconds = work();
    ::write(channel[1], &seconds, sizeof seconds);
    ::_exit(0);
  }
  double seconds = -1;
  ::read(channel[0], &seconds, sizeof seconds);
  ::close(channel[0]);
  ::close(channel[1]);
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  return {seconds, usage.ru_maxrss};
}

void Prepare(HttpClient& client, bool keep) {
  client.SetTimeout(60, true);
  client.KeepAlive = keep ? 1 : 0;
}

double GetBig(const Nginx& server, const std::string& localFile) {
  HttpClient client;
  Prepare(client, false);
  client.LocalFile.narrow.Assign(localFile.c_str());
  const auto start = Clock::now();
  client.SetURL((server.url + "/big.bin").c_str(), 0);
  const int rc = client.RunAction(quillon::actGet);
  const double seconds = Seconds(start);
  const long got = localFile.empty() ? client.TransferredData.Length()
                                     : static_cast<long>(fs::file_size(localFile));
  return rc == 0 && got == kBigBytes ? seconds : -1;
}

void Report(const char* name, const char* what, double ours, double theirs, double ratio,
            const char* goal) {
  std::printf("%-7s %-44s ours %9.4f  curl %9.4f  ratio %5.2f  (goal %s)\n", name, what, ours,
              theirs, ratio, goal);
}

void BenchBig(const Nginx& server) {
  const std::string file = (server.dir / "big.out").string();
  std::vector<double> curl, toFile, kept;
  long fileMemory = 0, keptMemory = 0;
  for (int run = 0; run < kRuns; ++run) {
    curl.push_back(TimeCommand("curl -s -o /dev/null " + server.url + "/big.bin"));
    auto [seconds, memory] = InChild([&] { return GetBig(server, file); });
    toFile.push_back(seconds);
    fileMemory = std::max(fileMemory, memory);
    std::tie(seconds, memory) = InChild([&] { return GetBig(server, ""); });
    kept.push_back(seconds);
    keptMemory = std::max(keptMemory, memory);
  }
  const double c = Median(curl);
  Report("get64", "64 MiB to LocalFile, throughput vs curl", Median(toFile), c, c / Median(toFile),
         ">= 0.90");
  Report("get64", "64 MiB kept in TransferredData, vs curl", Median(kept), c, c / Median(kept),
         ">= 0.90");
  std::printf("get64   peak memory: LocalFile %.1f MiB (goal < 16), kept %.2f x body (goal < 3)\n",
              fileMemory / 1024.0, keptMemory * 1024.0 / kBigBytes);
}

void BenchSmall(const Nginx& server) {
  const std::string url = server.url + "/small.txt";
  std::string command = "curl -s";
  for (int i = 0; i < kSmallGets; ++i)
    command += " " + url;
  command += " >/dev/null";
  std::vector<double> curl, ours;
  for (int run = 0; run < kRuns; ++run) {
    curl.push_back(TimeCommand(command));
    HttpClient client;
    Prepare(client, true);
    const auto start = Clock::now();
    bool good = true;
    for (int i = 0; i < kSmallGets && good; ++i) {
      client.SetURL(url.c_str(), 0);
      good = client.RunAction(quillon::actGet) == 0 && client.TransferredData.Length() == 100;
    }
    ours.push_back(good ? Seconds(start) : -1);
  }
  const double c = Median(curl), o = Median(ours);
  Report("small", "2000 GETs on one kept connection, rate", o, c, c / o, ">= 0.80");
}

// Milliseconds of each of `count` PUTs that curl makes on one kept connection, by its own timing,
// appended to `each`. False when curl failed.
bool CurlPuts(const Nginx& server, int count, std::vector<double>& each) {
  const std::string body = (server.dir / "put.body").string();
  const std::string times = (server.dir / "put.times").string();
  std::ofstream(body, std::ios::binary) << std::string(1024, 'p');
  // Without "Expect: 100-continue", which curl sends for any upload and which costs a round trip
  // that ours does not make.
  std::string command = "curl -s -H Expect: -w '%{time_total}\\n'";
  for (int i = 0; i < count; ++i)
    command += " -T " + body + " -o /dev/null " + server.url + "/put/c" + std::to_string(i % 10);
  if (std::system((command + " >" + times).c_str()) != 0) return false;
  std::ifstream in(times);
  for (double seconds = 0; in >> seconds;)
    each.push_back(seconds * 1000);
  return true;
}

void ReportPuts(const char* who, std::vector<double> each) {
  if (each.size() != kPuts) {
    std::printf("put     %s: %zu of %d PUTs timed\n", who, each.size(), kPuts);
    return;
  }
  const auto over = std::count_if(each.begin(), each.end(), [](double ms) { return ms > 10; });
  std::sort(each.begin(), each.end());
  std::printf("put     %-5s 500 PUTs of 1 KB, kept connection: median %.3f ms, p99 %.3f ms, "
              "slowest %.3f ms, %ld over 10 ms  ratio %.2f (slowest / 10 ms, goal <= 1)\n",
              who, each[each.size() / 2], each[each.size() * 99 / 100], each.back(),
              static_cast<long>(over), each.back() / 10.0);
}

// Ours and curl's take turns by batches, so that a busy spell of the machine falls on both.
void BenchPut(const Nginx& server) {
  constexpr int kBatch = 50;
  HttpClient client;
  Prepare(client, true);
  client.PostData.Assign(std::string(1024, 'p'));
  std::vector<double> ours, curl;
  for (int i = 0; i < kPuts; ++i) {
    const std::string url = server.url + "/put/f" + std::to_string(i % 10);
    const auto start = Clock::now();
    client.SetURL(url.c_str(), 0);
    const int rc = client.RunAction(quillon::actPut);
    if (rc != 0) {
      std::printf("put     PUT %d failed: %d %s\n", i, rc, client.lastError.Data());
      return;
    }
    ours.push_back(Seconds(start) * 1000);
    if ((i + 1) % kBatch == 0 && !CurlPuts(server, kBatch, curl))
      std::printf("put     curl failed\n");
  }
  ReportPuts("ours", ours);
  ReportPuts("curl", curl);
}

// Every property of every entry, read as a host reads them.
long ReadEveryProperty(QuillonCore& core) {
  long properties = 0;
  for (int i = 0; i < core.entries.Count(); ++i) {
    core.SetEntryIndex(i);
    quillon::EntryRecord& entry = core.CurrentEntry();
    for (int p = 0; p < entry.PropertyCount(); ++p)
      properties += entry.Properties()->At(p)->value.Length() >= 0;
  }
  return properties;
}

void BenchQuery(const Nginx& server) {
  std::vector<double> query, read;
  for (int run = 0; run < kRuns; ++run) {
    {
      QuillonCore core;
      core.SetTimeout(60, true);
      const auto start = Clock::now();
      core.ServiceRootURI.Assign(server.url.c_str());
      core.ResourcePath.Assign("feed.xml");
      const bool good = core.QueryService() == 0 && ReadEveryProperty(core) > 0;
      query.push_back(good ? Seconds(start) : -1);
    }
    {
      QuillonCore core;
      const auto start = Clock::now();
      const char* result = "";
      core.ConfigText(("ReadFile=" + (server.dir / "www" / "feed.xml").string()).c_str(), &result);
      ReadEveryProperty(core);
      read.push_back(Seconds(start));
    }
  }
  const double q = Median(query), r = Median(read);
  std::printf("query   QueryService of 10,000 entries + every property: ours %.4f s, ReadFile "
              "%.4f s  ratio %.2f  (goal <= 1.30)\n",
              q, r, q / r);
}

} // namespace

// Without arguments every part runs; otherwise the parts named (get64, small, put, query).
int main(int argc, char** argv) {
  Nginx server;
  if (!server.running) {
    std::fprintf(stderr, "bench_HttpTransfer: nginx did not start (see %s)\n",
                 (server.dir / "start.log").c_str());
    return 1;
  }
  const std::pair<const char*, void (*)(const Nginx&)> parts[] = {
      {"get64", BenchBig}, {"small", BenchSmall}, {"put", BenchPut}, {"query", BenchQuery}};
  for (const auto& [name, run] : parts)
    if (argc < 2 || std::find_if(argv + 1, argv + argc, [&](const char* arg) {
                      return std::string_view(arg) == name;
                    }) != argv + argc)
      run(server);
  return 0;
}
