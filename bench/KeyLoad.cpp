// Loading a client certificate, once per connection set-up: a 4096-bit PFX and a 4096-bit PPK 3
// (Argon2) through the certificate front, beside OpenSSL doing the same in-process and the
// `openssl pkcs12` and `puttygen` commands (process start included) reading the same files with
// the same Argon2 parameters. The ratios come last. The files are made once in /tmp.
#include "keys/CertificateFront.h"
#include "keys/KeyReader.h"

#include <benchmark/benchmark.h>

#include <openssl/pkcs12.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

using namespace quillon;

const std::string& Dir() {
  static const std::string dir = [] {
    const std::string path = "/tmp/quillon-bench-keys-" + std::to_string(getuid());
    const std::string make =
        "mkdir -p " + path + " && cd " + path +
        " && [ -f done ] || ( echo -n secret > pass.txt"
        " && openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:4096 -out key.p8"
        " && openssl rsa -in key.p8 -traditional -out key.pem"
        " && openssl req -x509 -key key.p8 -subj /CN=Bench -days 2 -out cert.pem"
        " && openssl pkcs12 -export -inkey key.p8 -in cert.pem -passout pass:secret -out key.pfx"
        " && puttygen key.pem -O private -o key.ppk --new-passphrase pass.txt && touch done"
        " ) >/dev/null 2>&1";
    if (std::system(make.c_str()) != 0) std::fprintf(stderr, "bench: key files not made\n");
    return path;
  }();
  return dir;
}

std::string File(const char* name) {
  std::ifstream in(Dir() + "/" + name, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void LoadThroughFront(benchmark::State& state, quillon::CertStoreTypes type, const char* file) {
  const std::string bytes = File(file);
  for (auto _ : state) {
    ComponentCore core;
    CertificateFront front(core);
    front.SetCertStoreType(type);
    front.SetCertStorePassword("secret");
    front.SetCertStore(bytes);
    if (front.SetCertSubject("*") != 0 || !front.clientCertContext) state.SkipWithError("no load");
  }
}

void PfxQuillon(benchmark::State& state) {
  LoadThroughFront(state, cstPFXBlob, "key.pfx");
}

void PfxOpenSslLibrary(benchmark::State& state) {
  const std::string bytes = File("key.pfx");
  for (auto _ : state) {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    PKCS12* pfx = d2i_PKCS12(nullptr, &data, static_cast<long>(bytes.size()));
    EVP_PKEY* key = nullptr;
    X509* cert = nullptr;
    if (!pfx || PKCS12_parse(pfx, "secret", &key, &cert, nullptr) != 1)
      state.SkipWithError("no parse");
    EVP_PKEY_free(key);
    X509_free(cert);
    PKCS12_free(pfx);
  }
}

void Command(benchmark::State& state, const std::string& command) {
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError(command.c_str());
}

void PfxOpenSslCommand(benchmark::State& state) {
  Command(state, "openssl pkcs12 -in " + Dir() + "/key.pfx -passin pass:secret -nodes -out " +
                     "/dev/null 2>/dev/null");
}

void PpkQuillon(benchmark::State& state) {
  LoadThroughFront(state, cstPPKBlob, "key.ppk");
}

void PpkQuillonReader(benchmark::State& state) {
  const std::string text = File("key.ppk");
  for (auto _ : state) {
    ComponentCore core;
    KeyReader reader(core);
    KeyMaterial key;
    if (reader.ReadPpkKey(text, "secret", key) != 0) state.SkipWithError("no read");
  }
}

void PpkPuttygen(benchmark::State& state) {
  Command(state, "puttygen " + Dir() + "/key.ppk --old-passphrase " + Dir() +
                     "/pass.txt -O public-openssh -o /dev/null");
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const std::string name = run.benchmark_name();
      milliseconds[name.substr(0, name.find("/min_time"))] = run.GetAdjustedRealTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    const std::pair<const char*, const char*> pairs[] = {{"Pfx/Quillon", "Pfx/OpenSslCommand"},
                                                         {"Pfx/Quillon", "Pfx/OpenSslLibrary"},
                                                         {"Ppk/Quillon", "Ppk/Puttygen"},
                                                         {"Ppk/QuillonReader", "Ppk/Puttygen"}};
    for (const auto& [ours, theirs] : pairs) {
      const auto a = milliseconds.find(ours), b = milliseconds.find(theirs);
      if (a != milliseconds.end() && b != milliseconds.end())
        std::printf("%-18s / %-19s = %.2f\n", ours, theirs, a->second / b->second);
    }
  }

private:
  std::map<std::string, double> milliseconds;
};

} // namespace

int main(int argc, char** argv) {
  Dir();
  const std::pair<const char*, void (*)(benchmark::State&)> runs[] = {
      {"Pfx/Quillon", PfxQuillon},
      {"Pfx/OpenSslLibrary", PfxOpenSslLibrary},
      {"Pfx/OpenSslCommand", PfxOpenSslCommand},
      {"Ppk/Quillon", PpkQuillon},
      {"Ppk/QuillonReader", PpkQuillonReader},
      {"Ppk/Puttygen", PpkPuttygen}};
  for (const auto& [name, run] : runs)
    benchmark::RegisterBenchmark(name, run)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->MinTime(2.0);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
