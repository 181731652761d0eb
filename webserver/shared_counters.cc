#include "webserver/shared_counters.h"

#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

#include "webserver/client_counts.h"

namespace web {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr std::size_t kLineBytes = 64;

}  // namespace

// Followed by the part's table of clients.
struct alignas(kLineBytes) SharedCounters::Part {
  std::atomic<std::uint32_t> connections;
  std::atomic<std::uint32_t> waiting;

  ClientCounts::Cell* cells() { return reinterpret_cast<ClientCounts::Cell*>(this + 1); }
};

// Followed by the parts.
struct alignas(kLineBytes) SharedCounters::Head {
  pthread_mutex_t mutex;  // for connections and clients
  std::atomic<std::uint32_t> partsUsed;
};

// A worker that was killed while it held the mutex leaves nothing half done but in its own part,
// and that is cleared.
class SharedCounters::Lock {
 public:
  explicit Lock(pthread_mutex_t& mutex) : mutex_(mutex) {
    if (pthread_mutex_lock(&mutex_) == EOWNERDEAD) pthread_mutex_consistent(&mutex_);
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t& mutex_;
};

SharedCounters::SharedCounters(unsigned maxConnections)
    : maxConnections_(maxConnections),
      capacity_(std::bit_ceil(std::size_t{maxConnections} * 2 + 2)),
      partBytes_(sizeof(Part) + (capacity_ * sizeof(ClientCounts::Cell) + kLineBytes - 1) /
                                    kLineBytes * kLineBytes),
      bytes_(sizeof(Head) + partBytes_ * kMaxParts) {
  void* memory = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  head_ = new (memory) Head();
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&head_->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

SharedCounters::~SharedCounters() { munmap(head_, bytes_); }

SharedCounters::Part& SharedCounters::partAt(unsigned part) const {
  char* parts = reinterpret_cast<char*>(head_ + 1);
  return *reinterpret_cast<Part*>(parts + partBytes_ * part);
}

bool SharedCounters::connect(unsigned part, std::uint32_t client, unsigned maxAll,
                             unsigned maxClient) {
  const Lock lock(head_->mutex);
  if (part >= head_->partsUsed.load(kRelaxed)) head_->partsUsed.store(part + 1, kRelaxed);
  unsigned all = 0;
  unsigned ofClient = 0;
  const unsigned parts = head_->partsUsed.load(kRelaxed);
  for (unsigned i = 0; i < parts; ++i) {
    const unsigned here = partAt(i).connections.load(kRelaxed);
    if (here == 0) continue;
    all += here;
    ofClient += ClientCounts(partAt(i).cells(), capacity_).count(client);
  }
  if (all >= maxAll || ofClient >= maxClient || all >= maxConnections_) return false;
  partAt(part).connections.fetch_add(1, kRelaxed);
  ClientCounts(partAt(part).cells(), capacity_).add(client);
  return true;
}

void SharedCounters::disconnect(unsigned part, std::uint32_t client) {
  const Lock lock(head_->mutex);
  partAt(part).connections.fetch_sub(1, kRelaxed);
  ClientCounts(partAt(part).cells(), capacity_).remove(client);
}

bool SharedCounters::enterWait(unsigned part, unsigned maxAll) {
  // Sequentially consistent: of two that race, at least one sees the other.
  partAt(part).waiting.fetch_add(1);
  if (waiting() <= maxAll) return true;
  leaveWait(part);
  return false;
}

void SharedCounters::leaveWait(unsigned part) { partAt(part).waiting.fetch_sub(1); }

void SharedCounters::clear(unsigned part) {
  const Lock lock(head_->mutex);
  Part& gone = partAt(part);
  if (gone.connections.exchange(0, kRelaxed) > 0) {
    std::memset(static_cast<void*>(gone.cells()), 0, capacity_ * sizeof(ClientCounts::Cell));
  }
  gone.waiting.store(0);
}

unsigned SharedCounters::connections() const {
  unsigned all = 0;
  const unsigned parts = head_->partsUsed.load(kRelaxed);
  for (unsigned i = 0; i < parts; ++i) all += partAt(i).connections.load(kRelaxed);
  return all;
}

unsigned SharedCounters::waiting() const {
  unsigned all = 0;
  const unsigned parts = head_->partsUsed.load(kRelaxed);
  for (unsigned i = 0; i < parts; ++i) all += partAt(i).waiting.load();
  return all;
}

}  // namespace web
