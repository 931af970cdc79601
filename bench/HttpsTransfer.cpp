// HTTPS through the HTTP link against curl on the same nginx (the peer kit's launcher, with the
// kit's certificates, in a temporary folder), in one run. Each line ends in its ratio (curl's
// time / ours: 1 is curl's speed, higher is faster):
//
//   get64   GET of 64 MiB over TLS, LocalFile /dev/null as curl's -o: throughput (goal >= 0.80)
//   conn    200 new TLS connections with one small GET each: rate against curl's (goal >= 0.80)
//
//   bench_HttpsTransfer [get64|conn]      both, or the one named
#include "TransferTiming.h"
#include "http/HttpClient.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using quillon::bench::Clock;
using quillon::bench::Median;
using quillon::bench::Seconds;
using quillon::bench::TimeCommand;

constexpr long kBigBytes = 64L << 20;
constexpr int kConnections = 200;
constexpr int kRuns = 3;

// nginx of the peer kit with a 64 MiB file and a small one in its document root.
struct Server {
  fs::path dir = fs::temp_directory_path() / ("quillon-bench-https-" + std::to_string(::getpid()));
  std::string url, caFile;

  Server() {
    const std::string launcher = std::string(QUILLON_SOURCE_DIR) + "/tests/peers/nginx.sh";
    const std::string start = "QUILLON_CERTS=" + (dir / "certs").string() + " " + launcher +
                              " start " + (dir / "nginx").string() + " >/dev/null";
    if (std::system(start.c_str()) != 0) return;
    std::string root;
    std::ifstream env(dir / "nginx" / "peer.env");
    for (std::string line; std::getline(env, line);) {
      if (line.rfind("HTTPS_URL=", 0) == 0) url = line.substr(10);
      if (line.rfind("CA_FILE=", 0) == 0) caFile = line.substr(8);
      if (line.rfind("DOC_ROOT=", 0) == 0) root = line.substr(9);
    }
    quillon::bench::WritePatternFile((fs::path(root) / "big.bin").string(), kBigBytes >> 20);
    std::ofstream(fs::path(root) / "small.txt") << std::string(100, 's');
  }
  ~Server() {
    std::system((std::string(QUILLON_SOURCE_DIR) + "/tests/peers/nginx.sh stop " +
                 (dir / "nginx").string() + " >/dev/null 2>&1")
                    .c_str());
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
};

void Prepare(quillon::HttpClient& client) {
  client.SetTimeout(60, true);
  client.KeepAlive = 0;
  client.reuseSSLSession = true;
  client.DefaultScheme.Assign("https"); // as the component sets it
}

void Report(const char* name, const char* what, double ours, double theirs) {
  std::printf("%-5s %-46s ours %8.4f s  curl %8.4f s  ratio %5.2f  (goal >= 0.80)\n", name, what,
              ours, theirs, theirs / ours);
}

void BenchBig(const Server& server) {
  std::vector<double> curl, ours;
  for (int run = 0; run < kRuns; ++run) {
    curl.push_back(TimeCommand("curl -s --cacert " + server.caFile + " -o /dev/null " + server.url +
                               "/big.bin"));
    quillon::HttpClient client;
    Prepare(client);
    client.LocalFile.narrow.Assign("/dev/null"); // where curl writes it too
    const auto start = Clock::now();
    client.SetURL((server.url + "/big.bin").c_str(), 0);
    const bool good = client.RunAction(quillon::actGet) == 0;
    const double seconds = Seconds(start);
    ours.push_back(good && client.BytesTransferred == kBigBytes ? seconds : -1);
  }
  Report("get64", "64 MiB over TLS to /dev/null, throughput", Median(ours), Median(curl));
}

void BenchConnections(const Server& server) {
  const std::string url = server.url + "/small.txt";
  std::string command = "curl -s --cacert " + server.caFile + " -H 'Connection: close'";
  for (int i = 0; i < kConnections; ++i)
    command += " " + url;
  command += " >/dev/null";
  std::vector<double> curl, ours;
  for (int run = 0; run < kRuns; ++run) {
    curl.push_back(TimeCommand(command));
    quillon::HttpClient client;
    Prepare(client);
    const auto start = Clock::now();
    bool good = true;
    for (int i = 0; i < kConnections && good; ++i) {
      client.SetURL(url.c_str(), 0);
      good = client.RunAction(quillon::actGet) == 0 && client.TransferredData.Length() == 100;
    }
    ours.push_back(good ? Seconds(start) : -1);
  }
  Report("conn", "200 new TLS connections, one GET each, rate", Median(ours), Median(curl));
}

} // namespace

int main(int argc, char** argv) {
  const std::string only = argc > 1 ? argv[1] : "";
  Server server;
  if (server.url.empty()) {
    std::fprintf(stderr, "bench_HttpsTransfer: nginx did not start (see %s)\n", server.dir.c_str());
    return 1;
  }
  // The kit's CA signs nginx's certificate; the channel trusts it the way curl does.
  ::setenv("SSL_CERT_FILE", server.caFile.c_str(), 1);
  if (only.empty() || only == "get64") BenchBig(server);
  if (only.empty() || only == "conn") BenchConnections(server);
  return 0;
}
