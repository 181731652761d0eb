// The connection object: everything that one request needs, from the first byte of parsing to the
// last byte of the page. Every page handler and every builder of page variables is an operation of
// HsConn or a free function that takes the parts it needs.

#ifndef SERVLET_HS_CONN_H_
#define SERVLET_HS_CONN_H_

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>

#include "host/context.h"
#include "host/radius.h"
#include "host/request.h"
#include "host/response.h"

class EnvWriter;

// Built by HSrv::doMethod on its stack, used by one thread, gone when serve() returns; the three
// references belong to the host and outlive it.
//
// Functions of the "bool, output argument" form leave the output untouched when they return false.
// Functions that send a command return the manager's error code, 0 for success; whatever they
// return, `env` and the fields that a reply sets have been refreshed from the reply.
struct HsConn {
  using StringMap = std::map<std::string, std::string>;

  Context& ctx;
  const Request& req;
  Response& resp;
  StringMap params{};            // query and POST parameters; keys in lower case, values decoded
  StringMap env{};               // page variables; an empty value counts as defined
  radius::Packet radius{};       // RADIUS attributes that templates may refer to
  std::uint32_t serverAddr = 0;  // IPv4, network byte order
  bool isAgent = false;          // the client is the hotspot's agent program
  std::uint32_t cfgFlags = 0;    // option bits from the manager
  std::string htmlDir{};         // directory of the page files, ends with '/'
  std::string targetDir{};  // sub-directory of htmlDir for this request: empty or ends with '/'
  bool loggedIn = false;

  // --- servlet/: dispatch, validation, parameters

  // Answers the request: an intercepted one (`isLocal` false) through processUnknown, a local one
  // by its page name. All output goes to `resp`.
  void serve(bool isLocal);

  // True when the request may be served; false after an error response has been sent (503 for a
  // protocol or method that the hotspot does not serve, 400 for a body that cannot be read). Reads
  // the body of a POST, at most kMaxPostBytes, into `params`.
  bool validateLocalRequest();
  static constexpr unsigned kMaxPostBytes = 1024;

  // Adds the parameters of a query string or form body to `params`; a later value replaces an
  // earlier one. Malformed text is never an error.
  void setQueryParams(const std::string& text);

  // --- vars/: lookups and page variables

  // The value under `key`, also an empty one; `def` when there is no such key.
  static std::string getParam(const StringMap& map, const std::string& key, std::string def);

  // True when `map` has `key`; its value is then copied to `*value`, which may be null.
  static bool getEnvParam(const StringMap& map, const std::string& key, std::string* value);

  // True when `map` has `key` and its whole value is a decimal number as strtoul(3) reads it with
  // 32-bit results (an empty value is 0); it is then stored in `*value`, which may be null.
  static bool getEnvParam(const StringMap& map, const std::string& key, std::uint32_t* value);

  // "true" or "false": whether the pages open a status window, from the parameters "popup" and,
  // when that is absent, "popup-default".
  std::string getPopup() const;

  // Rebuilds the page variables and the fields above from a reply to the command called `name` (a
  // label for the debug line), and returns the reply's error code, 0 when it is no error. Drops the
  // client's connection on kErrDropClient. A field that the reply lacks is never an error.
  std::uint32_t initCfg(const char* name, const nv::message& reply);

  // Variables that say who serves the page; returns the host text of every link: the DNS name that
  // the reply gives, else the server's address.
  std::string initServerName(const nv::message& reply);

  // --- template/: pages

  // Renders template text to `out`, with `env` and `radius`; `esc` asks for XML escaping of values.
  // Text behind an elif, else or endif without a block is not sent; a debug line tells its length.
  void useEnv(const char* text, unsigned len, std::ostream& out, bool esc);

  // Sends a file of the page directory (`name`, then `bkname` unless empty, each in the target
  // directory first): a template rendered, any other file as it is. Answers 404 when there is none
  // that can be read, or when `name` holds "..".
  void showFile(const std::string& name, std::string bkname);

  // Sends the page `page` + ".html", else `bkpage` + ".html" (unless `bkpage` is empty), not to be
  // cached; to the agent program the list of page variables instead.
  void showPage(std::string page, std::string bkpage);
  void showAgentPage();

  // --- commands/: the exchange with the manager and the page handlers

  // Adds the fields that every command carries, sends `msg`, waits at most `timeoutMs` milliseconds
  // and runs initCfg on the reply, which is also copied to `*reply` unless that is null.
  std::uint32_t doHsCmd(nv::message& msg, std::uint32_t cmd, const char* name, nv::message* reply,
                        unsigned timeoutMs);
  // Adds the original destination of a redirected connection.
  void insertProxy(nv::message& msg);
  // Adds the RADIUS attributes that request parameters name.
  void insertRadius(nv::message& msg);

  std::uint32_t login(const std::string& user, const std::string& password,
                      const std::string& domain, std::uint32_t cookieId, nv::message* reply);
  std::uint32_t logout(bool eraseCookie);
  std::uint32_t getStatus();
  std::uint32_t setParams(nv::message& msg);
  std::uint32_t advert(nv::message* reply);
  std::uint32_t alogin();
  std::uint32_t getClInfo();

  void processLogin();
  void processLogout();
  void processStatus();
  void processSet();
  void processAdvert();
  void processALogin();
  // A request that names no page: every intercepted one, and one for the servlet's own root.
  void processUnknown(bool isLocal);

  // The page after a login, with the login cookie when `reply` carries one.
  void showAfterLogin(const nv::message& reply);
  // The page `page` when the page directory itself holds it, else a redirect to the login page.
  void showLoginRedirect(std::string page);

 private:
  // The parts of initCfg. The last one to be called sets the variables: the manager's message may
  // name any of them.
  std::string initServerName(const nv::message& reply, EnvWriter& vars);
  void initLinkVars(const std::string& host, bool sslLogin, EnvWriter& vars);
  void initSessionVars(const nv::message& reply, std::uint32_t state, EnvWriter& vars);
  std::uint32_t initErrorVars(const char* name, const nv::message& reply, EnvWriter& vars);
};

#endif  // SERVLET_HS_CONN_H_
