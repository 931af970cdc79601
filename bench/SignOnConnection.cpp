// One sign-on per connection: NTLMv2 with the real NTLM server of the sign-on peer, then 200
// requests on the same kept connection. Counts the round trips and the 401 answers that Apache
// logged; a connection must cost exactly one handshake (one 401). Run with the peer up:
//   tests/peers/signon.sh start build/peers/signon
//   QUILLON_PEERS=build/peers build/bench/bench_SignOnConnection
#include "http/HttpClient.h"
#include "odata/QuillonCore.h"

#include "LoopbackHttp.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

namespace {

constexpr int kRequestsPerConnection = 200;

std::map<std::string, std::string> PeerEnv() {
  std::map<std::string, std::string> values;
  const char* peers = std::getenv("QUILLON_PEERS");
  std::ifstream file(std::string(peers ? peers : "build/peers") + "/signon/peer.env");
  for (std::string line; std::getline(file, line);) {
    const size_t equals = line.find('=');
    if (equals != std::string::npos) values[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return values;
}

int CountUnauthorized(const std::string& log) {
  std::ifstream file(log);
  int count = 0;
  for (std::string line; std::getline(file, line);)
    count += line.find(" 401 \"GET /ntlm/") != std::string::npos;
  return count;
}

void BM_NtlmKeptConnection(benchmark::State& state) {
  auto env = PeerEnv();
  if (env.empty()) {
    state.SkipWithError("no sign-on peer: start tests/peers/signon.sh and set QUILLON_PEERS");
    return;
  }
  const int before = CountUnauthorized(env["ACCESS_LOG"]);
  int64_t roundTrips = 0;
  int64_t connections = 0;
  for (auto _ : state) {
    quillon::QuillonCore core;
    core.SetAuthScheme(quillon::authNtlm);
    core.URLServer.Assign("localhost");
    core.User.Assign(env["NTLM_DOMAIN"] + "\\" + env["NTLM_USER"]);
    core.Password.Assign(env["NTLM_PASSWORD"]);
    quillon::bench::LoopbackHttp connection(std::stoi(env["PORT"]));
    std::string challenge;
    int status = 401;
    while (status == 401 && core.FormAuthorization() == 0) {
      status = connection.Get("/ntlm/index.txt", std::string(core.Authorization.View()), challenge);
      ++roundTrips;
      if (status != 401 || challenge.find(' ') == std::string::npos) break;
      core.ServerToken.Assign(challenge.substr(challenge.find(' ') + 1));
    }
    for (int i = 1; i < kRequestsPerConnection && status == 200; ++i) {
      status = connection.Get("/ntlm/index.txt", "", challenge);
      ++roundTrips;
    }
    if (status != 200) state.SkipWithError("the NTLM server refused the sign-on");
    ++connections;
  }
  const double n = static_cast<double>(connections ? connections : 1);
  state.counters["requests_per_connection"] = kRequestsPerConnection;
  state.counters["round_trips_per_connection"] = static_cast<double>(roundTrips) / n;
  state.counters["handshakes_401_per_connection"] =
      (CountUnauthorized(env["ACCESS_LOG"]) - before) / n;
}
BENCHMARK(BM_NtlmKeptConnection)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

BENCHMARK_MAIN();
