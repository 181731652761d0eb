#include "host/radius.h"

#include <cstddef>
#include <cstdint>

#include "platform/wire_bytes.h"

namespace radius {

namespace {

constexpr unsigned kVendorSpecific = 26;
constexpr std::size_t kHeaderBytes = 2;  // type and length of an attribute
constexpr std::size_t kVendorBytes = 4;
constexpr std::size_t kMaxAttributeBytes = 255;

// Reads attributes one after the other from bytes that nothing is known of.
class Reader {
 public:
  Reader(const unsigned char* data, std::size_t size) : next_(data), left_(size) {}

  // Moves on to the next attribute. False at the end and at a malformed one; no further call then.
  bool next() {
    if (left_ < kHeaderBytes || next_[1] < kHeaderBytes || next_[1] > left_) {
      return false;
    }
    type = next_[0];
    value = next_ + kHeaderBytes;
    length = next_[1] - kHeaderBytes;
    left_ -= next_[1];
    next_ += next_[1];
    return true;
  }

  // Whether next() stopped because nothing was left.
  bool atEnd() const { return left_ == 0; }

  unsigned type = 0;
  const unsigned char* value = nullptr;
  std::size_t length = 0;

 private:
  const unsigned char* next_;
  std::size_t left_;
};

// Where the value of an attribute lies; null when the packet has no such occurrence.
struct Found {
  const unsigned char* value = nullptr;
  std::size_t length = 0;
};

Found find(const std::vector<unsigned char>& bytes, unsigned vendor, unsigned type,
           unsigned index) {
  Reader outer(bytes.data(), bytes.size());
  while (outer.next()) {
    if (outer.type != kVendorSpecific) {
      if (vendor == 0 && outer.type == type && index-- == 0) {
        return {outer.value, outer.length};
      }
      continue;
    }
    if (outer.length < kVendorBytes) {
      return {};
    }
    // Walked whatever vendor is looked for: a malformed attribute in there ends the packet.
    const bool wantedVendor = vendor != 0 && wire::load32(outer.value) == vendor;
    Reader inner(outer.value + kVendorBytes, outer.length - kVendorBytes);
    while (inner.next()) {
      if (wantedVendor && inner.type == type && index-- == 0) {
        return {inner.value, inner.length};
      }
    }
    if (!inner.atEnd()) {
      return {};
    }
  }
  return {};
}

}  // namespace

void Packet::add(unsigned vendor, unsigned type, const char* data, unsigned length) {
  const std::size_t headers = vendor == 0 ? kHeaderBytes : 2 * kHeaderBytes + kVendorBytes;
  const bool isContainer = vendor == 0 && type == kVendorSpecific;
  if (type == 0 || type > 255 || isContainer || length > kMaxAttributeBytes - headers) {
    return;
  }
  bytes.reserve(bytes.size() + headers + length);
  if (vendor != 0) {
    unsigned char vendorBytes[kVendorBytes];
    wire::store32(vendorBytes, vendor);
    bytes.push_back(kVendorSpecific);
    bytes.push_back(static_cast<unsigned char>(headers + length));
    bytes.insert(bytes.end(), vendorBytes, vendorBytes + kVendorBytes);
  }
  bytes.push_back(static_cast<unsigned char>(type));
  bytes.push_back(static_cast<unsigned char>(kHeaderBytes + length));
  bytes.insert(bytes.end(), data, data + length);
}

bool Packet::get(unsigned vendor, unsigned type, std::string* value, unsigned index) const {
  const Found found = find(bytes, vendor, type, index);
  if (found.value == nullptr) {
    return false;
  }
  value->assign(reinterpret_cast<const char*>(found.value), found.length);
  return true;
}

bool Packet::get(unsigned vendor, unsigned type, unsigned* value, unsigned index) const {
  const Found found = find(bytes, vendor, type, index);
  if (found.value == nullptr || found.length != 4) {
    return false;
  }
  *value = wire::load32(found.value);
  return true;
}

}  // namespace radius
