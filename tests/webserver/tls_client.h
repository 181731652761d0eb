// A TLS client that can resume a session of an earlier one.

#ifndef TESTS_WEBSERVER_TLS_CLIENT_H_
#define TESTS_WEBSERVER_TLS_CLIENT_H_

#include <memory>
#include <string>

struct ssl_session_st;
struct ssl_st;
struct ssl_ctx_st;

// Keeps the newest session that the server gave.
class TlsMemory {
 public:
  // `version`: 12 or 13, the only one that is spoken.
  explicit TlsMemory(int version);
  ~TlsMemory();
  TlsMemory(const TlsMemory&) = delete;
  TlsMemory& operator=(const TlsMemory&) = delete;

  bool hasSession() const { return session_ != nullptr; }

 private:
  friend class TlsClient;
  static int keep(ssl_st* ssl, ssl_session_st* session);
  ssl_ctx_st* context_;
  ssl_session_st* session_ = nullptr;
};

class TlsClient {
 public:
  // Connects and resumes the remembered session, if the server agrees.
  TlsClient(unsigned port, TlsMemory& memory);
  ~TlsClient();
  TlsClient(const TlsClient&) = delete;
  TlsClient& operator=(const TlsClient&) = delete;

  bool connected() const { return connected_; }
  bool resumed() const;
  // Common name of the server's certificate.
  std::string serverName() const;
  // Asks for new keys: a renegotiation in TLS 1.2, an update of the keys in 1.3. False when the
  // server refuses.
  bool askForNewKeys() const;
  bool send(const std::string& bytes) const;
  // All that comes until `end` was seen, the connection ends, or 20 s of silence.
  std::string readUntil(const std::string& end) const;
  // A GET over this connection that asks to close it; the whole answer.
  std::string fetch(const std::string& target) const;

 private:
  int socket_ = -1;
  ssl_st* ssl_ = nullptr;
  bool connected_ = false;
};

#endif  // TESTS_WEBSERVER_TLS_CLIENT_H_
