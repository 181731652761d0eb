// What a fuzz target asserts. A property that does not hold ends the process with a message, as a
// sanitizer does, so that libFuzzer keeps the input.

#ifndef FUZZ_CHECK_H_
#define FUZZ_CHECK_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// The one entry of a target. Any bytes; gives 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline void check(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "PROPERTY BROKEN: %s\n", property);
  std::abort();
}

// The same with the two sides of a comparison, which may hold any bytes.
inline void checkEqual(const std::string& got, const std::string& expected, const char* property) {
  if (got == expected) return;
  std::fprintf(stderr, "PROPERTY BROKEN: %s\n--- got\n", property);
  std::fwrite(got.data(), 1, got.size(), stderr);
  std::fputs("\n--- expected\n", stderr);
  std::fwrite(expected.data(), 1, expected.size(), stderr);
  std::fputs("\n", stderr);
  std::abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

}  // namespace fuzz

#endif  // FUZZ_CHECK_H_
