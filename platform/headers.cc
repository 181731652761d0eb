#include "host/headers.h"

#include "platform/ascii.h"

bool Headers::getHeader(const std::string& name, std::string* value) const {
  for (const Field& field : fields_) {
    if (ascii::equalIgnoringCase(field.first, name)) {
      *value = field.second;
      return true;
    }
  }
  return false;
}

void Headers::addHeader(const std::string& name, const std::string& value, bool replace) {
  // Copied first: the arguments may belong to one of the fields that go.
  Field added(name, value);
  if (replace) {
    std::erase_if(fields_, [&added](const Field& field) {
      return ascii::equalIgnoringCase(field.first, added.first);
    });
  }
  fields_.push_back(std::move(added));
}

void Headers::addHeader(const std::string& name, int value, bool replace) {
  addHeader(name, std::to_string(value), replace);
}

const std::vector<Headers::Field>& Headers::fields() const { return fields_; }
