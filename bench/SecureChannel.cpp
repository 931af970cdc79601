// The secure channel against curl on the same server (openssl s_server -WWW on 127.0.0.1, started
// by the peer kit's launcher with the kit's certificates): a GET of 64 MiB through the channel,
// and 200 new TLS connections with one small GET each. Each run times both in turn and reports
// ours, curl's, and the ratio (ours / curl; 1 is curl's speed, higher is faster).
//   bench_SecureChannel
//   bench_SecureChannel --benchmark_filter=Throughput
#include "net/TransferPort.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr long long kBigSize = 64ll << 20;
constexpr int kConnections = 200;

// One s_server for the whole run, serving a 64 MiB file and a small one.
struct Server {
  std::string dir;
  int port = 0;
  Server() {
    dir = "/tmp/quillon-bench-tls-" + std::to_string(::getpid());
    std::system(("mkdir -p " + dir + "/server").c_str());
    {
      std::ofstream big(dir + "/server/big.bin", std::ios::binary);
      std::string block(1 << 20, 'x');
      for (long long i = 0; i < kBigSize >> 20; ++i)
        big << block;
      std::ofstream(dir + "/server/small.txt") << "small body\n";
    }
    const std::string command = "cd " + dir + "/server && QUILLON_CERTS=" + dir + "/certs " +
                                QUILLON_SOURCE_DIR + "/tests/peers/sslserver.sh start " + dir +
                                "/server -WWW >/dev/null";
    if (std::system(command.c_str()) != 0) return;
    std::ifstream env(dir + "/server/peer.env");
    for (std::string line; std::getline(env, line);)
      if (line.rfind("PORT=", 0) == 0) port = std::atoi(line.c_str() + 5);
  }
  ~Server() {
    std::system((std::string(QUILLON_SOURCE_DIR) + "/tests/peers/sslserver.sh stop " + dir +
                 "/server >/dev/null 2>&1; rm -rf " + dir)
                    .c_str());
  }
  std::string Url(const char* path) const {
    return "https://127.0.0.1:" + std::to_string(port) + path;
  }
};

const Server& TheServer() {
  static Server server;
  return server;
}

class CountingPort : public quillon::TransferPort {
public:
  CountingPort() {
    SetSecureEnabled(true);
    serverName.Assign("localhost");
    sslSecurityFlags = 0x80000010; // the kit's CA is not in the system store
    timeoutInMilliseconds = 1;
    SetTimeout(60000, true);
  }
  int OnDataEvent(char*, int length, bool) override {
    received += length;
    return 0;
  }
  bool SSLServerAuthenticationEvent(const char*, int, const char*, const char*, const char*,
                                    bool) override {
    return true;
  }
  // One GET over a new connection; the bytes received, or -1.
  long long Get(int port, const char* path) {
    received = 0;
    if (SetRemoteHost("127.0.0.1") != 0 || SetRemotePort(port) != 0 || ConnectAndWait() != 0)
      return -1;
    const std::string request = std::string("GET ") + path + " HTTP/1.0\r\n\r\n";
    if (SendAll(request.data(), static_cast<int>(request.size()), false, false) != 0) return -1;
    ArmDeadline();
    while (socketHandle != quillon::platform::kInvalidSocket)
      if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) return -1;
    return received;
  }
  long long received = 0;
};

double Seconds(const std::chrono::steady_clock::time_point& start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double CurlSeconds(const std::string& arguments) {
  const auto start = std::chrono::steady_clock::now();
  if (std::system(("curl -sk " + arguments + " >/dev/null").c_str()) != 0) return -1;
  return Seconds(start);
}

void Throughput(benchmark::State& state) {
  const Server& server = TheServer();
  if (server.port == 0) {
    state.SkipWithError("s_server did not start");
    return;
  }
  double ours = 0, curl = 0;
  for (auto _ : state) {
    CountingPort port;
    const auto start = std::chrono::steady_clock::now();
    const long long bytes = port.Get(server.port, "/big.bin");
    ours += Seconds(start);
    if (bytes < kBigSize) {
      state.SkipWithError("short body");
      return;
    }
    curl += CurlSeconds(server.Url("/big.bin"));
  }
  const double mb = static_cast<double>(kBigSize) / (1 << 20) * state.iterations();
  state.counters["ours_MiBps"] = mb / ours;
  state.counters["curl_MiBps"] = mb / curl;
  state.counters["ratio"] = curl / ours;
}
BENCHMARK(Throughput)->Unit(benchmark::kMillisecond)->Iterations(3);

void NewConnections(benchmark::State& state) {
  const Server& server = TheServer();
  if (server.port == 0) {
    state.SkipWithError("s_server did not start");
    return;
  }
  std::string urls;
  for (int i = 0; i < kConnections; ++i)
    urls += " " + server.Url("/small.txt");
  double ours = 0, curl = 0;
  for (auto _ : state) {
    CountingPort port;
    port.reuseSSLSession = true;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kConnections; ++i)
      if (port.Get(server.port, "/small.txt") <= 0) {
        state.SkipWithError("GET failed");
        return;
      }
    ours += Seconds(start);
    curl += CurlSeconds("-H 'Connection: close'" + urls);
  }
  const double count = static_cast<double>(kConnections) * state.iterations();
  state.counters["ours_per_s"] = count / ours;
  state.counters["curl_per_s"] = count / curl;
  state.counters["ratio"] = curl / ours;
}
BENCHMARK(NewConnections)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace

BENCHMARK_MAIN();
