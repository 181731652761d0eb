// The bytes of a message: decoding agrees with the naive reader of its tests, what is accepted
// encodes to the same bytes, and a message that is built from its own fields is the same.

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "tests/platform/naive_message.h"

namespace {

const std::string kEmptyMessage("\x01\x00\x00\x04", 4);

void copyField(const nv::message& from, std::uint32_t id, nv::message* to) {
  switch (nv::typeOf(id)) {
    case nv::kBool:
      return to->insert_bool(id, from.get_bool(id, false));
    case nv::kU32:
      return to->insert_u32(id, from.get_u32(id, 0));
    case nv::kU64:
      return to->insert_u64(id, from.get_u64(id, 0));
    case nv::kString:
      return to->insert_string(id, from.get_string(id, ""));
    case nv::kRaw:
      return to->insert_raw(id, from.get_raw(id, {}));
    default:
      return to->insert_u32_array(id, from.get_u32_array(id, {}));
  }
}

// Getters of a type that the id does not have, and of an id that is not there, give the default.
void checkDefaults(const nv::message& msg, std::uint32_t id) {
  const std::uint32_t other = id ^ 0x10000000;
  for (const std::uint32_t each : {other, id}) {
    const std::uint32_t type = nv::typeOf(each);
    if (each == other && msg.size_field(other) != 0) continue;
    if (each == other || type != nv::kU32) {
      fuzz::check(msg.get_u32(each, 77) == 77, "get_u32 gives the default");
      fuzz::check(msg.size_u32(each) == 0, "size_u32 knows numbers alone");
    }
    if (each == other || type != nv::kString) {
      fuzz::check(msg.get_string(each, "def") == "def", "get_string gives the default");
    }
    if (each == other || type != nv::kRaw) {
      fuzz::check(msg.get_raw(each, {7}).size() == 1, "get_raw gives the default");
    }
  }
}

void checkErrorForm(const nv::message& msg) {
  unsigned code = 4711;
  std::string text = "untouched";
  const bool hasCode = msg.size_field(nv::kErrorCode) != 0;
  fuzz::check(nv::isError(msg, &code, &text) == hasCode, "the code alone makes an error");
  if (!hasCode) {
    fuzz::check(code == 4711 && text == "untouched", "no error, nothing written");
    return;
  }
  fuzz::check(code == msg.get_u32(nv::kErrorCode, 0), "the error's code");
  fuzz::checkEqual(text, msg.get_string(nv::kErrorText, ""), "the error's text");
  fuzz::check(!nv::getError(msg).empty(), "an error says something");
}

// Removes every second field and replaces the others by themselves.
void checkChanges(nv::message msg, NaiveFields fields) {
  NaiveFields kept;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i % 2 == 0) {
      msg.erase(fields[i].first);
    } else {
      kept.push_back(fields[i]);
    }
  }
  fuzz::checkEqual(msg.encode(), naiveEncode(kept), "erased fields are gone, others stay");
  for (auto& [id, value] : kept) {
    if (nv::typeOf(id) != nv::kString) continue;
    value += value.size() % 3 == 0 ? "longer" : "";
    value.resize(value.size() % 3 == 1 ? value.size() / 2 : value.size());
    msg.insert_string(id, value);
  }
  fuzz::checkEqual(msg.encode(), naiveEncode(kept), "a replaced field keeps its place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = fuzz::textOf(data, size);
  const std::optional<NaiveFields> expected = naiveDecode(bytes);
  nv::message msg;
  msg.insert_u32(0x08000099, 7);  // what was there before must never show through
  const bool accepted = msg.decode(data, size);
  fuzz::check(accepted == expected.has_value(), "accepted if it is a message");
  if (!expected) {
    fuzz::checkEqual(msg.encode(), kEmptyMessage, "refused bytes leave an empty message");
    return 0;
  }
  fuzz::checkEqual(msg.encode(), bytes, "decoded and encoded is the same");
  fuzz::check(msg.fits(), "what was received can be sent");
  nv::message built;
  const std::vector<std::uint32_t> ids = msg.ids();
  fuzz::check(ids.size() == expected->size(), "as many ids as fields");
  for (std::size_t i = 0; i < ids.size(); ++i) {
    fuzz::check(ids[i] == (*expected)[i].first, "ids are in order");
    fuzz::check(msg.size_field(ids[i]) != 0, "a field that is there has a size");
    fuzz::checkEqual(valueBytes(msg, ids[i]), (*expected)[i].second, "the field's value");
    checkDefaults(msg, ids[i]);
    copyField(msg, ids[i], &built);
  }
  fuzz::checkEqual(built.encode(), bytes, "built from its fields it is the same");
  checkErrorForm(msg);
  checkChanges(msg, *expected);
  return 0;
}
