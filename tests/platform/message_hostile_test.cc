// Wire forms that were cut, changed, repeated or made up. Whatever comes in, the library either
// takes exactly the message that a plain second reader finds, or refuses.

#include <gtest/gtest.h>

#include "host/message.h"
#include "tests/platform/bytes.h"
#include "tests/platform/naive_message.h"

namespace {

constexpr std::uint32_t kTypes[] = {0x00, 0x08, 0x10, 0x20, 0x30, 0x88};

// Messages of the kinds that go over the socket: none, one field, a request, a reply, an error.
std::vector<std::string> samples() {
  std::vector<std::string> result;
  nv::message msg;
  result.push_back(msg.encode());
  msg.insert_bool(0x00000406, true);
  result.push_back(msg.encode());

  nv::message request;
  request.insert_u32_array(0x88ff0001, {87, 3});
  request.insert_u32(0x08ff0007, 2);
  request.insert_u32(0x080003e9, 0x0a053202);
  request.insert_string(0x20000009, "user");
  request.insert_string(0x2000044e, "");
  request.insert_raw(0x30000439, {1, 6, 'u', 's', 'e', 'r'});
  result.push_back(request.encode());

  nv::message reply;
  for (std::uint32_t i = 0; i < 9; ++i) {
    reply.insert_bool(0x00000400 + i, i % 2 == 0);
    reply.insert_u32(0x08000400 + i, i * 0x01010101);
    reply.insert_u64(0x10000400 + i, 0x0102030405060708ULL * i);
    reply.insert_string(0x20000400 + i, std::string(i % 5, 'x'));
  }
  result.push_back(reply.encode());

  nv::message failed;
  nv::setError(&failed, 0xfe0002, "late");
  result.push_back(failed.encode());
  return result;
}

TEST(MessageHostile, EveryTruncationIsRefused) {
  for (const std::string& sample : samples()) {
    for (std::size_t length = 0; length < sample.size(); ++length) {
      const std::string cut = sample.substr(0, length);
      ASSERT_FALSE(naiveDecode(cut).has_value()) << toHex(cut);
      expectSameReading(cut);
      if (HasFatalFailure()) {
        return;
      }
    }
  }
}

// The same with a header that fits the shorter length: some of these are messages of fewer fields.
TEST(MessageHostile, EveryTruncationWithARightHeaderIsReadAlike) {
  for (const std::string& sample : samples()) {
    for (std::size_t length = 4; length < sample.size(); ++length) {
      std::string cut = sample.substr(0, length);
      cut[2] = static_cast<char>(length >> 8);
      cut[3] = static_cast<char>(length & 255);
      expectSameReading(cut);
      if (HasFatalFailure()) {
        return;
      }
    }
  }
}

TEST(MessageHostile, EverySingleByteChangeIsReadAlike) {
  for (const std::string& sample : samples()) {
    for (std::size_t at = 0; at < sample.size(); ++at) {
      std::string changed = sample;
      for (int byte = 0; byte < 256; ++byte) {
        changed[at] = static_cast<char>(byte);
        expectSameReading(changed);
        if (HasFatalFailure()) {
          return;
        }
      }
    }
  }
}

TEST(MessageHostile, EveryByteInsertedOrRemovedIsReadAlike) {
  for (const std::string& sample : samples()) {
    for (std::size_t at = 0; at <= sample.size(); ++at) {
      for (const char byte : {'\x00', '\x01', '\x04', '\x20', '\xff'}) {
        expectSameReading(sample.substr(0, at) + byte + sample.substr(at));
      }
      if (at < sample.size()) {
        expectSameReading(sample.substr(0, at) + sample.substr(at + 1));
      }
      if (HasFatalFailure()) {
        return;
      }
    }
  }
}

// Every field with a value of up to 9 bytes over those that matter at its place: all types, all
// lengths around the right ones and some far from them, all values of a bool.
TEST(MessageHostile, EveryShortMessageIsReadAlike) {
  for (int type = 0; type < 256; ++type) {
    for (const char* const highLength :
         {"00 00 00", "00 00 01", "00 01 00", "01 00 00", "ff ff ff"}) {
      for (int lowLength = 0; lowLength < 10; ++lowLength) {
        for (std::size_t valueLength = 0; valueLength < 10; ++valueLength) {
          for (const char value : {'\x00', '\x01', '\x02', '\xff'}) {
            std::string bytes("\x01\x00\x00", 3);
            bytes += static_cast<char>(12 + valueLength);
            bytes += static_cast<char>(type);
            bytes += std::string(3, '\0');
            bytes += fromHex(highLength);
            bytes += static_cast<char>(lowLength);
            bytes += std::string(valueLength, value);
            expectSameReading(bytes);
            if (HasFatalFailure()) {
              return;
            }
          }
        }
      }
    }
  }
}

TEST(MessageHostile, RandomBytesAreReadAlike) {
  Random random(1);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = random.bytes(random.below(64));
    expectSameReading(bytes);
    bytes = std::string("\x01\x00\x00", 3) + static_cast<char>(4 + bytes.size()) + bytes;
    expectSameReading(bytes);
    if (HasFatalFailure()) {
      return;
    }
  }
}

