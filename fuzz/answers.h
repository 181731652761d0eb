// Reads back what an HTTP server wrote on one connection, strictly (RFC 9112 sections 4 to 6).

#ifndef FUZZ_ANSWERS_H_
#define FUZZ_ANSWERS_H_

#include <string>
#include <utility>
#include <vector>

namespace fuzz {

struct Answer {
  int status = 0;
  std::string reason;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body;
  bool bodyLeftOut = false;  // as for HEAD

  // The value of the field of that name in any letter case; empty when there is none.
  std::string field(const std::string& name) const;
  bool closes() const { return field("Connection") == "close"; }
};

// Cuts the bytes into answers, without interim ones. Ends the process when they are anything but
// whole and well-formed answers of this server's form: a version 1.1, fields whose names are tokens
// and whose values hold no control byte but the tab, one date, one length and no other framing,
// nothing behind an answer that closes the connection. `hasHead`: a body may be left out.
std::vector<Answer> readAnswers(const std::string& wire, bool hasHead);

}  // namespace fuzz

#endif  // FUZZ_ANSWERS_H_
