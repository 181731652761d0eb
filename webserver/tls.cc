#include "webserver/tls.h"

#include <openssl/err.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace web {
namespace {

std::string lastError() {
  const unsigned long code = ERR_get_error();
  ERR_clear_error();
  const char* text = ERR_reason_error_string(code);
  if (ERR_SYSTEM_ERROR(code)) return std::strerror(ERR_GET_REASON(code));
  return text != nullptr ? text : "unknown error";
}

class TlsTransport : public Transport {
 public:
  explicit TlsTransport(SSL* ssl) : ssl_(ssl) {}
  ~TlsTransport() override { SSL_free(ssl_); }

  Io read(char* buffer) override {
    ERR_clear_error();
    std::size_t bytes = 0;
    const int ok = SSL_read_ex(ssl_, buffer, kReadBytes, &bytes);
    return result(ok, bytes);
  }

  bool holdsBack() const override { return SSL_has_pending(ssl_) == 1; }

  Io write(const iovec* parts, int count) override {
    // One record for a small answer, not one for its header and one for its body.
    char joined[kReadBytes];
    std::size_t length = 0;
    const void* data = joined;
    if (count == 1 || parts[0].iov_len >= sizeof joined) {
      data = parts[0].iov_base;
      length = parts[0].iov_len;
    } else {
      for (int i = 0; i < count && length < sizeof joined; ++i) {
        const std::size_t part = std::min(parts[i].iov_len, sizeof joined - length);
        std::memcpy(joined + length, parts[i].iov_base, part);
        length += part;
      }
    }
    ERR_clear_error();
    std::size_t bytes = 0;
    const int ok = SSL_write_ex(ssl_, data, length, &bytes);
    return result(ok, bytes);
  }

  void finish() override {
    ERR_clear_error();
    if (SSL_is_init_finished(ssl_) != 0) SSL_shutdown(ssl_);
    ERR_clear_error();
  }

 private:
  Io result(int ok, std::size_t bytes) {
    if (ok > 0) return {Io::kBytes, bytes};
    switch (SSL_get_error(ssl_, ok)) {
      case SSL_ERROR_WANT_READ:
        return {Io::kWantRead};
      case SSL_ERROR_WANT_WRITE:
        return {Io::kWantWrite};
      case SSL_ERROR_ZERO_RETURN:
        return {Io::kEnd};
      default:
        ERR_clear_error();
        return {Io::kFailed};
    }
  }

  SSL* const ssl_;
};

void checkFile(const Config& config, const std::string& key, const std::string& path, int loaded) {
  if (loaded == 1) return;
  throw ConfigError(config.where(key) + ": cannot use " + path + ": " + lastError() +
                    "; it has to be a PEM file that this program may read");
}

}  // namespace

TicketKeys::TicketKeys() {
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
    throw ConfigError("no random bytes for the TLS ticket keys: " + lastError());
  }
}

Tls::Tls(const Config& config, TicketKeys& keys) : context_(SSL_CTX_new(TLS_server_method())) {
  if (context_ == nullptr) throw std::bad_alloc();
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> owner(context_, SSL_CTX_free);
  SSL_CTX_set_min_proto_version(context_, TLS1_2_VERSION);
  SSL_CTX_set_options(
      context_, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_mode(context_, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                 SSL_MODE_RELEASE_BUFFERS);
  // Sessions live in the clients' tickets alone: a cache would be one worker's own.
  SSL_CTX_set_session_cache_mode(context_, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_num_tickets(context_, 1);
  static constexpr unsigned char kSessionContext[] = "hotspot";
  SSL_CTX_set_session_id_context(context_, kSessionContext, sizeof kSessionContext - 1);
  SSL_CTX_set_tlsext_ticket_keys(context_, keys.bytes.data(), static_cast<long>(keys.bytes.size()));

  ERR_clear_error();
  // The key first: with the certificate there, a key that is not its own could not be told from a
  // file that is no key.
  checkFile(config, "key", config.key,
            SSL_CTX_use_PrivateKey_file(context_, config.key.c_str(), SSL_FILETYPE_PEM));
  checkFile(config, "certificate", config.certificate,
            SSL_CTX_use_certificate_chain_file(context_, config.certificate.c_str()));
  if (SSL_CTX_check_private_key(context_) != 1) {
    throw ConfigError(config.where("key") + ": " + config.key + " is not the key of " +
                      config.certificate);
  }
  SSL_CTX_up_ref(context_);
}

Tls::~Tls() { SSL_CTX_free(context_); }

std::unique_ptr<Transport> Tls::makeTransport(int socket) const {
  std::unique_ptr<SSL, decltype(&SSL_free)> owner(SSL_new(context_), SSL_free);
  if (owner == nullptr) throw std::bad_alloc();
  auto transport = std::make_unique<TlsTransport>(owner.get());
  SSL* const ssl = owner.release();
  if (SSL_set_fd(ssl, socket) != 1) throw std::bad_alloc();
  SSL_set_accept_state(ssl);
  return transport;
}

}  // namespace web
