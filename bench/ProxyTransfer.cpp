// A 64 MiB GET from nginx through a SOCKS 5 tunnel (dante) and through a CONNECT tunnel (squid),
// by the port with a raw request and by curl through the same peer in the same run; a direct GET
// of both is the baseline. The peers are started from tests/peers/ into a temporary folder.
// After the run the throughput of the port is printed as a ratio of curl's.
#include "net/TransferPort.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

namespace {

using namespace quillon;

constexpr int64_t kBodyBytes = 64LL << 20;

std::string peersHome;                       // tests/peers of the source tree
std::string stateDir;                        // where the peers keep their state for this run
std::map<std::string, double> secondsPerGet; // by benchmark name

std::string PeerValue(const std::string& peer, const std::string& key) {
  std::ifstream in(stateDir + "/" + peer + "/peer.env");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind(key + "=", 0) == 0) return line.substr(key.size() + 1);
  return "";
}

bool StartPeer(const std::string& peer, const std::string& options = "") {
  const std::string command =
      peersHome + "/" + peer + ".sh start " + stateDir + "/" + peer + " " + options + " >/dev/null";
  return std::system(command.c_str()) == 0;
}

void StopPeer(const std::string& peer) {
  std::system((peersHome + "/" + peer + ".sh stop " + stateDir + "/" + peer).c_str());
}

// Counts what arrives and ends when the server closes.
class CountingPort : public TransferPort {
public:
  int OnDataEvent(char*, int length, bool) override {
    received += length;
    return 0;
  }
  int64_t received = 0;
};

// One GET through the port; the bytes received (headers and body), or -1 on failure.
int64_t PortGet(int firewallType, const std::string& peer) {
  CountingPort port;
  port.ConfigText("MaxLineLength=65536", nullptr);
  port.ConfigText("TimeoutInMilliseconds=True", nullptr);
  port.SetTimeout(60000, true);
  if (firewallType != 0) {
    port.tunnel.SetFirewallType(firewallType);
    port.tunnel.SetFirewallHost("127.0.0.1");
    port.tunnel.firewallPort = std::stoi(PeerValue(peer, "PORT"));
  }
  port.SetRemoteHost("127.0.0.1");
  port.SetRemotePort(std::stoi(PeerValue("nginx", "PORT")));
  if (port.ConnectAndWait() != 0) return -1;
  const std::string request = "GET /big.bin HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
  if (port.SendAll(request.data(), static_cast<int>(request.size()), false, false) != 0) return -1;
  port.ArmDeadline();
  while (port.socketHandle != platform::kInvalidSocket)
    if (!port.WaitStep(static_cast<uint32_t>(port.selectWaitMillis), port.windowHandle)) return -1;
  return port.received;
}

void BM_PortGet(benchmark::State& state, const char* path, int firewallType, const char* peer) {
  double total = 0;
  for (auto _ : state) {
    const auto started = std::chrono::steady_clock::now();
    const int64_t got = PortGet(firewallType, peer);
    total += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (got < kBodyBytes) state.SkipWithError("the GET through the port failed");
  }
  state.SetBytesProcessed(state.iterations() * kBodyBytes);
  secondsPerGet[std::string("port/") + path] = total / static_cast<double>(state.iterations());
}

void BM_CurlGet(benchmark::State& state, const char* path, const char* proxyOption) {
  const std::string url = PeerValue("nginx", "URL") + "/big.bin";
  std::string option = proxyOption;
  if (option == "socks5") option = "--socks5 127.0.0.1:" + PeerValue("dante", "PORT");
  if (option == "connect") option = "-p -x http://127.0.0.1:" + PeerValue("squid", "PORT");
  const std::string command = "curl -sS -o /dev/null " + option + " " + url;
  double total = 0;
  for (auto _ : state) {
    const auto started = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0) state.SkipWithError("curl failed");
    total += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  }
  state.SetBytesProcessed(state.iterations() * kBodyBytes);
  secondsPerGet[std::string("curl/") + path] = total / static_cast<double>(state.iterations());
}

BENCHMARK_CAPTURE(BM_PortGet, Direct, "Direct", 0, "")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_CurlGet, Direct, "Direct", "")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_PortGet, Socks5, "Socks5", 3, "dante")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_CurlGet, Socks5, "Socks5", "socks5")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_PortGet, Connect, "Connect", 1, "squid")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_CurlGet, Connect, "Connect", "connect")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char** argv) {
  peersHome = std::string(QUILLON_SOURCE_DIR) + "/tests/peers";
  char pattern[] = "/tmp/quillon_bench_proxyXXXXXX";
  if (!mkdtemp(pattern)) return 1;
  stateDir = pattern;
  // squid drops root and still has to reach its logs in here.
  std::system(("chmod 755 " + stateDir).c_str());
  if (!StartPeer("nginx") || !StartPeer("squid") || !StartPeer("dante")) {
    std::fprintf(stderr, "the peers could not start (scripts/setup.sh installs them)\n");
    return 1;
  }
  {
    std::ofstream big(PeerValue("nginx", "DOC_ROOT") + "/big.bin", std::ios::binary);
    const std::string block(1 << 20, 'q');
    for (int64_t written = 0; written < kBodyBytes; written += block.size())
      big << block;
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (const char* path : {"Direct", "Socks5", "Connect"}) {
    const double port = secondsPerGet[std::string("port/") + path];
    const double curl = secondsPerGet[std::string("curl/") + path];
    if (port > 0 && curl > 0) std::printf("%-8s port/curl throughput: %.2f\n", path, curl / port);
  }
  StopPeer("dante");
  StopPeer("squid");
  StopPeer("nginx");
  StopPeer("certs");
  std::system(("rm -rf " + stateDir).c_str());
  return 0;
}
