// What the module's part of a login page costs: the variables, the rendering, the whole request.
//
//   bench-render LOGIN-PAGE [Google Benchmark's options]

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "servlet/hs_conn.h"
#include "servlet/hsrv.h"
#include "template/text_scan.h"
#include "webserver/body_stream.h"

namespace {

constexpr std::size_t kPlainBytes = 65536;
constexpr std::uint32_t kAddress = 0x02320a0a;

std::string pagePath;
std::string page;

// Of a client that has to log in, as the manager of a small portal gives it.
nv::message loginReply() {
  nv::message reply;
  reply.insert_u32(0x08000450, 0);
  reply.insert_bool(0x00000452, false);
  reply.insert_string(0x2000044d, pagePath.substr(0, pagePath.rfind('/') + 1));
  reply.insert_string(0x2000044e, "portal.example.net");
  reply.insert_be32(0x0800044f, kAddress);
  reply.insert_string(0x20000458, "Example hotspot");
  reply.insert_raw(0x3000000b, {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
  reply.insert_bool(0x00000451, false);
  reply.insert_string(0x2000041b, "1abcdefghijklmnop");
  return reply;
}

class BenchContext : public Context {
 public:
  nv::message sendRequest(nv::message&, unsigned) override { return reply_; }

 private:
  const nv::message reply_ = loginReply();
};

class BenchRequest : public Request {
 public:
  BenchRequest() {
    method = kMethodGet;
    protocol = kProtoHttp;
    path = "/login";
    relPath = "login";
    hasRelPath = true;
    clientAddr = kAddress;
    localAddr = kAddress;
    headers.addHeader("Host", "portal.example.net", false);
    headers.addHeader("User-Agent", "Mozilla/5.0", false);
  }
  bool getDstHost(std::string&) const override { return false; }
  bool readPostData(std::string&, unsigned int) const override { return false; }
  void initOrigDst() const override {}
};

class BenchResponse : public Response {
 public:
  void setStatus(int, const std::string&) override {}
  void sendError(int status, const std::string&) override {
    std::fprintf(stderr, "bench-render: the module answered %d\n", status);
    std::exit(1);
  }
  std::ostream* getBufferedOutput(bool) override { return &body; }
  std::ostream* getOutput() override { return &body; }

  web::BodyStream body;
};

struct Visit {
  BenchContext context;
  BenchRequest request;
  BenchResponse response;
};

void countBytes(benchmark::State& state, std::size_t bytesEach) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesEach));
}

void variables(benchmark::State& state) {
  Visit visit;
  const nv::message reply = loginReply();
  while (state.KeepRunning()) {
    HsConn conn{visit.context, visit.request, visit.response};
    benchmark::DoNotOptimize(conn.initCfg("login", reply));
  }
}
BENCHMARK(variables);

void loginPageRendered(benchmark::State& state) {
  Visit visit;
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
  Visit visit;
  HSrv servlet;
  while (state.KeepRunning()) {
    visit.response.body.reset();
    visit.response.headers = Headers();
    servlet.doMethod(visit.context, visit.request, visit.response);
  }
  countBytes(state, page.size());
}
BENCHMARK(loginPageServed);

void plainTextSkipped(benchmark::State& state) {
  const std::string text(kPlainBytes, 'x');
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(findSpecial(text.data(), text.data() + text.size()));
  }
  countBytes(state, text.size());
}
BENCHMARK(plainTextSkipped);

void plainTextRendered(benchmark::State& state) {
  Visit visit;
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
