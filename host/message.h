// The platform's typed message: what the web server and the hotspot manager say to each other. A
// message is a list of fields in order of insertion, each with a 32-bit id whose top byte is the
// type of its value: 0x00 bool, 0x08 unsigned 32-bit, 0x10 unsigned 64-bit, 0x20 string, 0x30 raw
// bytes, 0x88 array of unsigned 32-bit. docs/message-format.md has the wire form.

#ifndef HOST_MESSAGE_H_
#define HOST_MESSAGE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nv {

// Longest wire form of a message that can be sent, in bytes. A message in memory has no such limit.
constexpr std::size_t kMaxMessageBytes = 65536;

// Type of a field's value: the top byte of its id.
enum FieldType : std::uint32_t {
  kBool = 0x00,
  kU32 = 0x08,
  kU64 = 0x10,
  kString = 0x20,
  kRaw = 0x30,
  kU32Array = 0x88,
};

constexpr std::uint32_t typeOf(std::uint32_t id) { return id >> 24; }

// The error form: a message that holds kErrorCode is an error reply.
constexpr std::uint32_t kErrorCode = 0x08ff0100;
constexpr std::uint32_t kErrorText = 0x20ff0101;

// A message owns its bytes: copies are deep, and nothing that a getter returns refers to it. One
// message belongs to one thread at a time.
//
// insert_*: adds the field at the end, or replaces the value in place when the id is there already.
//   REQUIRES: the id's top byte is that of the operation's type; another id is ignored.
//   Values of any size; what memory does not hold throws as std::string does (a value of 4 GiB
//   or more always, std::length_error), and the message is then as it was.
// get_*: the field's value, or `def` when the message has no such field or its id is of another
// type.
class message {
 public:
  message();
  message(const message& other);
  message(message&& other) noexcept;
  message& operator=(const message& other);
  message& operator=(message&& other) noexcept;
  ~message();

  void insert_bool(std::uint32_t id, bool value);
  void insert_u32(std::uint32_t id, std::uint32_t value);
  // An IPv4 address: `value` is a word in network byte order; the same field read with get_u32 is
  // the number 0x0a053202 for 10.5.50.2 on every machine.
  void insert_be32(std::uint32_t id, std::uint32_t value);
  void insert_u64(std::uint32_t id, std::uint64_t value);
  void insert_string(std::uint32_t id, const std::string& value);
  void insert_raw(std::uint32_t id, const std::vector<unsigned char>& value);
  void insert_u32_array(std::uint32_t id, const std::vector<unsigned>& value);

  bool get_bool(std::uint32_t id, bool def) const;
  std::uint32_t get_u32(std::uint32_t id, std::uint32_t def) const;
  std::uint32_t get_be32(std::uint32_t id, std::uint32_t def) const;
  std::uint64_t get_u64(std::uint32_t id, std::uint64_t def) const;
  std::string get_string(std::uint32_t id, const std::string& def) const;
  std::vector<unsigned char> get_raw(std::uint32_t id, const std::vector<unsigned char>& def) const;
  std::vector<unsigned> get_u32_array(std::uint32_t id, const std::vector<unsigned>& def) const;

  // Non-zero when the message holds the field, also with an empty value.
  unsigned size_field(std::uint32_t id) const;
  // The same for a field of type kU32; 0 for an id of another type.
  unsigned size_u32(std::uint32_t id) const;

  void erase(std::uint32_t id);

  // Ids in order of insertion.
  std::vector<std::uint32_t> ids() const;

  // True when the wire form is at most kMaxMessageBytes long: it can be sent. Senders ask first.
  bool fits() const;

  // The wire form. Valid until the message changes.
  // REQUIRES: fits(). The bytes of a longer message are there too, but no receiver takes them.
  const std::string& encode() const;

  // Replaces the content by that of a wire form. False, and the message is then empty, when the
  // bytes are no complete well-formed message (too long, cut short, unknown type, a length that
  // does not fit its type, an id twice). Any bytes; trusts none of them.
  bool decode(const void* data, std::size_t length);

 private:
  struct Found;
  Found find(std::uint32_t id) const;
  void put(std::uint32_t id, const void* value, std::size_t length);
  template <std::size_t kBytes>
  void putNumber(std::uint32_t id, const unsigned char (&value)[kBytes]);

  std::string wire_;  // the wire form as it stands
  // A bit of each id that was put in, as the id chooses it: a field whose bit is clear is not
  // searched for.
  std::uint64_t mayHold_ = 0;
};

// True when `msg` is an error reply; then `*code` and `*text` (each may be null) receive its code
// and its text, which may be empty.
bool isError(const message& msg, unsigned* code, std::string* text);

// The text of an error reply; "error 0x" and the code in lower-case hexadecimal when it has none.
// REQUIRES: isError(msg, ...).
std::string getError(const message& msg);

// Makes `*msg` an error reply.
void setError(message* msg, unsigned code, const std::string& text);

// Seconds since the system started, on the clock that the hotspot manager's time fields use
// (CLOCK_BOOTTIME of clock_gettime(2)). Wraps after 136 years.
std::uint32_t getUptime();

}  // namespace nv

#endif  // HOST_MESSAGE_H_
