// Taking in a message's wire form. The bytes may come from anywhere; nothing of them is believed
// before it was checked against what is really there.

#include <algorithm>
#include <vector>

#include "host/message.h"
#include "platform/message_layout.h"
#include "platform/wire_bytes.h"

namespace nv {

namespace {

// The ids seen so far. An ordinary message stays in the fixed part, where an id whose bit is new
// is compared with none and another one with all; what goes on from there is sorted at the end, so
// that a message made of ten thousand tiny fields is no lever on the receiver's time.
class SeenIds {
 public:
  // False when the id is known to be there already. Ids past the first kFixed are judged only by
  // allDistinct().
  bool add(std::uint32_t id) {
    const std::uint64_t bit = layout::bitOf(id);
    const bool isNew = (bits_ & bit) == 0;
    bits_ |= bit;
    if (count_ < kFixed) {
      if (!isNew && std::find(fixed_, fixed_ + count_, id) != fixed_ + count_) {
        return false;
      }
      fixed_[count_++] = id;
      return true;
    }
    if (more_.empty()) {
      more_.assign(fixed_, fixed_ + kFixed);
    }
    more_.push_back(id);
    return true;
  }

  // Reorders what was collected: the last call but for bits().
  bool allDistinct() {
    std::sort(more_.begin(), more_.end());
    return std::adjacent_find(more_.begin(), more_.end()) == more_.end();
  }

  // layout::bitOf of each of them.
  std::uint64_t bits() const { return bits_; }

 private:
  static constexpr std::size_t kFixed = 64;
  std::uint64_t bits_ = 0;
  std::uint32_t fixed_[kFixed];
  std::size_t count_ = 0;
  std::vector<std::uint32_t> more_;  // all of them once there are more than kFixed
};

bool isWellFormed(const unsigned char* data, std::size_t length, SeenIds* seen) {
  if (length < layout::kHeaderBytes || length > kMaxMessageBytes ||
      wire::load32(data) != layout::headerWord(length)) {
    return false;
  }
  const unsigned char* field = data + layout::kHeaderBytes;
  std::size_t left = length - layout::kHeaderBytes;
  while (left > 0) {
    if (left < layout::kFieldHeaderBytes) {
      return false;
    }
    const std::uint32_t id = wire::load32(field);
    const std::size_t valueBytes = wire::load32(field + 4);
    left -= layout::kFieldHeaderBytes;
    if (valueBytes > left || !layout::lengthFits(id, valueBytes) || !seen->add(id)) {
      return false;
    }
    const unsigned char* const value = field + layout::kFieldHeaderBytes;
    if (typeOf(id) == kBool && value[0] > 1) {
      return false;
    }
    left -= valueBytes;
    field = value + valueBytes;
  }
  return seen->allDistinct();
}

}  // namespace

bool message::decode(const void* data, std::size_t length) {
  SeenIds seen;
  const bool wellFormed = isWellFormed(static_cast<const unsigned char*>(data), length, &seen);
  if (wellFormed) {
    wire_.assign(static_cast<const char*>(data), length);
    mayHold_ = seen.bits();
  } else {
    *this = message();
  }
  return wellFormed;
}

}  // namespace nv
