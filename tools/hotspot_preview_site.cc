#include "tools/hotspot_preview_site.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>

#include "tools/hotspot_preview_assets.h"
#include "tools/hotspot_preview_data.h"
#include "tools/hotspot_preview_frame.h"
#include "tools/hotspot_preview_text.h"
#include "tools/page_names.h"

namespace preview {
namespace {

// Frames with changed values that are remembered. A gallery shows two at once.
constexpr std::size_t kMostEdits = 256;
constexpr std::string_view kEditMark = "--";

Reply textReply(int status, const std::string& text) {
  Reply reply;
  reply.status = status;
  reply.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
  reply.body = text + "\n";
  return reply;
}

Reply assetReply(std::string_view type, std::string_view text) {
  Reply reply;
  reply.headers = {{"Content-Type", std::string(type)}};
  reply.body = text;
  return reply;
}

Reply jsonReply(std::string text) {
  Reply reply;
  reply.headers = {{"Content-Type", "application/json"}};
  reply.body = std::move(text);
  return reply;
}

// "[host]:port" and "host:port" in their parts; no port is 80.
struct HostAndPort {
  explicit HostAndPort(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    host = text.substr(0, std::min(colon, text.size()));
    if (colon != std::string_view::npos) port = text.substr(colon + 1);
    std::ranges::transform(host, host.begin(), [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    const bool isPort = !port.empty() && port.size() <= 5 &&
                        std::ranges::all_of(port, [](char c) { return c >= '0' && c <= '9'; });
    if (!isPort) host.clear();
  }

  std::string host;
  std::string port = "80";
};

// What a browser shows in a frame; the rest it would store as a file.
bool isShown(const std::string& type) {
  static constexpr std::array<std::string_view, 5> kShown = {"text/", "image/", "font/",
                                                             "application/json", "application/pdf"};
  return std::ranges::any_of(kShown,
                             [&](std::string_view shown) { return type.starts_with(shown); });
}

}  // namespace

Site::Site(Player& player, std::filesystem::path directory)
    : player_(player), directory_(std::move(directory)), states_(statesOf(directory_)) {}

void Site::noteChange(const std::string& problem) {
  ++version_;
  problem_ = problem;
  states_ = statesOf(directory_);
}

Reply Site::answer(const Asked& asked) {
  const HostAndPort own(asked.host);
  const std::string_view host = own.host;
  Reply reply;
  try {
    if (host == "127.0.0.1" || host == "localhost") {
      reply = answerGallery(asked);
    } else if (host.ends_with(kFrameDomain)) {
      reply = answerFrame(asked, host.substr(0, host.size() - kFrameDomain.size()),
                          own.host + ":" + own.port);
    } else {
      // Another name that leads here is another site's way to what only this machine may read.
      reply = textReply(421, "The preview answers to http://127.0.0.1:PORT/ and to nothing else.");
    }
  } catch (const WrongSetting& wrong) {
    reply = textReply(400, wrong.what());
  } catch (const std::runtime_error& error) {
    // The module threw, or a file of the preview's own could not be written.
    reply = textReply(500, error.what());
  }
  reply.headers.emplace_back("Cache-Control", "no-store");
  reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
  reply.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
  return reply;
}

Reply Site::answerGallery(const Asked& asked) {
  if (asked.method != "GET") return textReply(405, "GET is all that there is here.");
  const std::string path = asked.target.substr(0, asked.target.find('?'));
  const std::string query = asked.target.substr(std::min(path.size() + 1, asked.target.size()));
  constexpr std::string_view kStatePath = "/state/";
  constexpr std::string_view kStateData = "/api/state/";
  if (path == "/" || path.starts_with(kStatePath)) {
    Reply reply = assetReply("text/html; charset=utf-8", kGalleryHtml);
    const std::string port = HostAndPort(asked.host).port;
    reply.headers.emplace_back(
        "Content-Security-Policy",
        "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
        "img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
        "frame-src http://*" +
            std::string(kFrameDomain) + ":" + port);
    return reply;
  }
  constexpr std::string_view kScript = "text/javascript; charset=utf-8";
  if (path == "/gallery.css") return assetReply("text/css; charset=utf-8", kGalleryCss);
  if (path == "/gallery.js") return assetReply(kScript, kGalleryScript);
  if (path == "/parts.js") return assetReply(kScript, kPartsScript);
  if (path == "/state.js") return assetReply(kScript, kStateScript);
  if (path == "/api/gallery") return jsonReply(galleryJson());
  if (path == "/api/findings") return jsonReply(findingsJson());
  if (path.starts_with(kStateData)) {
    const std::string name = path.substr(kStateData.size());
    if (findState(states_, name) == nullptr) return textReply(404, "There is no such state.");
    return jsonReply(stateJson(name, query, HostAndPort(asked.host).port));
  }
  if (path == "/events") {
    Reply reply;
    reply.headers = {{"Content-Type", "text/event-stream"}};
    reply.isEvents = true;
    return reply;
  }
  return textReply(404, "There is nothing here. The gallery is at /");
}

Reply Site::answerFrame(const Asked& asked, std::string_view label, const std::string& host) {
  const std::size_t mark = std::min(label.find(kEditMark), label.size());
  const State* const state = findState(states_, label.substr(0, mark));
  if (state == nullptr) {
    return textReply(404, "There is no such state any more. The gallery knows.");
  }
  Values values = state->values;
  if (mark < label.size()) {
    const std::string* const edits = editsOf(label.substr(mark + kEditMark.size()));
    if (edits == nullptr) {
      return textReply(404,
                       "These values are not known any more. Reload the state in the gallery.");
    }
    edit(*edits, &values);
  }
  if (asked.method != "GET" && asked.method != "POST") {
    return textReply(405, "GET and POST are all that the portal knows.");
  }
  const bool isOwn = asked.method == "GET" && asked.target == ownTarget(values);
  // A page that leads on by itself is to be looked at: the browser keeps what it shows when the
  // answer is 204. What somebody clicked goes on.
  const bool leadsOn = asked.fetchMode == "navigate" && asked.fetchUser.empty() && !isOwn;
  if (leadsOn) return Reply{204, {}, {}};
  if (asked.target.starts_with(kLeavePath)) return leave(asked);

  std::optional<PageRequest> request;
  if (!isOwn) {
    const std::size_t end = std::min(asked.target.find('?'), asked.target.size());
    request.emplace();
    request->isPost = asked.method == "POST";
    request->path = percentDecode(std::string_view(asked.target).substr(1, end - 1), false);
    request->query = asked.target.substr(std::min(end + 1, asked.target.size()));
    request->body = asked.body;
    values = answeringValues(states_, values, *request);
  }
  const Answer answer = player_.play(values, request);
  Reply reply;
  // The body of a redirect is a page too.
  reply.status = answer.status >= 300 && answer.status < 400 ? 200 : answer.status;
  const bool isPage = answer.contentType.starts_with("text/html");
  const std::string type =
      isShown(answer.contentType) || !isOwn ? answer.contentType : "text/plain";
  reply.headers.emplace_back("Content-Type", type.empty() ? "application/octet-stream" : type);
  // Before the log-in nothing of another host can be had.
  reply.headers.emplace_back("Content-Security-Policy",
                             "default-src 'self' 'unsafe-inline' 'unsafe-eval' data: blob:");
  reply.body =
      isPage ? withFrameAddresses(answer.body, hostsOf(player_.variables(values, request), host))
             : answer.body;
  return reply;
}

Reply Site::leave(const Asked& asked) const {
  Reply reply =
      assetReply("text/html; charset=utf-8", leavingPage(asked.target.substr(kLeavePath.size())));
  reply.headers.emplace_back("Content-Security-Policy",
                             "default-src 'none'; style-src 'unsafe-inline'");
  return reply;
}

std::string Site::labelOf(const State& state, const std::string& edits) {
  if (edits.empty()) return state.name;
  const std::string hash = shortHash(edits);
  const auto known = std::ranges::find(edits_, hash, &decltype(edits_)::value_type::first);
  if (known != edits_.end()) edits_.erase(known);
  edits_.emplace_back(hash, edits);
  if (edits_.size() > kMostEdits) edits_.pop_front();
  return state.name + std::string(kEditMark) + hash;
}

const std::string* Site::editsOf(std::string_view hash) const {
  const auto known = std::ranges::find(edits_, hash, &decltype(edits_)::value_type::first);
  return known == edits_.end() ? nullptr : &known->second;
}

std::string Site::frameAddress(const State& state, const std::string& edits,
                               const std::string& port) {
  Values values = state.values;
  edit(edits, &values);
  return "http://" + labelOf(state, edits) + std::string(kFrameDomain) + ":" + port +
         ownTarget(values);
}

std::string Site::shownFile(const Variables& variables) const {
  const pages::PageName* const page = pages::findPage(variables.page);
  if (page == nullptr) return {};
  const auto target = variables.values.find("target-dir");
  const std::string below = target == variables.values.end() ? std::string() : target->second;
  const std::string name = variables.page + ".html";
  const std::string_view fallback = page->redirects ? "redirect" : page->fallback;
  const std::string other = fallback.empty() ? std::string() : std::string(fallback) + ".html";
  for (const std::string& file : {below + name, below + other, name, other}) {
    std::error_code error;
    if (!file.empty() && std::filesystem::is_regular_file(directory_ / file, error)) return file;
  }
  return {};
}

std::string Site::galleryJson() const {
  return galleryData(directory_, version_, problem_, states_, findLanguages(directory_));
}

std::string Site::stateJson(const std::string& name, const std::string& edits,
                            const std::string& port) {
  StateData data;
  data.state = findState(states_, name);
  data.values = data.state->values;
  edit(edits, &data.values);
  data.answer = player_.play(data.values, std::nullopt);
  data.variables = player_.variables(data.values, std::nullopt);
  data.file = shownFile(data.variables);
  data.frame = frameAddress(*data.state, edits, port);
  return stateData(data);
}

std::string Site::findingsJson() {
  if (lintedVersion_ != version_) {
    findings_ = findingsData(directory_);
    lintedVersion_ = version_;
  }
  return findings_;
}

}  // namespace preview
