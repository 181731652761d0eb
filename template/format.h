// Numbers, times and byte counts as the texts that pages use, and texts as numbers. No function
// fails; any argument; any thread.

#ifndef TEMPLATE_FORMAT_H_
#define TEMPLATE_FORMAT_H_

#include <cstdint>
#include <ctime>
#include <string>

// Each byte as a backslash and three octal digits: "\000\101\377" for the bytes 0x00, 0x41, 0xFF. A
// page script can take the result as a string literal.
std::string bin2oct(std::string data);

// `n` in the printf(3) format `fmt`, which has one unsigned conversion; cut to 31 characters.
std::string num2str(unsigned n, const char* fmt);

// `n` in decimal.
std::string ull2str(unsigned long long n);

// A duration: "0s", "59s", "1m", "1h1m1s", "1d1s", "10d". Units that are zero are left out; days
// are the largest unit.
std::string getTimeStr(unsigned seconds);

// A UTC calendar time from seconds since the epoch: "Jan/05/2024 13:04:05". The whole range is
// after 1970: 4294967295 is in 2106.
std::string getDateTimeStr(unsigned t);

// Short text of a byte count: "2047 B", "2.9 KiB", "1024.0 KiB", up to GiB and no further.
// The tenths digit is the last digit of n / (unit/10), not of the remainder, so it drifts from the
// true tenth near the top of each unit (3071 gives "2.0 KiB").
std::string getNiceBytes(unsigned long long n);

// `t` as UTC in a strftime(3) format; cut to nothing when it is longer than 99 bytes.
std::string formatUtc(std::time_t t, const char* fmt);

// The number at the start of `text` as strtoul(3) reads it where `unsigned long` has 32 bits, on
// every machine: leading white space and a sign are accepted, "-1" is 4294967295, a magnitude above
// 4294967295 is 4294967295 with either sign, no digits are 0. `base` is 10 or 0 (decimal, "0x"
// hexadecimal, "0" octal). `*end`, unless null, is set behind the number, to `text` when there was
// none.
std::uint32_t parseNumber(const char* text, const char** end, int base);

#endif  // TEMPLATE_FORMAT_H_
