// A list of RADIUS attributes, held as the bytes in which RFC 2865 section 5 encodes them: type,
// length, value; vendor attributes inside type 26 as the vendor's 4-byte number, then type, length,
// value.

#ifndef HOST_RADIUS_H_
#define HOST_RADIUS_H_

#include <string>
#include <vector>

namespace radius {

// A plain value. Bytes that came from elsewhere may be malformed: reading stops at the first
// malformed attribute, also at one inside a type 26, and the ones before it count.
struct Packet {
  std::vector<unsigned char> bytes;

  // Appends one attribute; `vendor` 0 is a standard attribute. A value that does not fit (more than
  // 253 bytes, 247 for a vendor's), a type above 255, type 0 and a standard type 26 add nothing
  // (type 26 only holds the vendors' attributes; it is no attribute of its own, here and in get()).
  void add(unsigned vendor, unsigned type, const char* data, unsigned length);

  // The value of the index-th occurrence (from 0) of an attribute. False, and `*value` untouched,
  // when there is no such occurrence; the unsigned form also when the value is not exactly 4 bytes
  // (most significant first).
  bool get(unsigned vendor, unsigned type, std::string* value, unsigned index) const;
  bool get(unsigned vendor, unsigned type, unsigned* value, unsigned index) const;
};

}  // namespace radius

#endif  // HOST_RADIUS_H_
