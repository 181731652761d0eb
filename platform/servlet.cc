// The base class: what a servlet does where its module says nothing else.

#include "host/servlet.h"

#include "host/request.h"
#include "host/response.h"

namespace {

constexpr unsigned kMethodHead = 2;

void refuseMethod(Response& resp) { resp.sendError(405, "method not allowed"); }

}  // namespace

Servlet::Servlet() = default;

Servlet::~Servlet() = default;

bool Servlet::isDirectory() { return false; }

bool Servlet::isProxy() { return false; }

std::string Servlet::getPath() { return path_; }

void Servlet::doGet(Context&, const Request&, Response& resp) { refuseMethod(resp); }

void Servlet::doHead(Context&, const Request&, Response& resp) { refuseMethod(resp); }

void Servlet::doPost(Context&, const Request&, Response& resp) { refuseMethod(resp); }

void Servlet::doMethod(Context& ctx, const Request& req, Response& resp) {
  switch (req.method) {
    case kMethodGet:
      return doGet(ctx, req, resp);
    case kMethodHead:
      return doHead(ctx, req, resp);
    case kMethodPost:
      return doPost(ctx, req, resp);
    default:
      return refuseMethod(resp);
  }
}

void Servlet::parseConfig(const xml::Node&) {}

void Servlet::onNotify(const nv::message&, unsigned int) {}
