// A second reader of the wire form of messages, slow and plain, written from docs/message-format.md
// alone: what the library accepts and finds is compared with it.

#ifndef TESTS_PLATFORM_NAIVE_MESSAGE_H_
#define TESTS_PLATFORM_NAIVE_MESSAGE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/message.h"

using NaiveFields = std::vector<std::pair<std::uint32_t, std::string>>;

// The fields, each with its value's bytes, or nothing when the bytes are no message.
std::optional<NaiveFields> naiveDecode(const std::string& bytes);

// The wire form of those fields; right lengths, whatever the ids are.
std::string naiveEncode(const NaiveFields& fields);

// What the getters of `msg` say about a field, put back into a value's bytes.
std::string valueBytes(const nv::message& msg, std::uint32_t id);

// Fails the running test unless the library and the naive reader agree on the bytes: both refuse,
// and the message is then empty, or both find the same fields and the library gives the same bytes
// back.
void expectSameReading(const std::string& bytes);

#endif  // TESTS_PLATFORM_NAIVE_MESSAGE_H_
