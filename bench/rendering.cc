// The template engine against references that are run beside it, in turn: ratios, medians.
//
//   bench-rendering DATA-FOLDER [ROUNDS]

#include <benchmark/benchmark.h>
#include <ctemplate/template.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "bench/visit.h"
#include "servlet/hs_conn.h"

namespace {

constexpr unsigned kRounds = 5;

std::string pagePath;      // in this project's language
std::string templatePath;  // the same page in the other one's
std::string page;

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  if (text.empty()) {
    std::fprintf(stderr, "bench-rendering: cannot read %s\n", path.c_str());
    std::exit(1);
  }
  return text;
}

nv::message reply() {
  nv::message result = bench::loginReply(pagePath.substr(0, pagePath.rfind('/') + 1));
  result.insert_string(0x20000001, "guest");
  return result;
}

// A connection with the variables of a login page, as the module builds them.
struct Prepared {
  Prepared() {
    conn.initCfg("login", reply());
    addLoginVariables(conn.env);
  }

  // Those that the manager's reply to a returning guest adds.
  static void addLoginVariables(std::map<std::string, std::string>& env) {
    env["chap-id"] = "\\061";
    env["chap-challenge"] =
        "\\141\\142\\143\\144\\145\\146\\147\\150\\151\\152\\153\\154\\155\\156";
    env["link-orig"] = "http://news.example.com/today?page=2&order=date";
    env["error"] = "invalid username or password";
    env["error-type"] = "invalid-user";
    env["session-time-left"] = "1h20m";
    env["remain-bytes-total"] = "52428800";
    env["remain-bytes-total-nice"] = "50.0 MiB";
    env["popup"] = "true";
  }

  bench::Visit visit{reply()};
  HsConn conn{visit.context, visit.request, visit.response};
};

std::string sectionName(const std::string& name, const std::string& suffix) {
  std::string result = name + suffix;
  std::replace(result.begin(), result.end(), '-', '_');
  return result;
}

// The other engine's dictionary of the same variables, with a section for each condition.
void fillDictionary(const std::map<std::string, std::string>& env,
                    ctemplate::TemplateDictionary* dictionary) {
  for (const auto& [name, value] : env) dictionary->SetValue(sectionName(name, ""), value);
  const auto value = [&env](const char* name) {
    const auto found = env.find(name);
    return found == env.end() ? std::string() : found->second;
  };
  for (const char* name : {"chap-id", "domain", "error", "error-type", "remain-bytes-total",
                           "server-name", "session-time-left"}) {
    if (!value(name).empty()) dictionary->ShowSection(sectionName(name, "_set"));
  }
  if (value("server-name").empty()) dictionary->ShowSection("no_server_name_set");
  for (const char* name : {"logged-in", "plain-passwd", "ssl-login", "trial"}) {
    if (value(name) == "yes") dictionary->ShowSection(sectionName(name, "_is_yes"));
  }
  if (value("error-type") == "invalid-user") dictionary->ShowSection("error_type_is_invalid_user");
}

void loginPage(benchmark::State& state) {
  Prepared prepared;
  while (state.KeepRunning()) {
    prepared.visit.response.body.reset();
    prepared.conn.useEnv(page.data(), static_cast<unsigned>(page.size()),
                         prepared.visit.response.body, true);
  }
}
BENCHMARK(loginPage);

void loginPageReference(benchmark::State& state) {
  const Prepared prepared;
  ctemplate::TemplateDictionary dictionary("page");
  fillDictionary(prepared.conn.env, &dictionary);
  std::string output;
  while (state.KeepRunning()) {
    output.clear();
    ctemplate::ExpandTemplate(templatePath, ctemplate::DO_NOT_STRIP, &dictionary, &output);
  }
}
BENCHMARK(loginPageReference);

void loginPageWithVariables(benchmark::State& state) {
  bench::Visit visit(reply());
  const nv::message answer = reply();
  while (state.KeepRunning()) {
    HsConn conn{visit.context, visit.request, visit.response};
    conn.initCfg("login", answer);
    Prepared::addLoginVariables(conn.env);
    visit.response.body.reset();
    conn.useEnv(page.data(), static_cast<unsigned>(page.size()), visit.response.body, true);
  }
}
BENCHMARK(loginPageWithVariables);

void loginPageWithVariablesReference(benchmark::State& state) {
  const Prepared prepared;
  std::string output;
  while (state.KeepRunning()) {
    ctemplate::TemplateDictionary dictionary("page");
    fillDictionary(prepared.conn.env, &dictionary);
    output.clear();
    ctemplate::ExpandTemplate(templatePath, ctemplate::DO_NOT_STRIP, &dictionary, &output);
  }
}
BENCHMARK(loginPageWithVariablesReference);

// Prose with a reference every two kilobytes; with what that becomes it fits into 64 KB.
std::string longPage() {
  std::string text;
  while (text.size() < 62000) {
    const std::size_t start = text.size();
    while (text.size() < start + 2048) text += "All that a guest may want to know of this house. ";
    text += "$(server-name)\n";
  }
  return text;
}

void longPageRendered(benchmark::State& state) {
  Prepared prepared;
  const std::string text = longPage();
  while (state.KeepRunning()) {
    prepared.visit.response.body.reset();
    prepared.conn.useEnv(text.data(), static_cast<unsigned>(text.size()),
                         prepared.visit.response.body, true);
  }
}
BENCHMARK(longPageRendered);

