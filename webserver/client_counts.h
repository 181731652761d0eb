// How many connections each client address has in one worker. The table lies in memory that all
// workers share; only the owner changes it, the others look things up.

#ifndef WEBSERVER_CLIENT_COUNTS_H_
#define WEBSERVER_CLIENT_COUNTS_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace web {

// A view of `capacity` cells (a power of two, more than twice the addresses that are ever in it at
// once) that start as zero bytes. Open addressing; an address goes when its count does.
class ClientCounts {
 public:
  // The address above, the count below. 0 is an empty cell.
  using Cell = std::atomic<std::uint64_t>;

  ClientCounts(Cell* cells, std::size_t capacity) : cells_(cells), mask_(capacity - 1) {}

  // While the owner removes another address, a look-up from elsewhere may miss: callers that need
  // the exact number hold the lock under which the owner works.
  std::uint32_t count(std::uint32_t address) const;

  // By the owner alone.
  void add(std::uint32_t address);
  // REQUIRES: count(address) > 0.
  void remove(std::uint32_t address);

 private:
  std::size_t home(std::uint32_t address) const;
  // The cell of the address, or the empty one where it would go.
  std::size_t find(std::uint32_t address) const;
  void closeGap(std::size_t gap);

  Cell* cells_;
  std::size_t mask_;
};

}  // namespace web

#endif  // WEBSERVER_CLIENT_COUNTS_H_
