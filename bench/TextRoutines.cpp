// Costs of the string primitives that every layer leans on: growth of BufStr across its inline
// limit, percent encoding of query values, and base64 of a certificate-sized blob.
#include "frame/BufStr.h"
#include "frame/StrList.h"
#include "frame/Text.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using namespace quillon;

void BM_BufStrAppendByte(benchmark::State& state) {
  const int length = static_cast<int>(state.range(0));
  for (auto _ : state) {
    BufStr text;
    for (int i = 0; i < length; ++i)
      text.AppendChar('x');
    benchmark::DoNotOptimize(text.Data());
  }
  state.SetBytesProcessed(state.iterations() * length);
}
BENCHMARK(BM_BufStrAppendByte)->Arg(64)->Arg(4096)->Arg(1 << 20);

void BM_UrlEncodeValue(benchmark::State& state) {
  const std::string value = "Name eq 'Caf\xC3\xA9 & Bar' and Price gt 10.5";
  for (auto _ : state) {
    BufStr out;
    UrlEncodeTo(out, value, UrlSafeValue);
    benchmark::DoNotOptimize(out.Data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(value.size()));
}
BENCHMARK(BM_UrlEncodeValue);

void BM_Base64RoundTrip(benchmark::State& state) {
  std::string blob(static_cast<size_t>(state.range(0)), '\0');
  for (size_t i = 0; i < blob.size(); ++i)
    blob[i] = static_cast<char>(i * 131);
  for (auto _ : state) {
    BufStr text;
    Base64Encode(text, blob.data(), static_cast<int>(blob.size()), true, 64, false);
    Base64Decode(text, false);
    benchmark::DoNotOptimize(text.Data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Base64RoundTrip)->Arg(2048)->Arg(1 << 20);

void BM_StrListAppendAndWalk(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    StrList list;
    for (int i = 0; i < count; ++i)
      list.Append("Set-Cookie");
    int64_t total = 0;
    for (int i = 0; i < count; i += count / 16 + 1)
      total += static_cast<int64_t>(list.At(i).size());
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(BM_StrListAppendAndWalk)->Arg(100)->Arg(10000);

} // namespace

BENCHMARK_MAIN();
