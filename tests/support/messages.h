// Messages of the hotspot manager, written and read as a test's table writes them.

#ifndef TESTS_SUPPORT_MESSAGES_H_
#define TESTS_SUPPORT_MESSAGES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/message.h"

namespace fake {

// The word of an IPv4 address in network byte order: address(10, 5, 50, 2).
std::uint32_t address(unsigned a, unsigned b, unsigned c, unsigned d);

// A reply, built field by field: Reply().u32(0x08000011, 3).error(4, "no address left").
class Reply {
 public:
  Reply& flag(std::uint32_t id, bool value);
  Reply& u32(std::uint32_t id, std::uint32_t value);
  Reply& be32(std::uint32_t id, std::uint32_t value);
  Reply& u64(std::uint32_t id, std::uint64_t value);
  Reply& text(std::uint32_t id, const std::string& value);
  Reply& raw(std::uint32_t id, const std::vector<unsigned char>& value);
  Reply& error(unsigned code, const std::string& text);

  operator const nv::message&() const { return message_; }

 private:
  nv::message message_;
};

// One line for each field in order of insertion: "0x88ff0001 [63 13]", "0x08ff0007 2",
// "0x000003f1 true", "0x20000001 'anna'", "0x30000439 <0a1b>".
std::vector<std::string> fieldLines(const nv::message& message);

}  // namespace fake

#endif  // TESTS_SUPPORT_MESSAGES_H_
