#include "tests/preview/preview_site.h"

PreviewSite::PreviewSite() : player_(TEST_MODULE, directory_.path().string() + "/") {
  for (const char* const page : {"login", "alogin", "status", "logout", "error", "redirect"}) {
    directory_.write(std::string(page) + ".html",
                     "<html><head><meta charset=\"utf-8\"></head><body><h1>" + std::string(page) +
                         " of $(username)</h1></body></html>");
  }
  site_ = std::make_unique<preview::Site>(player_, directory_.path());
}

preview::Reply PreviewSite::gallery(const std::string& target) {
  preview::Asked asked;
  asked.target = target;
  asked.host = "127.0.0.1:8400";
  return site_->answer(asked);
}

preview::Reply PreviewSite::frame(const std::string& label, const std::string& target) {
  preview::Asked asked;
  asked.target = target;
  asked.host = label + ".preview.localhost:8400";
  return site_->answer(asked);
}

nlohmann::json PreviewSite::json(const std::string& target) {
  return nlohmann::json::parse(gallery(target).body);
}

std::string headerOf(const preview::Reply& reply, const std::string& name) {
  for (const auto& [key, value] : reply.headers) {
    if (key == name) return value;
  }
  return {};
}
