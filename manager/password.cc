#include "manager/password.h"

#include <crypt.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cctype>
#include <memory>
#include <new>
#include <stdexcept>

namespace manager {

namespace {

constexpr std::size_t kMd5Bytes = 16;
constexpr char kHexDigits[] = "0123456789abcdef";

bool sameBytes(const std::string& a, const std::string& b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

bool looksLikeChap(const std::string& text) {
  if (text.size() != 2 * kMd5Bytes) return false;
  for (const char c : text) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

std::string chapAnswer(const Challenge& challenge, const std::string& password) {
  const std::string input = challenge.substr(0, 1) + password + challenge.substr(1);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(input.data(), input.size(), digest, &length, EVP_md5(), nullptr) != 1 ||
      length != kMd5Bytes) {
    throw std::runtime_error("MD5 is not available");
  }
  std::string text;
  for (std::size_t i = 0; i < kMd5Bytes; ++i) {
    text += kHexDigits[digest[i] >> 4];
    text += kHexDigits[digest[i] & 0xf];
  }
  return text;
}

bool chapMatches(const std::string& answer, const std::string& password,
                 const std::vector<Challenge>& challenges) {
  std::string lower;
  for (const char c : answer) {
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  for (const Challenge& challenge : challenges) {
    if (sameBytes(lower, chapAnswer(challenge, password))) return true;
  }
  return false;
}

bool plainMatches(const std::string& given, const std::string& password) {
  // Compared as digests, so that the time does not tell the password's length either.
  const Challenge none(1, '\0');
  return sameBytes(chapAnswer(none, given), chapAnswer(none, password)) && given == password;
}

bool hashMatches(const std::string& given, const std::string& hash) {
  // Too long for crypt(3): a wrong password, and nothing that failed.
  if (given.size() >= CRYPT_MAX_PASSPHRASE_SIZE) return false;
  // crypt_data is 32 KiB: too much for a small stack.
  const auto data = std::make_unique<crypt_data>();
  const char* result = crypt_r(given.c_str(), hash.c_str(), data.get());
  const bool failed = !result || *result == '*';
  // No password is wrong for want of memory.
  if (failed && isUsableHash(hash)) throw std::bad_alloc();
  return result && given.find('\0') == std::string::npos && sameBytes(result, hash);
}

bool isUsableHash(const std::string& text) {
  if (text.rfind("$y$", 0) != 0) return false;
  return crypt_checksalt(text.c_str()) == CRYPT_SALT_OK && text.find_last_of('$') > 3 &&
         text.size() > text.find_last_of('$') + 40;
}

}  // namespace manager
