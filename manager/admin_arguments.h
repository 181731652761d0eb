// Reading a verb's arguments, and the pieces that the administrator's verbs share.

#ifndef MANAGER_ADMIN_ARGUMENTS_H_
#define MANAGER_ADMIN_ARGUMENTS_H_

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace manager {

// Why a verb is refused: a sentence for the administrator.
class AdminRefusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A number of a record that is shown, and set, under a name.
template <class Record>
struct NumberField {
  const char* name;
  std::uint64_t& (*of)(Record&);
};

// Rows of one reply; a longer list comes in several, each request naming the last row it got.
constexpr std::size_t kRowsAReply = 50;

// Refuses arguments other than the named ones.
void onlyKeys(const nlohmann::json& arguments, std::initializer_list<const char*> keys);

// The argument's text. The first form refuses an absent one.
std::string textArgument(const nlohmann::json& arguments, const char* key);
std::string textArgument(const nlohmann::json& arguments, const char* key, const char* otherwise);

// A number from 0 to 2^63 - 1, the largest that the store holds.
std::uint64_t numberArgument(const nlohmann::json& arguments, const char* key);

bool flagArgument(const nlohmann::json& arguments, const char* key);

// Refuses what is no name: 1 to 128 bytes, no blanks at the ends, no control characters.
void checkName(const std::string& name, const char* what);

// Sets the fields that the arguments name.
template <class Record, std::size_t kCount>
void setNumbers(Record* record, const NumberField<Record> (&fields)[kCount],
                const nlohmann::json& arguments) {
  for (const NumberField<Record>& field : fields) {
    if (arguments.contains(field.name)) {
      field.of(*record) = numberArgument(arguments, field.name);
    }
  }
}

template <class Record, std::size_t kCount>
void showNumbers(Record record, const NumberField<Record> (&fields)[kCount],
                 nlohmann::json* shown) {
  for (const NumberField<Record>& field : fields) (*shown)[field.name] = field.of(record);
}

// A list's reply: {"rows": [...]}, with "next" when there is more behind the last row.
nlohmann::json rowsReply(nlohmann::json rows, const nlohmann::json& next);

}  // namespace manager

#endif  // MANAGER_ADMIN_ARGUMENTS_H_
