// What reading and writing a message costs in allocations, and what is left when one fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "host/message.h"

namespace {

int allocations = 0;
int failAt = 0;  // the allocation that fails, counted from 1; 0: none

void* allocate(std::size_t size) {
  if (++allocations == failAt) {
    throw std::bad_alloc();
  }
  void* const memory = std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

nv::message reply() {
  nv::message msg;
  for (std::uint32_t i = 0; i < 35; ++i) {
    msg.insert_u32(0x08000400 + i, i);
  }
  msg.insert_bool(0x00000400, true);
  msg.insert_u64(0x10000400, 1);
  msg.insert_string(0x20000400, std::string(100, 'x'));
  return msg;
}

TEST(MessageMemory, FindingAllocatesNothing) {
  const nv::message msg = reply();
  allocations = 0;
  const unsigned sum = msg.get_u32(0x08000422, 0) + msg.get_u32(0x08000999, 1) +
                       msg.get_be32(0x08000400, 0) + msg.size_field(0x20000400) +
                       msg.size_u32(0x08000401) + (msg.get_bool(0x00000400, false) ? 1U : 0U) +
                       static_cast<unsigned>(msg.get_u64(0x10000400, 0));
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(sum, 0x22U + 1 + 0 + 1 + 1 + 1 + 1);
}

TEST(MessageMemory, ReadingAStringAllocatesOnce) {
  const nv::message msg = reply();
  const std::string none;
  allocations = 0;
  const std::string text = msg.get_string(0x20000400, none);
  EXPECT_EQ(allocations, 1);
  EXPECT_EQ(text.size(), 100U);
}

TEST(MessageMemory, OrdinaryRequestAllocatesOnce) {
  allocations = 0;
  nv::message msg;
  EXPECT_EQ(allocations, 0);
  for (std::uint32_t i = 0; i < 16; ++i) {
    msg.insert_u32(0x08000400 + i, i);
  }
  EXPECT_EQ(allocations, 1);
}

TEST(MessageMemory, DecodingAReplyAllocatesOnce) {
  const nv::message msg = reply();
  nv::message decoded;
  allocations = 0;
  const bool accepted = decoded.decode(msg.encode().data(), msg.encode().size());
  EXPECT_EQ(allocations, 1);
  EXPECT_TRUE(accepted);
}

// Inserts with the n-th allocation failing, for every n: the message is then the one before that
// insertion, whole.
TEST(MessageMemory, FailedAllocationLeavesTheMessageAsItWas) {
  const std::string added(5000, 'y');
  const std::string replacing(9000, 'z');
  const std::vector<unsigned> words(500, 3);
  std::string before;
  before.reserve(nv::kMaxMessageBytes);
  int failures = 0;
  bool failed = true;
  while (failed) {
    nv::message msg = reply();
    before = msg.encode();
    allocations = 0;
    failAt = failures + 1;
    failed = false;
    try {
      msg.insert_string(0x20000500, added);
      before = msg.encode();
      msg.insert_u32_array(0x88000500, words);
      before = msg.encode();
      msg.insert_string(0x20000400, replacing);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    failAt = 0;
    if (failed) {
      ++failures;
      EXPECT_EQ(msg.encode(), before) << failures;
    } else {
      EXPECT_EQ(msg.get_string(0x20000400, "").size(), replacing.size());
      EXPECT_EQ(msg.ids().size(), 40U);
    }
  }
  EXPECT_GE(failures, 4);
}

}  // namespace
