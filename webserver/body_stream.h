// The stream into which a response's body is written: memory that grows.

#ifndef WEBSERVER_BODY_STREAM_H_
#define WEBSERVER_BODY_STREAM_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <streambuf>

namespace web {

class BodyBuffer : public std::streambuf {
 public:
  // Bytes that are kept from one response to the next.
  static constexpr std::size_t kKeptBytes = 65536;

  const char* data() const { return memory_.get(); }
  std::size_t size() const { return static_cast<std::size_t>(pptr() - pbase()); }
  // Forgets what was written.
  void clear();

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize length) override;

 private:
  // Throws std::bad_alloc, which the stream turns into its bad state.
  void grow(std::size_t more);

  std::unique_ptr<char[]> memory_;
  std::size_t capacity_ = 0;
};

// The two together. The stream is bad once memory ran out.
class BodyStream : public std::ostream {
 public:
  BodyStream() : std::ostream(&buffer_) {}

  BodyBuffer& buffer() { return buffer_; }
  const BodyBuffer& buffer() const { return buffer_; }
  // As new: empty, good, with the default formats.
  void reset();

 private:
  BodyBuffer buffer_;
};

}  // namespace web

#endif  // WEBSERVER_BODY_STREAM_H_
