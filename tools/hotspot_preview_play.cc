#include "tools/hotspot_preview_play.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "host/response.h"
#include "tools/hotspot_preview_text.h"
#include "tools/hotspot_replay_play.h"
#include "tools/hotspot_replay_system.h"
#include "tools/page_names.h"
#include "tools/page_variables.h"

namespace preview {
namespace {

std::string randomMark() {
  std::random_device random;
  char digits[33];
  std::snprintf(digits, sizeof digits, "%08x%08x%08x%08x", random(), random(), random(), random());
  return digits;
}

replay::Scenario scenarioOf(const Values& values, const std::optional<PageRequest>& request,
                            const std::string& directory) {
  replay::Scenario scenario = makeScenario(values, directory);
  if (!request) return scenario;
  replay::RequestSpec& spec = scenario.request;
  spec.foreignDst = false;
  spec.dstHost.reset();
  spec.method = request->isPost ? kMethodPost : kMethodGet;
  spec.relPath = request->path;
  spec.query = request->query;
  spec.body = request->body;
  return scenario;
}

std::string bytesOf(const replay::Json& json) { return replay::readBytes(json, replay::Path()); }

std::string headerOf(const replay::Json& result, std::string_view name) {
  for (const replay::Json& field : result["headers"]) {
    if (field[0] == name) return bytesOf(field[1]);
  }
  return {};
}

// A page that tells its name and every variable. The "-esc" form is the one from which the text can
// be had back, and tells a variable that is not set from one whose text looks so.
std::string probePage(std::string_view name, const std::string& mark) {
  std::string text = mark + std::string(name);
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    const std::string variableName(variable.name);
    text.append(mark).append(variableName).append("=$(").append(variableName).append("-esc)");
  }
  return text + mark;
}

// The name of the template that the request asks for, when it is none of a handler's page; empty
// otherwise.
std::string ownTemplate(const replay::RequestSpec& request) {
  const std::string path = request.relPath.value_or("");
  const std::string file = path.substr(path.rfind('/') + 1);
  constexpr std::size_t kMostBytes = 255;  // of a file's name
  bool isRendered = false;
  getContentType(file, &isRendered);
  const bool isPage =
      file.ends_with(".html") && pages::findPage(file.substr(0, file.size() - 5)) != nullptr;
  const bool isName = file.size() <= kMostBytes && file.find('\0') == std::string::npos;
  return isRendered && isName && !isPage ? file : std::string();
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error(path + " cannot be written: " + std::strerror(errno));
}

}  // namespace

Player::Player(const std::string& modulePath, const std::string& directory)
    : module_(modulePath), directory_(directory), mark_(randomMark()) {
  replay::silenceDebug();
  writeProbes();
}

void Player::writeProbes() {
  std::filesystem::create_directories(probes_.path());
  for (const pages::PageName& page : pages::pageNames()) {
    const std::string name(page.name);
    writeFile(probes_.path() + "/" + name + ".html", probePage(name, mark_));
  }
}

Answer Player::play(const Values& values, const std::optional<PageRequest>& request) {
  const replay::Json result =
      replay::play(module_, probes_, scenarioOf(values, request, directory_));
  Answer answer;
  answer.status = result["status"].get<int>();
  answer.contentType = headerOf(result, "Content-Type");
  answer.location = headerOf(result, "Location");
  answer.body = bytesOf(result["body"]);
  if (!result["sendError"].is_null()) {
    answer.status = result["sendError"][0].get<int>();
    answer.contentType = "text/plain";
    answer.body = bytesOf(result["sendError"][1]);
  }
  return answer;
}

Variables Player::variables(const Values& values, const std::optional<PageRequest>& request) {
  const replay::Scenario scenario = scenarioOf(values, request, probes_.path() + "/");
  // A preview may stay open for days, and what cleans temporary directories passes by.
  if (!std::filesystem::exists(probes_.path() + "/login.html")) writeProbes();
  const std::string own = ownTemplate(scenario.request);
  if (!own.empty()) writeFile(probes_.path() + "/" + own, probePage("", mark_));
  const std::string body = bytesOf(replay::play(module_, probes_, scenario)["body"]);
  if (!own.empty()) std::filesystem::remove(probes_.path() + "/" + own);
  Variables variables;
  if (!body.starts_with(mark_)) return variables;
  for (std::size_t start = mark_.size(); start < body.size();) {
    const std::size_t end = std::min(body.find(mark_, start), body.size());
    const std::string part = body.substr(start, end - start);
    const std::size_t equals = part.find('=');
    if (equals == std::string::npos) {
      variables.page = part;
    } else {
      const std::string name = part.substr(0, equals);
      const std::string escaped = part.substr(equals + 1);
      if (escaped != "$(" + name + "-esc)") variables.values[name] = percentDecode(escaped, true);
    }
    start = end + mark_.size();
  }
  return variables;
}

}  // namespace preview
