#include "tests/webserver/scripted_manager.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace {

constexpr std::uint32_t kNumberField = 0x08ff0006;

}  // namespace

ScriptedManager::ScriptedManager() {
  char name[] = "/tmp/scripted-manager-XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp");
  directory_ = name;
  path_ = directory_ + "/m.sock";
}

ScriptedManager::~ScriptedManager() {
  stop();
  rmdir(directory_.c_str());
}

void ScriptedManager::start(Handler handler) {
  handler_ = std::move(handler);
  listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path_.data(), path_.size());
  if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener_, 1024) != 0) {
    throw std::runtime_error("cannot listen on " + path_);
  }
  acceptor_ = std::thread([this] { accept(); });
}

void ScriptedManager::stop() {
  if (listener_ < 0) return;
  unlink(path_.c_str());
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  close(listener_);
  listener_ = -1;
  {
    const std::lock_guard lock(mutex_);
    for (const int connection : open_) shutdown(connection, SHUT_RDWR);
  }
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
  for (const int connection : open_) close(connection);
  open_.clear();
}

void ScriptedManager::accept() {
  for (;;) {
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    // A test may have taken all descriptors for a while.
    if (connection < 0 && errno == EMFILE) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      continue;
    }
    if (connection < 0) return;
    ++connections_;
    const std::lock_guard lock(mutex_);
    open_.push_back(connection);
    threads_.emplace_back([this, connection] { serve(connection); });
  }
}

void ScriptedManager::serve(int connection) {
  std::vector<char> buffer(nv::kMaxMessageBytes);
  for (;;) {
    const ssize_t length = recv(connection, buffer.data(), buffer.size(), 0);
    if (length <= 0) return;
    nv::message request;
    if (!request.decode(buffer.data(), static_cast<std::size_t>(length))) return;
    ++requests_;
    handler_(connection, request);
  }
}

void ScriptedManager::send(int connection, const nv::message& message) {
  sendBytes(connection, message.encode());
}

void ScriptedManager::sendBytes(int connection, const std::string& bytes) {
  // Whether anybody still listens is the test's question to its own side.
  if (::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) return;
}

nv::message ScriptedManager::replyTo(const nv::message& request, const std::string& text) {
  nv::message reply;
  reply.insert_u32(kNumberField, request.get_u32(kNumberField, 0));
  reply.insert_string(kTextField, text);
  return reply;
}

ScriptedManager::Handler ScriptedManager::answering(const std::string& text) {
  return [text](int connection, const nv::message& request) {
    send(connection, replyTo(request, text));
  };
}
