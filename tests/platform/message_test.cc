// Fields of a message: order, replacing, defaults, copies, limits.

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/message.h"
#include "platform/message_layout.h"

namespace {

using Ids = std::vector<std::uint32_t>;
using Raw = std::vector<unsigned char>;
using Words = std::vector<unsigned>;

constexpr std::uint32_t kFlag = 0x00000101;
constexpr std::uint32_t kNumber = 0x08000101;
constexpr std::uint32_t kLong = 0x10000101;
constexpr std::uint32_t kText = 0x20000101;
constexpr std::uint32_t kBytes = 0x30000101;
constexpr std::uint32_t kArray = 0x88000101;

// A field takes 8 bytes beside its value, a message 4 beside its fields.
constexpr std::size_t kLongestSent = nv::kMaxMessageBytes - 12;

nv::message oneOfEach() {
  nv::message msg;
  msg.insert_bool(kFlag, true);
  msg.insert_u32(kNumber, 4294967295U);
  msg.insert_u64(kLong, 18446744073709551615ULL);
  msg.insert_string(kText, std::string("a\0b", 3));
  msg.insert_raw(kBytes, {0, 255});
  msg.insert_u32_array(kArray, {1, 4294967295U});
  return msg;
}

void expectOneOfEach(const nv::message& msg) {
  EXPECT_TRUE(msg.get_bool(kFlag, false));
  EXPECT_EQ(msg.get_u32(kNumber, 0), 4294967295U);
  EXPECT_EQ(msg.get_u64(kLong, 0), 18446744073709551615ULL);
  EXPECT_EQ(msg.get_string(kText, ""), std::string("a\0b", 3));
  EXPECT_EQ(msg.get_raw(kBytes, {}), (Raw{0, 255}));
  EXPECT_EQ(msg.get_u32_array(kArray, {}), (Words{1, 4294967295U}));
  EXPECT_EQ(msg.ids(), (Ids{kFlag, kNumber, kLong, kText, kBytes, kArray}));
}

TEST(Message, KeepsAValueOfEachType) { expectOneOfEach(oneOfEach()); }

TEST(Message, NewOneHoldsNothing) {
  const nv::message msg;
  EXPECT_EQ(msg.ids(), Ids{});
  EXPECT_TRUE(msg.fits());
  for (const std::uint32_t id : {kFlag, kNumber, kLong, kText, kBytes, kArray}) {
    EXPECT_EQ(msg.size_field(id), 0U);
  }
}

TEST(Message, MissingFieldGivesTheDefault) {
  const nv::message msg;
  EXPECT_TRUE(msg.get_bool(kFlag, true));
  EXPECT_FALSE(msg.get_bool(kFlag, false));
  EXPECT_EQ(msg.get_u32(kNumber, 7), 7U);
  EXPECT_EQ(msg.get_be32(kNumber, 8), 8U);
  EXPECT_EQ(msg.get_u64(kLong, 9), 9U);
  EXPECT_EQ(msg.get_string(kText, "none"), "none");
  EXPECT_EQ(msg.get_raw(kBytes, {1}), Raw{1});
  EXPECT_EQ(msg.get_u32_array(kArray, {2}), Words{2});
}

TEST(Message, GetterOfAnotherTypeGivesTheDefault) {
  const nv::message msg = oneOfEach();
  for (const std::uint32_t id : {kFlag, kNumber, kLong, kText, kBytes, kArray}) {
    SCOPED_TRACE(id);
    if (id != kFlag) {
      EXPECT_FALSE(msg.get_bool(id, false));
    }
    if (id != kNumber) {
      EXPECT_EQ(msg.get_u32(id, 7), 7U);
      EXPECT_EQ(msg.get_be32(id, 7), 7U);
      EXPECT_EQ(msg.size_u32(id), 0U);
    }
    if (id != kLong) {
      EXPECT_EQ(msg.get_u64(id, 7), 7U);
    }
    if (id != kText) {
      EXPECT_EQ(msg.get_string(id, "none"), "none");
    }
    if (id != kBytes) {
      EXPECT_EQ(msg.get_raw(id, {9}), Raw{9});
    }
    if (id != kArray) {
      EXPECT_EQ(msg.get_u32_array(id, {9}), Words{9});
    }
  }
}

TEST(Message, InsertWithAnIdOfAnotherTypeIsIgnored) {
  nv::message msg;
  for (const std::uint32_t id :
       {kFlag, kNumber, kLong, kText, kBytes, kArray, 0x40000001U, 0xff000001U}) {
    if (id != kFlag) {
      msg.insert_bool(id, true);
    }
    if (id != kNumber) {
      msg.insert_u32(id, 1);
      msg.insert_be32(id, 1);
    }
    if (id != kLong) {
      msg.insert_u64(id, 1);
    }
    if (id != kText) {
      msg.insert_string(id, "x");
    }
    if (id != kBytes) {
      msg.insert_raw(id, {1});
    }
    if (id != kArray) {
      msg.insert_u32_array(id, {1});
    }
  }
  EXPECT_EQ(msg.ids(), Ids{});
  EXPECT_TRUE(msg.fits());
}

TEST(Message, InsertWithAnIdOfAnotherTypeLeavesTheFieldThatIsThere) {
  nv::message msg = oneOfEach();
  msg.insert_string(kNumber, "four");
  msg.insert_u32(kText, 4);
  expectOneOfEach(msg);
}

TEST(Message, InsertingAgainReplacesInPlace) {
  struct {
    const char* before;
    const char* after;
  } const cases[] = {{"", "longer"}, {"longer", ""}, {"same", "size"}, {"a", "bb"}, {"bb", "a"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.before);
    nv::message msg;
    msg.insert_u32(kNumber, 1);
    msg.insert_string(kText, c.before);
    msg.insert_bool(kFlag, true);
    msg.insert_string(kText, c.after);
    EXPECT_EQ(msg.get_string(kText, "none"), c.after);
    EXPECT_EQ(msg.get_u32(kNumber, 0), 1U);
    EXPECT_TRUE(msg.get_bool(kFlag, false));
    EXPECT_EQ(msg.ids(), (Ids{kNumber, kText, kFlag}));
    nv::message again;
    EXPECT_TRUE(again.decode(msg.encode().data(), msg.encode().size()));
  }
}

TEST(Message, ReplacesAValueOfEachType) {
  nv::message msg = oneOfEach();
  msg.insert_bool(kFlag, false);
  msg.insert_u32(kNumber, 5);
  msg.insert_u64(kLong, 6);
  msg.insert_raw(kBytes, {});
  msg.insert_u32_array(kArray, {7, 8, 9});
  EXPECT_FALSE(msg.get_bool(kFlag, true));
  EXPECT_EQ(msg.get_u32(kNumber, 0), 5U);
  EXPECT_EQ(msg.get_u64(kLong, 0), 6U);
  EXPECT_EQ(msg.get_raw(kBytes, {1}), Raw{});
  EXPECT_EQ(msg.get_u32_array(kArray, {}), (Words{7, 8, 9}));
  EXPECT_EQ(msg.ids(), (Ids{kFlag, kNumber, kLong, kText, kBytes, kArray}));
}

TEST(Message, IdsThatDifferInTheTypeAloneAreDifferentFields) {
  nv::message msg;
  msg.insert_u32(0x08000010, 1);
  msg.insert_string(0x20000010, "two");
  msg.insert_bool(0x00000010, true);
  EXPECT_EQ(msg.get_u32(0x08000010, 0), 1U);
  EXPECT_EQ(msg.get_string(0x20000010, ""), "two");
  EXPECT_EQ(msg.ids().size(), 3U);
}

// The message notes a bit of each id: a second id that has the same one is another id all the same.
TEST(Message, IdsThatShareABitAreDifferentFields) {
  constexpr std::uint32_t kFirst = 0x08000001;
  constexpr std::uint32_t kSecond = 0x08000041;
  constexpr std::uint32_t kThird = 0x08000fc1;
  ASSERT_EQ(nv::layout::bitOf(kFirst), nv::layout::bitOf(kSecond));
  ASSERT_EQ(nv::layout::bitOf(kFirst), nv::layout::bitOf(kThird));
  nv::message msg;
  msg.insert_u32(kFirst, 1);
  EXPECT_EQ(msg.size_u32(kSecond), 0U);
  msg.insert_u32(kSecond, 2);
  nv::message decoded;
  ASSERT_TRUE(decoded.decode(msg.encode().data(), msg.encode().size()));
  for (nv::message* const each : {&msg, &decoded}) {
    EXPECT_EQ(each->ids(), (Ids{kFirst, kSecond}));
    EXPECT_EQ(each->get_u32(kFirst, 0), 1U);
    EXPECT_EQ(each->get_u32(kSecond, 0), 2U);
    EXPECT_EQ(each->get_u32(kThird, 3), 3U);
    each->erase(kFirst);
    EXPECT_EQ(each->get_u32(kFirst, 4), 4U);
    EXPECT_EQ(each->get_u32(kSecond, 0), 2U);
  }
  msg.insert_u32(kFirst, 5);
  std::string twice = msg.encode();
  twice.replace(twice.find(std::string("\x08\0\0\x41", 4)), 4, std::string("\x08\0\0\x01", 4));
  EXPECT_FALSE(decoded.decode(twice.data(), twice.size())) << "the same id twice";
}

TEST(Message, ValueThatLooksLikeAFieldIsNotFound) {
  nv::message inner;
  inner.insert_u32(kNumber, 77);
  nv::message msg;
  msg.insert_string(kText, inner.encode().substr(4));
  EXPECT_EQ(msg.size_field(kNumber), 0U);
  EXPECT_EQ(msg.get_u32(kNumber, 3), 3U);
}

TEST(Message, SizeFieldTellsAnEmptyValueFromNone) {
  nv::message msg;
  EXPECT_EQ(msg.size_field(kText), 0U);
  msg.insert_string(kText, "");
  msg.insert_raw(kBytes, {});
  msg.insert_u32_array(kArray, {});
  EXPECT_NE(msg.size_field(kText), 0U);
  EXPECT_NE(msg.size_field(kBytes), 0U);
  EXPECT_NE(msg.size_field(kArray), 0U);
  EXPECT_EQ(msg.get_string(kText, "none"), "");
  EXPECT_EQ(msg.get_raw(kBytes, {1}), Raw{});
  EXPECT_EQ(msg.get_u32_array(kArray, {1}), Words{});
}

TEST(Message, SizeU32IsForU32FieldsOnly) {
  const nv::message msg = oneOfEach();
  EXPECT_NE(msg.size_u32(kNumber), 0U);
  EXPECT_EQ(msg.size_u32(kText), 0U);
  EXPECT_EQ(msg.size_u32(kLong), 0U);
  EXPECT_EQ(msg.size_u32(kNumber + 1), 0U);
}

TEST(Message, AddressIsTheSameNumberOnEveryMachine) {
  const unsigned char bytes[4] = {10, 5, 50, 2};
  std::uint32_t addr;
  std::memcpy(&addr, bytes, sizeof addr);
  nv::message msg;
  msg.insert_be32(kNumber, addr);
  EXPECT_EQ(msg.get_u32(kNumber, 0), 0x0a053202U);
  EXPECT_EQ(msg.get_be32(kNumber, 0), addr);
  msg.insert_u32(kNumber, 0x0a053202);
  EXPECT_EQ(msg.get_be32(kNumber, 0), addr);
}

TEST(Message, CopiesShareNothing) {
  nv::message original = oneOfEach();
  nv::message copy = original;
  nv::message assigned;
  assigned.insert_string(0x20000999, "goes");
  assigned = original;
  original.insert_string(kText, "changed");
  original.erase(kFlag);
  expectOneOfEach(copy);
  expectOneOfEach(assigned);
  copy.insert_u32(kNumber, 1);
  expectOneOfEach(assigned);
  EXPECT_EQ(original.get_u32(kNumber, 0), 4294967295U);
}

TEST(Message, AssigningToItselfChangesNothing) {
  nv::message msg = oneOfEach();
  nv::message& same = msg;
  msg = same;
  expectOneOfEach(msg);
  msg = std::move(same);
  expectOneOfEach(msg);
}

// A short message lies inside the string object, a long one on the heap: both ways of moving.
TEST(Message, MovedFromOneIsEmptyAndUsable) {
  for (const std::size_t length : {std::size_t{1}, std::size_t{300}}) {
    SCOPED_TRACE(length);
    nv::message source;
    source.insert_string(kText, std::string(length, 'x'));
    nv::message taken(std::move(source));
    nv::message assigned;
    assigned = std::move(taken);
    EXPECT_EQ(assigned.get_string(kText, ""), std::string(length, 'x'));
    for (nv::message* const left : {&source, &taken}) {
      EXPECT_EQ(left->ids(), Ids{});
      EXPECT_EQ(left->encode(), nv::message().encode());
      left->insert_u32(kNumber, 3);
      EXPECT_EQ(left->get_u32(kNumber, 0), 3U);
    }
  }
}

TEST(Message, EraseTakesOneFieldOut) {
  const Ids all = oneOfEach().ids();
  for (const std::uint32_t gone : all) {
    SCOPED_TRACE(gone);
    nv::message msg = oneOfEach();
    msg.erase(gone);
    Ids rest = all;
    std::erase(rest, gone);
    EXPECT_EQ(msg.ids(), rest);
    EXPECT_EQ(msg.size_field(gone), 0U);
    nv::message again;
    EXPECT_TRUE(again.decode(msg.encode().data(), msg.encode().size()));
  }
}

TEST(Message, EraseOfWhatIsNotThereChangesNothing) {
  nv::message msg = oneOfEach();
  msg.erase(kText + 1);
  expectOneOfEach(msg);
}

TEST(Message, ErasedFieldComesBackAtTheEnd) {
  nv::message msg = oneOfEach();
  msg.erase(kFlag);
  msg.insert_bool(kFlag, true);
  EXPECT_EQ(msg.ids(), (Ids{kNumber, kLong, kText, kBytes, kArray, kFlag}));
}

TEST(MessageLimit, LongestValueThatCanBeSent) {
  nv::message msg;
  msg.insert_string(kText, std::string(kLongestSent, 'x'));
  EXPECT_TRUE(msg.fits());
  EXPECT_EQ(msg.encode().size(), nv::kMaxMessageBytes);
  nv::message again;
  ASSERT_TRUE(again.decode(msg.encode().data(), msg.encode().size()));
  EXPECT_EQ(again.get_string(kText, ""), std::string(kLongestSent, 'x'));
}

TEST(MessageLimit, OneByteMoreIsKeptButCannotBeSent) {
  nv::message msg;
  msg.insert_u32(kNumber, 1);
  msg.insert_string(kText, std::string(kLongestSent - 12, 'x'));
  EXPECT_TRUE(msg.fits());
  EXPECT_EQ(msg.encode().size(), nv::kMaxMessageBytes);
  msg.insert_string(kText, std::string(kLongestSent - 12 + 1, 'y'));
  EXPECT_FALSE(msg.fits());
  EXPECT_EQ(msg.get_string(kText, ""), std::string(kLongestSent - 12 + 1, 'y'));
  EXPECT_EQ(msg.get_u32(kNumber, 0), 1U);
  EXPECT_EQ(msg.ids(), (Ids{kNumber, kText}));
}

// Around every length at which a count of 2 or 3 bytes would wrap.
TEST(MessageLimit, LongValueOfEachTypeIsKept) {
  for (const std::size_t length :
       {kLongestSent + 4, std::size_t{65536}, std::size_t{65540}, std::size_t{131076},
        std::size_t{0xfffff4}, std::size_t{0xfffffc}, std::size_t{0x1000000},
        std::size_t{0x1000004}}) {
    SCOPED_TRACE(length);
    nv::message msg;
    msg.insert_bool(kFlag, true);
    msg.insert_string(kText, std::string(length, 'x'));
    EXPECT_FALSE(msg.fits());
    msg.insert_raw(kBytes, Raw(length, 1));
    msg.insert_u32_array(kArray, Words(length / 4, 0x01020304));
    msg.insert_u64(kLong, 2);
    EXPECT_TRUE(msg.get_string(kText, "") == std::string(length, 'x'));
    EXPECT_TRUE(msg.get_raw(kBytes, {}) == Raw(length, 1));
    EXPECT_TRUE(msg.get_u32_array(kArray, {}) == Words(length / 4, 0x01020304));
    EXPECT_EQ(msg.get_u64(kLong, 0), 2U);
    EXPECT_EQ(msg.ids(), (Ids{kFlag, kText, kBytes, kArray, kLong}));
    msg.erase(kText);
    EXPECT_EQ(msg.ids(), (Ids{kFlag, kBytes, kArray, kLong}));
  }
}

TEST(MessageLimit, LongValueIsReplacedInPlace) {
  nv::message msg;
  msg.insert_string(kText, "old");
  msg.insert_u32(kNumber, 2);
  msg.insert_string(kText, std::string(2000000, 'x'));
  EXPECT_EQ(msg.get_string(kText, ""), std::string(2000000, 'x'));
  EXPECT_EQ(msg.get_u32(kNumber, 0), 2U);
  EXPECT_FALSE(msg.fits());
  msg.insert_string(kText, "new");
  EXPECT_EQ(msg.get_string(kText, ""), "new");
  EXPECT_EQ(msg.get_u32(kNumber, 0), 2U);
  EXPECT_EQ(msg.ids(), (Ids{kText, kNumber}));
}

// Whether a message can be sent is about what it holds now, not what it once held.
TEST(MessageLimit, FitsFollowsTheContent) {
  nv::message msg;
  msg.insert_string(kText, std::string(kLongestSent, 'x'));
  msg.insert_bool(kFlag, true);
  EXPECT_FALSE(msg.fits());
  msg.erase(kFlag);
  EXPECT_TRUE(msg.fits());
  nv::message again;
  EXPECT_TRUE(again.decode(msg.encode().data(), msg.encode().size()));

  msg.insert_u32(kNumber, 1);
  nv::message copy = msg;
  EXPECT_FALSE(copy.fits());
  const nv::message taken = std::move(copy);
  EXPECT_FALSE(taken.fits());
  EXPECT_TRUE(copy.fits());
  EXPECT_FALSE(msg.decode("", 0));
  EXPECT_TRUE(msg.fits());
}

TEST(MessageLimit, DecodingRefusesWhatCannotBeSent) {
  // The last two are longer than the 3 bytes of the header's length can say: 4 bytes and the
  // longest message would be left of it.
  for (const std::size_t length : {kLongestSent + 1, std::size_t{65536}, std::size_t{0x1000000 - 8},
                                   std::size_t{0x1000000 + kLongestSent}}) {
    SCOPED_TRACE(length);
    nv::message msg;
    msg.insert_string(kText, std::string(length, 'x'));
    EXPECT_FALSE(msg.fits());
    nv::message again;
    EXPECT_FALSE(again.decode(msg.encode().data(), msg.encode().size()));
    EXPECT_EQ(again.ids(), Ids{});
    for (const std::size_t sent : {std::size_t{4}, std::size_t{12}, nv::kMaxMessageBytes}) {
      EXPECT_FALSE(again.decode(msg.encode().data(), sent)) << sent;
    }
  }
}

TEST(MessageLimit, FourGigabytesAreNoValue) {
  constexpr std::size_t kLargest = 0xffffffff;
  EXPECT_EQ(nv::layout::lengthWord(0), 0U);
  EXPECT_EQ(nv::layout::lengthWord(kLargest), 0xffffffffU);
  if (sizeof(std::size_t) > 4) {
    EXPECT_THROW(nv::layout::lengthWord(kLargest + 1), std::length_error);
    EXPECT_THROW(nv::layout::lengthWord(~std::size_t{0}), std::length_error);
  }
}

}  // namespace
