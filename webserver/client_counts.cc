#include "webserver/client_counts.h"

namespace web {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

std::uint32_t addressOf(std::uint64_t cell) { return static_cast<std::uint32_t>(cell >> 32); }
std::uint32_t countOf(std::uint64_t cell) { return static_cast<std::uint32_t>(cell); }
std::uint64_t makeCell(std::uint32_t address, std::uint32_t count) {
  return static_cast<std::uint64_t>(address) << 32 | count;
}

}  // namespace

std::size_t ClientCounts::home(std::uint32_t address) const {
  return (address * 2654435769u ^ address >> 15) & mask_;
}

std::size_t ClientCounts::find(std::uint32_t address) const {
  std::size_t at = home(address);
  for (std::size_t tries = 0; tries <= mask_; ++tries, at = (at + 1) & mask_) {
    const std::uint64_t cell = cells_[at].load(kRelaxed);
    if (cell == 0 || addressOf(cell) == address) break;
  }
  return at;
}

std::uint32_t ClientCounts::count(std::uint32_t address) const {
  const std::uint64_t cell = cells_[find(address)].load(kRelaxed);
  return addressOf(cell) == address ? countOf(cell) : 0;
}

void ClientCounts::add(std::uint32_t address) {
  Cell& cell = cells_[find(address)];
  cell.store(makeCell(address, countOf(cell.load(kRelaxed)) + 1), kRelaxed);
}

void ClientCounts::remove(std::uint32_t address) {
  const std::size_t at = find(address);
  const std::uint32_t left = countOf(cells_[at].load(kRelaxed)) - 1;
  if (left > 0) {
    cells_[at].store(makeCell(address, left), kRelaxed);
  } else {
    closeGap(at);
  }
}

// Moves back what only stood behind the gap because the way to its own place led through it.
void ClientCounts::closeGap(std::size_t gap) {
  for (std::size_t at = (gap + 1) & mask_;; at = (at + 1) & mask_) {
    const std::uint64_t cell = cells_[at].load(kRelaxed);
    if (cell == 0) break;
    const std::size_t fromHome = (at - home(addressOf(cell))) & mask_;
    if (fromHome < ((at - gap) & mask_)) continue;
    cells_[gap].store(cell, kRelaxed);
    gap = at;
  }
  cells_[gap].store(0, kRelaxed);
}

}  // namespace web
