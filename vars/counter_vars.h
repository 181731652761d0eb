// Traffic counters and CHAP values as page variables. Free functions on the map alone; each run
// overwrites all the variables that it owns, including the empty ones.

#ifndef VARS_COUNTER_VARS_H_
#define VARS_COUNTER_VARS_H_

#include <map>
#include <string>

#include "host/message.h"
#include "vars/env_writer.h"

// Counters, byte limits and what remains of them. A limit of 0 is no limit: its two variables are
// empty. The remainders are unsigned 64-bit differences without clamping: a client one byte past
// its limit has "18446744073709551615" left.
void setCounterVars(std::map<std::string, std::string>& env, const nv::message& reply);
void setCounterVars(EnvWriter& vars, const nv::message& reply);

// "chap-id" from the first byte of `value` and "chap-challenge" from the rest, in octal form, and
// true; both empty, and false, when `value` holds fewer than two bytes.
bool initChap(std::map<std::string, std::string>& env, std::string value);

#endif  // VARS_COUNTER_VARS_H_