// Fields that are mostly right, so that the reader gets past the first one.
TEST(MessageHostile, RandomFieldsAreReadAlike) {
  Random random(2);
  int accepted = 0;
  for (int round = 0; round < 20000; ++round) {
    NaiveFields fields;
    for (std::uint32_t count = random.below(6); count > 0; --count) {
      const std::uint32_t type =
          random.below(20) == 0 ? random.below(256) : kTypes[random.below(6)];
      const std::uint32_t length = random.below(20) == 0 ? random.below(20)
                                   : type == 0x00        ? 1
                                   : type == 0x08        ? 4
                                   : type == 0x10        ? 8
                                                         : 4 * random.below(4);
      std::string value = random.bytes(length);
      if (type == 0x00 && length > 0 && random.below(20) != 0) {
        value[0] = static_cast<char>(random.below(2));
      }
      fields.emplace_back(type << 24 | random.below(30), value);
    }
    const std::string bytes = naiveEncode(fields);
    expectSameReading(bytes);
    if (HasFatalFailure()) {
      return;
    }
    accepted += naiveDecode(bytes).has_value() ? 1 : 0;
  }
  EXPECT_GT(accepted, 5000);
  EXPECT_LT(accepted, 19000);
}

TEST(MessageHostile, RandomInsertionsGiveTheSameMessageBack) {
  Random random(3);
  for (int round = 0; round < 2000; ++round) {
    NaiveFields expected;
    nv::message msg;
    for (std::uint32_t count = random.below(60); count > 0; --count) {
      const std::uint32_t number = random.below(12);
      const std::uint32_t id = kTypes[random.below(6)] << 24 | number;
      const std::uint32_t word = random.word();
      const std::string text = random.bytes(random.below(40));
      const auto sameId = [id](const auto& field) { return field.first == id; };
      if (random.below(5) == 0) {
        msg.erase(id);
        std::erase_if(expected, sameId);
        continue;
      }
      switch (id >> 24) {
        case 0x00:
          msg.insert_bool(id, word % 2 != 0);
          break;
        case 0x08:
          msg.insert_u32(id, word);
          break;
        case 0x10:
          msg.insert_u64(id, static_cast<std::uint64_t>(word) << 32 | ~word);
          break;
        case 0x20:
          msg.insert_string(id, text);
          break;
        case 0x30:
          msg.insert_raw(id, std::vector<unsigned char>(text.begin(), text.end()));
          break;
        default:
          msg.insert_u32_array(id, std::vector<unsigned>(number, word));
          break;
      }
      bool replaced = false;
      for (auto& field : expected) {
        if (sameId(field)) {
          field.second = valueBytes(msg, id);
          replaced = true;
        }
      }
      if (!replaced) {
        expected.emplace_back(id, valueBytes(msg, id));
      }
      if (id >> 24 == 0x20) {
        ASSERT_EQ(msg.get_string(id, ""), text);
      }
    }
    ASSERT_EQ(toHex(msg.encode()), toHex(naiveEncode(expected)));
    expectSameReading(msg.encode());
    if (HasFatalFailure()) {
      return;
    }
  }
}

// Few fields and very many are looked through in different ways.
TEST(MessageHostile, RepeatedIdIsRefusedWhereverItStands) {
  for (const std::uint32_t count : {2U, 3U, 63U, 64U, 65U, 66U, 130U, 8191U}) {
    NaiveFields fields;
    for (std::uint32_t i = 0; i < count; ++i) {
      fields.emplace_back(0x20000000 + i * 7919 % 0x10000, "");
    }
    std::string bytes = naiveEncode(fields);
    nv::message msg;
    ASSERT_TRUE(msg.decode(bytes.data(), bytes.size())) << count;
    EXPECT_EQ(msg.ids().size(), count);
    for (const std::uint32_t first : {0U, count / 2 - 1, count - 2}) {
      for (const std::uint32_t second : {first + 1, count - 1}) {
        NaiveFields repeated = fields;
        repeated[second].first = repeated[first].first;
        bytes = naiveEncode(repeated);
        EXPECT_FALSE(msg.decode(bytes.data(), bytes.size()))
            << count << " " << first << " " << second;
      }
    }
  }
}

}  // namespace
