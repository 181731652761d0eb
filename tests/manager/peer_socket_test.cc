// Requests over a socket, with a handler of the test's own.

#include "manager/peer_socket.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "manager/portal_protocol.h"
#include "manager/replies.h"
#include "tests/manager/requests.h"
#include "tests/manager/temporary.h"

namespace {

namespace portal = manager::portal;

class PeerSocketTest : public testing::Test {
 protected:
  void SetUp() override { client = open(); }
  void TearDown() override { close(client); }

  int open() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = dir.file("s");
    std::memcpy(address.sun_path, path.data(), path.size());
    const int descriptor = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    EXPECT_EQ(connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return descriptor;
  }

  static bool sendBytes(int descriptor, const std::string& wire) {
    return ::send(descriptor, wire.data(), wire.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(wire.size());
  }

  static bool send(int descriptor, std::uint32_t number) {
    nv::message request = commandOf(portal::kGet);
    request.insert_u32(portal::kRequestNumber, number);
    return sendBytes(descriptor, request.encode());
  }

  bool send(std::uint32_t number) const { return send(client, number); }

  void note(const char* what, const nv::message& request) {
    notes.push_back(what + std::to_string(request.get_u32(portal::kRequestNumber, 0)));
  }

  // Everything that is ready on the socket's side.
  void run() {
    loop.restart();
    while (loop.poll() != 0) {
    }
  }

  nv::message receive() const {
    std::string packet(nv::kMaxMessageBytes, '\0');
    const ssize_t length = recv(client, packet.data(), packet.size(), 0);
    nv::message reply;
    EXPECT_GT(length, 0) << "no answer";
    EXPECT_TRUE(length <= 0 || reply.decode(packet.data(), static_cast<std::size_t>(length)));
    return reply;
  }

  TemporaryDir dir;
  boost::asio::io_context loop{1};
  bool fails = false;
  bool failsTwice = false;
  std::vector<manager::PeerSocket::Responder> unanswered;
  std::vector<std::string> notes;
  manager::PeerSocket socket{
      loop,
      dir.file("s"),
      std::nullopt,
      [this](const nv::message& request, manager::PeerSocket::Responder respond) {
        if (fails) throw std::bad_alloc();
        note("handled ", request);
        unanswered.push_back(std::move(respond));
      },
      [this] {
        if (failsTwice) throw std::bad_alloc();
        return manager::protocolError("it failed");
      },
      [this](const nv::message& request) { note("expected ", request); }};
  int client = -1;
};

TEST_F(PeerSocketTest, AnswersARequestThatCouldNotBeHandledAndGoesOn) {
  fails = true;
  ASSERT_TRUE(send(7));
  run();
  nv::message reply = receive();
  EXPECT_EQ(errorText(reply), "it failed");
  EXPECT_EQ(reply.get_u32(portal::kRequestNumber, 0), 7u);
  EXPECT_EQ(socket.underWay(), 0u);
  fails = false;
  ASSERT_TRUE(send(8));
  run();
  ASSERT_EQ(unanswered.size(), 1u);
  unanswered[0](nv::message());
  EXPECT_EQ(receive().get_u32(portal::kRequestNumber, 0), 8u);
}

TEST_F(PeerSocketTest, ReadsNoMoreOfAConnectionThanMayBeUnderWay) {
  constexpr std::size_t kMost = manager::PeerSocket::kMaxPerConnection;
  std::uint32_t sent = 0;
  // The kernel holds a few more than the manager takes.
  for (int i = 0; i < 100; ++i) {
    while (send(sent)) ++sent;
    run();
  }
  EXPECT_GT(sent, kMost);
  EXPECT_EQ(unanswered.size(), kMost);
  EXPECT_EQ(socket.underWay(), kMost);
  unanswered[0](nv::message());
  run();
  EXPECT_EQ(unanswered.size(), kMost + 1) << "the next takes the free place";
}

TEST_F(PeerSocketTest, AnswersARequestThatWasDropped) {
  ASSERT_TRUE(send(7));
  run();
  ASSERT_EQ(unanswered.size(), 1u);
  EXPECT_EQ(socket.underWay(), 1u);
  unanswered.clear();
  const nv::message reply = receive();
  EXPECT_EQ(errorText(reply), "it failed");
  EXPECT_EQ(reply.get_u32(portal::kRequestNumber, 0), 7u);
  EXPECT_EQ(socket.underWay(), 0u);
}

TEST_F(PeerSocketTest, EndsAConnectionWhereNotEvenAFailureCanBeTold) {
  ASSERT_TRUE(send(7));
  ASSERT_TRUE(send(8));
  run();
  ASSERT_EQ(unanswered.size(), 2u);
  failsTwice = true;
  unanswered.pop_back();
  char byte = 0;
  EXPECT_EQ(recv(client, &byte, 1, 0), 0);
  EXPECT_EQ(socket.underWay(), 0u) << "nobody waits for the other any more";
  unanswered[0](nv::message());
  EXPECT_EQ(socket.underWay(), 0u);
}

TEST_F(PeerSocketTest, TakesAnswersForAConnectionThatIsGone) {
  ASSERT_TRUE(send(1));
  run();
  ASSERT_EQ(unanswered.size(), 1u);
  shutdown(client, SHUT_RDWR);
  run();
  unanswered[0](nv::message());
  EXPECT_EQ(socket.underWay(), 0u);
}

TEST_F(PeerSocketTest, ExpectsTheRequestsOfARoundBeforeItTakesTheFirst) {
  const int second = open();
  const int third = open();
  run();
  ASSERT_TRUE(send(1));
  ASSERT_TRUE(sendBytes(second, "no message"));
  ASSERT_TRUE(send(third, 3));
  run();
  const std::vector<std::string> expected{"expected 1", "expected 3", "handled 1", "handled 3"};
  EXPECT_EQ(notes, expected);
  EXPECT_EQ(socket.underWay(), 2u) << "what is no message is answered at once";
  close(second);
  close(third);
}

}  // namespace
