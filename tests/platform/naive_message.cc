#include "tests/platform/naive_message.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <set>

#include "tests/platform/bytes.h"

namespace {

const std::string kEmptyMessage("\x01\x00\x00\x04", 4);

std::uint64_t number(const std::string& bytes) {
  std::uint64_t result = 0;
  for (const char c : bytes) {
    result = result * 256 + static_cast<unsigned char>(c);
  }
  return result;
}

std::string bytesOfNumber(std::uint64_t value, int length) {
  std::string result;
  for (int shift = 8 * (length - 1); shift >= 0; shift -= 8) {
    result += static_cast<char>(value >> shift & 255);
  }
  return result;
}

// Memory whose last byte lies right before a page that nobody may touch: reading one byte too many
// ends the process.
class Precipice {
 public:
  Precipice() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    usable_ = (nv::kMaxMessageBytes / page + 2) * page;
    memory_ = static_cast<char*>(
        mmap(nullptr, usable_ + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (memory_ == MAP_FAILED || mprotect(memory_ + usable_, page, PROT_NONE) != 0) {
      throw std::bad_alloc();
    }
  }

  // The bytes at the end of the usable part; there until the next call.
  const char* place(const std::string& bytes) {
    char* const to = memory_ + usable_ - bytes.size();
    std::memcpy(to, bytes.data(), bytes.size());
    return to;
  }

 private:
  std::size_t usable_ = 0;
  char* memory_ = nullptr;
};

bool valueIsRight(std::uint64_t type, const std::string& value) {
  if (type == 0x00) {
    return value == std::string(1, '\0') || value == std::string(1, '\1');
  }
  if (type == 0x08) {
    return value.size() == 4;
  }
  if (type == 0x10) {
    return value.size() == 8;
  }
  if (type == 0x88) {
    return value.size() % 4 == 0;
  }
  return type == 0x20 || type == 0x30;
}

}  // namespace

std::optional<NaiveFields> naiveDecode(const std::string& bytes) {
  if (bytes.size() < 4 || bytes.size() > 65536 || bytes[0] != 1 ||
      number(bytes.substr(1, 3)) != bytes.size()) {
    return std::nullopt;
  }
  NaiveFields fields;
  std::set<std::uint64_t> ids;
  std::size_t at = 4;
  while (at < bytes.size()) {
    if (bytes.size() - at < 8) {
      return std::nullopt;
    }
    const std::uint64_t id = number(bytes.substr(at, 4));
    const auto length = static_cast<std::size_t>(number(bytes.substr(at + 4, 4)));
    at += 8;
    if (bytes.size() - at < length) {
      return std::nullopt;
    }
    const std::string value = bytes.substr(at, length);
    if (!valueIsRight(id / 0x1000000, value) || !ids.insert(id).second) {
      return std::nullopt;
    }
    fields.emplace_back(static_cast<std::uint32_t>(id), value);
    at += length;
  }
  return fields;
}

std::string naiveEncode(const NaiveFields& fields) {
  std::string body;
  for (const auto& [id, value] : fields) {
    body += bytesOfNumber(id, 4) + bytesOfNumber(value.size(), 4) + value;
  }
  return "\x01" + bytesOfNumber(body.size() + 4, 3) + body;
}

std::string valueBytes(const nv::message& msg, std::uint32_t id) {
  std::string result;
  switch (id >> 24) {
    case 0x00:
      return bytesOfNumber(msg.get_bool(id, false) ? 1 : 0, 1);
    case 0x08:
      return bytesOfNumber(msg.get_u32(id, 0), 4);
    case 0x10:
      return bytesOfNumber(msg.get_u64(id, 0), 8);
    case 0x20:
      return msg.get_string(id, "none");
    case 0x30:
      for (const unsigned char byte : msg.get_raw(id, {})) {
        result += static_cast<char>(byte);
      }
      return result;
    case 0x88:
      for (const unsigned word : msg.get_u32_array(id, {})) {
        result += bytesOfNumber(word, 4);
      }
      return result;
    default:
      return "no such type";
  }
}

void expectSameReading(const std::string& bytes) {
  const std::optional<NaiveFields> expected = naiveDecode(bytes);
  nv::message msg;
  msg.insert_u32(0x08000099, 7);  // what was there before must never show through
  static Precipice precipice;
  const bool accepted = msg.decode(precipice.place(bytes), bytes.size());
  if (!expected) {
    ASSERT_FALSE(accepted) << toHex(bytes);
    ASSERT_EQ(msg.encode(), kEmptyMessage) << toHex(bytes);
    return;
  }
  ASSERT_TRUE(accepted) << toHex(bytes);
  ASSERT_EQ(msg.encode(), bytes);
  std::vector<std::uint32_t> ids;
  for (const auto& [id, value] : *expected) {
    ids.push_back(id);
    ASSERT_EQ(msg.size_field(id) != 0, true) << toHex(bytes);
    ASSERT_EQ(valueBytes(msg, id), value) << toHex(bytes);
  }
  ASSERT_EQ(msg.ids(), ids) << toHex(bytes);
}
