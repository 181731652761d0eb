// What the workers count together: connections, connections of each client, requests that wait. The
// memory is made by the supervisor before it forks. Each worker has a part of its own, so that what
// a killed worker counted goes when the supervisor clears its part.

#ifndef WEBSERVER_SHARED_COUNTERS_H_
#define WEBSERVER_SHARED_COUNTERS_H_

#include <cstddef>
#include <cstdint>

namespace web {

// Parts there are: the workers of a few generations that finish beside the newest one.
constexpr unsigned kMaxParts = 128;

class SharedCounters {
 public:
  // For up to `maxConnections` connections in one part. Throws std::system_error.
  explicit SharedCounters(unsigned maxConnections);
  SharedCounters(const SharedCounters&) = delete;
  SharedCounters& operator=(const SharedCounters&) = delete;
  ~SharedCounters();

  // Counts one more connection of a client. False, and nothing is counted, when that would exceed
  // one of the limits over all parts. Waits for other processes in the same call, never long.
  bool connect(unsigned part, std::uint32_t client, unsigned maxAll, unsigned maxClient);
  // REQUIRES: connect() was true for that part and client.
  void disconnect(unsigned part, std::uint32_t client);

  // Counts one more waiting request. False, and nothing is counted, when that would exceed the
  // limit over all parts. Two callers that race for the last place may both be refused.
  bool enterWait(unsigned part, unsigned maxAll);
  void leaveWait(unsigned part);

  // Forgets all that a part counted. REQUIRES: its worker is gone.
  void clear(unsigned part);

  unsigned connections() const;
  unsigned waiting() const;
  unsigned maxConnections() const { return maxConnections_; }

 private:
  struct Part;
  struct Head;
  class Lock;

  Part& partAt(unsigned part) const;
  Head* head_ = nullptr;
  unsigned maxConnections_;
  std::size_t capacity_;
  std::size_t partBytes_;
  std::size_t bytes_;
};

}  // namespace web

#endif  // WEBSERVER_SHARED_COUNTERS_H_
