#include "tests/webserver/tls_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

#include "tests/webserver/http_client.h"

TlsMemory::TlsMemory(int version) : context_(SSL_CTX_new(TLS_client_method())) {
  std::signal(SIGPIPE, SIG_IGN);  // the library writes without MSG_NOSIGNAL
  const int number = version == 12 ? TLS1_2_VERSION : TLS1_3_VERSION;
  SSL_CTX_set_min_proto_version(context_, number);
  SSL_CTX_set_max_proto_version(context_, number);
  SSL_CTX_set_session_cache_mode(context_, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  SSL_CTX_sess_set_new_cb(context_, keep);
  SSL_CTX_set_app_data(context_, this);
}

TlsMemory::~TlsMemory() {
  SSL_SESSION_free(session_);
  SSL_CTX_free(context_);
}

int TlsMemory::keep(ssl_st* ssl, ssl_session_st* session) {
  auto* self = static_cast<TlsMemory*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
  SSL_SESSION_free(self->session_);
  self->session_ = session;
  return 1;
}

TlsClient::TlsClient(unsigned port, TlsMemory& memory) {
  socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval patience{20, 0};
  setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(static_cast<std::uint16_t>(port));
  inet_pton(AF_INET, "127.0.0.1", &server.sin_addr);
  ssl_ = SSL_new(memory.context_);
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) return;
  SSL_set_fd(ssl_, socket_);
  if (memory.session_ != nullptr) {
    // A copy: the library spoils a session whose connection fails.
    ssl_session_st* copy = SSL_SESSION_dup(memory.session_);
    SSL_set_session(ssl_, copy);
    SSL_SESSION_free(copy);
  }
  connected_ = SSL_connect(ssl_) == 1;
}

TlsClient::~TlsClient() {
  // A session whose connection was cut off is not to be resumed, says the library.
  SSL_set_shutdown(ssl_, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
  SSL_free(ssl_);
  close(socket_);
}

bool TlsClient::resumed() const { return SSL_session_reused(ssl_) == 1; }

std::string TlsClient::serverName() const {
  X509* certificate = SSL_get1_peer_certificate(ssl_);
  if (certificate == nullptr) return "";
  char name[256] = "";
  X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name, sizeof name);
  X509_free(certificate);
  return name;
}

bool TlsClient::askForNewKeys() const {
  const int asked = SSL_version(ssl_) == TLS1_3_VERSION
                        ? SSL_key_update(ssl_, SSL_KEY_UPDATE_REQUESTED)
                        : SSL_renegotiate(ssl_);
  return asked == 1 && SSL_do_handshake(ssl_) == 1;
}

bool TlsClient::send(const std::string& bytes) const {
  return SSL_write(ssl_, bytes.data(), static_cast<int>(bytes.size())) ==
         static_cast<int>(bytes.size());
}

std::string TlsClient::readUntil(const std::string& end) const {
  std::string text;
  char buffer[16384];
  while (end.empty() || text.find(end) == std::string::npos) {
    const int length = SSL_read(ssl_, buffer, sizeof buffer);
    if (length <= 0) break;
    text.append(buffer, static_cast<std::size_t>(length));
  }
  return text;
}

std::string TlsClient::fetch(const std::string& target) const {
  if (!send(getText(target, "Connection: close\r\n"))) return "";
  return readUntil("");
}
