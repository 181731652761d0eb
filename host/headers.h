// A list of HTTP header fields (RFC 9110 section 5), of a request or of a response.

#ifndef HOST_HEADERS_H_
#define HOST_HEADERS_H_

#include <string>
#include <utility>
#include <vector>

// Keeps fields in the order in which they were added. Names are compared without regard to ASCII
// letter case. One list belongs to one thread at a time.
class Headers {
 public:
  using Field = std::pair<std::string, std::string>;

  // True, and the value copied into `*value`, when there is a field of that name (of several the
  // first); false otherwise, with `*value` untouched.
  bool getHeader(const std::string& name, std::string* value) const;

  // Adds a field. With `replace` the fields of that name that are there already go first. Values
  // are kept as given: whoever writes the list to a connection must let no CR, LF or NUL byte of it
  // pass.
  void addHeader(const std::string& name, const std::string& value, bool replace);
  // The same with the number in decimal.
  void addHeader(const std::string& name, int value, bool replace);

  const std::vector<Field>& fields() const;

 private:
  std::vector<Field> fields_;
};

#endif  // HOST_HEADERS_H_
