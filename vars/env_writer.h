// Assignment of page variables, many at a time.

#ifndef VARS_ENV_WRITER_H_
#define VARS_ENV_WRITER_H_

#include <map>
#include <string>
#include <string_view>

// Sets variables as the map's index operation does. Those that come in ascending order of their
// names find their places in the map beside each other, without a search from its root; any other
// order is right too, and takes longer. `env` outlives the object, and nothing is erased meanwhile.
class EnvWriter {
 public:
  explicit EnvWriter(std::map<std::string, std::string>& env) : env_(env), next_(env.begin()) {}

  void set(std::string_view name, std::string value);

 private:
  std::map<std::string, std::string>& env_;
  std::map<std::string, std::string>::iterator next_;  // behind the last one that was set
};

#endif  // VARS_ENV_WRITER_H_