void longPageReference(benchmark::State& state) {
  Prepared prepared;
  const std::string text = longPage();
  prepared.conn.useEnv(text.data(), static_cast<unsigned>(text.size()),
                       prepared.visit.response.body, true);
  const web::BodyBuffer& output = prepared.visit.response.body.buffer();
  std::string copy(output.size(), ' ');
  while (state.KeepRunning()) {
    std::memcpy(copy.data(), output.data(), output.size());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(longPageReference);

// What a malicious page or a manager's text can hold over and over, by its kind.
const char* const kHostile[] = {"$(", "%", "(", " ", "$(if x)", "$(if", "\\", "%a "};

std::string hostileText(std::size_t kind, std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) text += kHostile[kind];
  return text;
}

void hostile(benchmark::State& state) {
  Prepared prepared;
  const std::string text = hostileText(static_cast<std::size_t>(state.range(0)),
                                       static_cast<std::size_t>(state.range(1)));
  while (state.KeepRunning()) {
    prepared.visit.response.body.reset();
    prepared.conn.useEnv(text.data(), static_cast<unsigned>(text.size()),
                         prepared.visit.response.body, true);
  }
}

// Collects what was measured instead of printing it.
class Times : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) of[run.benchmark_name()].push_back(run.GetAdjustedRealTime());
  }

  std::map<std::string, std::vector<double>> of;  // nanoseconds of each round
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Ratios {
  double least, middle, most;
};

// How much of the reference's time the other takes, round by round.
Ratios ratios(const std::vector<double>& reference, const std::vector<double>& other) {
  std::vector<double> each;
  for (std::size_t i = 0; i < other.size(); ++i) each.push_back(reference[i] / other[i]);
  return {*std::min_element(each.begin(), each.end()), median(each),
          *std::max_element(each.begin(), each.end())};
}

void printPair(const Times& times, const char* what, const std::string& name,
               const std::string& reference, const char* goal) {
  const std::vector<double>& ours = times.of.at(name);
  const std::vector<double>& theirs = times.of.at(reference);
  const Ratios ratio = ratios(theirs, ours);
  std::printf("| %s | %.2f | %.2f | %.2f / %.2f / %.2f | %s |\n", what, median(ours) / 1000,
              median(theirs) / 1000, ratio.least, ratio.middle, ratio.most, goal);
}

std::string hostileName(std::size_t kind, std::size_t bytes) {
  return "hostile/" + std::to_string(kind) + "/" + std::to_string(bytes);
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned rounds = argc == 3 ? static_cast<unsigned>(std::atoi(argv[2])) : kRounds;
  if (argc < 2 || argc > 3 || rounds == 0) {
    std::fputs("usage: bench-rendering DATA-FOLDER [ROUNDS]\n", stderr);
    return 2;
  }
  pagePath = std::string(argv[1]) + "/login.html";
  templatePath = std::string(argv[1]) + "/login.tpl";
  page = readFile(pagePath);
  readFile(templatePath);

  constexpr std::size_t kLeast = 65536;
  constexpr std::size_t kMost = 1048576;
  auto* const registered = benchmark::RegisterBenchmark("hostile", hostile);
  for (std::size_t kind = 0; kind < std::size(kHostile); ++kind) {
    for (std::size_t bytes = kLeast; bytes <= kMost; bytes *= 2) {
      registered->Args({static_cast<std::int64_t>(kind), static_cast<std::int64_t>(bytes)});
    }
  }
  int options = 2;
  char name[] = "bench-rendering";
  char least[] = "--benchmark_min_time=0.05";
  char* arguments[] = {name, least, nullptr};
  benchmark::Initialize(&options, arguments);

  Times times;
  for (unsigned round = 0; round < rounds; ++round) {
    std::fprintf(stderr, "round %u of %u\n", round + 1, rounds);
    benchmark::RunSpecifiedBenchmarks(&times);
  }

  std::printf("Medians of %u rounds; ratio: the reference's time to ours, min / median / max\n\n",
              rounds);
  std::puts("| what | us | reference, us | ratio | goal |\n|---|---|---|---|---|");
  printPair(times, "login page of 5 KB; cached template of ctemplate", "loginPage",
            "loginPageReference", "1.2");
  printPair(times, "the same with its variables; ctemplate's dictionary and page",
            "loginPageWithVariables", "loginPageWithVariablesReference", "2.5");
  printPair(times, "64 KB, mostly literal; memcpy of the output", "longPageRendered",
            "longPageReference", "0.5");

  std::puts("\nTwice the text, worst of 64 KB to 1 MB: time, goal at most 2.2\n");
  std::puts("| text over and over | us for 1 MB | worst ratio |\n|---|---|---|");
  for (std::size_t kind = 0; kind < std::size(kHostile); ++kind) {
    double worst = 0;
    for (std::size_t bytes = kLeast; bytes < kMost; bytes *= 2) {
      worst = std::max(worst, median(times.of.at(hostileName(kind, 2 * bytes))) /
                                  median(times.of.at(hostileName(kind, bytes))));
    }
    std::printf("| `%s` | %.0f | %.2f |\n", kHostile[kind],
                median(times.of.at(hostileName(kind, kMost))) / 1000, worst);
  }
  return 0;
}
