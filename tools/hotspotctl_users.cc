// hotspotctl user ...

#include <memory>

#include "tools/hotspotctl_commands.h"
#include "tools/hotspotctl_password.h"
#include "tools/hotspotctl_values.h"

namespace hotspotctl {

using Json = nlohmann::json;

namespace {

struct PasswordSource {
  std::string onCommandLine;
  bool fromInput = false;
  bool hash = false;
};

void addPasswordOptions(CLI::App* verb, const std::shared_ptr<PasswordSource>& source,
                        const char* whenNeither) {
  CLI::Option* text =
      verb->add_option("--password", source->onCommandLine,
                       "the password; anybody who can list processes can read it here");
  verb->add_flag("--password-stdin", source->fromInput,
                 std::string("ask for the password, or read the first line of standard input") +
                     whenNeither)
      ->excludes(text);
  verb->add_flag("--hash", source->hash,
                 "keep the password as a hash; the account can then log in over HTTPS only");
}

void putPassword(const PasswordSource& source, bool ask, Json* arguments) {
  std::string password = source.onCommandLine;
  if (password.empty() && (source.fromInput || ask)) password = readPassword();
  if (password.empty()) {
    if (source.hash) throw Failure("--hash needs a password");
    return;
  }
  if (source.hash) {
    (*arguments)["password-hash"] = hashPassword(password);
  } else {
    (*arguments)["password"] = password;
  }
}

void addAllowances(CLI::App* verb, Json* arguments) {
  addText(verb, arguments, "profile", "profile of the account");
  addQuantity(verb, arguments, "limit-uptime", Units::kTime, "time in all sessions; 0 = any");
  addQuantity(verb, arguments, "limit-bytes-in", Units::kBytes, "bytes from the client in all");
  addQuantity(verb, arguments, "limit-bytes-out", Units::kBytes, "bytes to the client in all");
  addQuantity(verb, arguments, "limit-bytes-total", Units::kBytes, "bytes in both directions");
}

}  // namespace

void addUserVerbs(CLI::App& app, Context& context) {
  CLI::App* noun = addNoun(app, "user", "accounts");

  // `asks`: the verb needs a password, so it asks for one that was not given.
  const auto addWriter = [&](const char* name, const char* what, bool asks) {
    CLI::App* verb = noun->add_subcommand(name, what);
    Json* arguments = context.newArguments();
    const auto source = std::make_shared<PasswordSource>();
    addPositional(verb, arguments, "name", "name of the account, \"@\" and its domain included");
    addPasswordOptions(verb, source, asks ? " (so also without both)" : "");
    addAllowances(verb, arguments);
    const std::string wire = std::string("user.") + name;
    verb->callback([&context, arguments, source, asks, wire] {
      context.run = [&context, arguments, source, asks, wire](Client& client) {
        putPassword(*source, asks, arguments);
        context.showRecord(client.ask(wire, *arguments));
      };
    });
    return std::pair(verb, arguments);
  };
  addWriter("add", "make an account", true);
  const auto [setVerb, setArguments] = addWriter("set", "change an account", false);
  setVerb->add_flag_callback(
      "--reset-use", [arguments = setArguments] { (*arguments)["reset-use"] = true; },
      "start the account's allowances anew");

  CLI::App* remove =
      noun->add_subcommand("remove", "remove an account, its sessions and its cookies");
  Json* removed = context.newArguments();
  addPositional(remove, removed, "name", "name of the account");
  context.recordVerb(remove, "user.remove", removed);

  CLI::App* list = noun->add_subcommand("list", "all accounts");
  context.tableVerb(list, "user.list", context.newArguments(),
                    {"name", "profile", "password-kind", "sessions", "used-uptime", "limit-uptime",
                     "used-bytes-in", "used-bytes-out", "limit-bytes-total"});

  CLI::App* show = noun->add_subcommand("show", "one account");
  Json* shown = context.newArguments();
  addPositional(show, shown, "name", "name of the account");
  context.recordVerb(show, "user.show", shown);
}

}  // namespace hotspotctl
