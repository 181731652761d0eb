#include "webserver/body_stream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

namespace web {
namespace {

constexpr std::size_t kFirstBytes = 8192;

}  // namespace

void BodyBuffer::clear() {
  if (capacity_ > kKeptBytes) {
    memory_.reset();
    capacity_ = 0;
  }
  setp(memory_.get(), memory_.get() + capacity_);
}

void BodyBuffer::grow(std::size_t more) {
  const std::size_t used = size();
  // pbump() below counts in int.
  if (more > INT_MAX - used) throw std::bad_alloc();
  const std::size_t capacity =
      std::min<std::size_t>(std::max({kFirstBytes, capacity_ * 2, used + more}), INT_MAX);
  std::unique_ptr<char[]> memory(new char[capacity]);
  if (used > 0) std::memcpy(memory.get(), memory_.get(), used);
  memory_ = std::move(memory);
  capacity_ = capacity;
  setp(memory_.get(), memory_.get() + capacity_);
  pbump(static_cast<int>(used));
}

BodyBuffer::int_type BodyBuffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  grow(1);
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  return c;
}

std::streamsize BodyBuffer::xsputn(const char* text, std::streamsize length) {
  if (length <= 0) return 0;
  if (length > epptr() - pptr()) grow(static_cast<std::size_t>(length));
  std::memcpy(pptr(), text, static_cast<std::size_t>(length));
  pbump(static_cast<int>(length));
  return length;
}

void BodyStream::reset() {
  buffer_.clear();
  clear();
  flags(std::ios_base::dec | std::ios_base::skipws);
  width(0);
  precision(6);
  fill(' ');
}

}  // namespace web
