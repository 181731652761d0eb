// What the module's part of a login page costs: the variables, the rendering, the whole request.
//
//   bench-render LOGIN-PAGE [Google Benchmark's options]

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/visit.h"
#include "servlet/hs_conn.h"
#include "servlet/hsrv.h"

namespace {

constexpr std::size_t kPlainBytes = 65536;

std::string pagePath;
std::string page;

nv::message loginReply() { return bench::loginReply(pagePath.substr(0, pagePath.rfind('/') + 1)); }

void countBytes(benchmark::State& state, std::size_t bytesEach) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesEach));
}

void variables(benchmark::State& state) {
  bench::Visit visit(loginReply());
  const nv::message reply = loginReply();
  while (state.KeepRunning()) {
    HsConn conn{visit.context, visit.request, visit.response};
    benchmark::DoNotOptimize(conn.initCfg("login", reply));
  }
}
BENCHMARK(variables);

void loginPageRendered(benchmark::State& state) {
  bench::Visit visit(loginReply());
  HsConn conn{visit.context, visit.request, visit.response};
  conn.initCfg("login", loginReply());
  while (state.KeepRunning()) {
    visit.response.body.reset();
    conn.useEnv(page.data(), static_cast<unsigned>(page.size()), visit.response.body, true);
  }
  countBytes(state, page.size());
}
BENCHMARK(loginPageRendered);

// From the command to the page, with the file opened, mapped and unmapped each time.
void loginPageServed(benchmark::State& state) {
  bench::Visit visit(loginReply());
  HSrv servlet;
  while (state.KeepRunning()) {
    visit.response.body.reset();
    visit.response.headers = Headers();
    servlet.doMethod(visit.context, visit.request, visit.response);
  }
  countBytes(state, page.size());
}
BENCHMARK(loginPageServed);

void plainTextRendered(benchmark::State& state) {
  bench::Visit visit(loginReply());
  HsConn conn{visit.context, visit.request, visit.response};
  const std::string text(kPlainBytes, 'x');
  while (state.KeepRunning()) {
    visit.response.body.reset();
    conn.useEnv(text.data(), static_cast<unsigned>(text.size()), visit.response.body, true);
  }
  countBytes(state, text.size());
}
BENCHMARK(plainTextRendered);

void plainTextCopied(benchmark::State& state) {
  const std::string text(kPlainBytes, 'x');
  std::string copy(kPlainBytes, ' ');
  while (state.KeepRunning()) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::ClobberMemory();
  }
  countBytes(state, text.size());
}
BENCHMARK(plainTextCopied);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::ifstream file(argc == 2 ? argv[1] : "", std::ios::binary);
  page.assign(std::istreambuf_iterator<char>(file), {});
  if (page.empty()) {
    std::fputs("usage: bench-render LOGIN-PAGE [--benchmark_...]\n", stderr);
    return 1;
  }
  pagePath = argv[1];
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
