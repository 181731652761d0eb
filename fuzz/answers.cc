#include "fuzz/answers.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdlib>

#include "fuzz/check.h"

namespace fuzz {

namespace {

constexpr char kVersion[] = "HTTP/1.1 ";

bool isAlike(const std::string& a, const std::string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

bool isToken(const std::string& text) {
  static const std::string kMarks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (std::isalnum(static_cast<unsigned char>(c)) != 0 &&
            static_cast<unsigned char>(c) < 0x80) ||
           (c != '\0' && kMarks.find(c) != std::string::npos);
  });
}

bool isFieldText(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '\t' || (byte >= 0x20 && byte != 0x7f);
  });
}

class Reader {
 public:
  Reader(const std::string& wire, bool hasHead) : wire_(wire), hasHead_(hasHead) {}

  std::vector<Answer> readAll() {
    std::vector<Answer> answers;
    while (at_ < wire_.size()) {
      check(answers.empty() || !answers.back().closes(), "nothing follows an answer that closes");
      Answer answer = readHeader();
      if (answer.status == 100) {
        check(answer.fields.empty(), "an interim answer is its line alone");
        continue;
      }
      checkFraming(answer);
      readBody(&answer);
      answers.push_back(std::move(answer));
    }
    return answers;
  }

 private:
  std::string readLine() {
    const std::size_t end = wire_.find("\r\n", at_);
    check(end != std::string::npos, "a header's line ends with CR LF");
    std::string line = wire_.substr(at_, end - at_);
    at_ = end + 2;
    return line;
  }

  Answer readHeader() {
    Answer answer;
    const std::string line = readLine();
    const std::size_t code = sizeof kVersion - 1;
    check(line.compare(0, code, kVersion) == 0 && line.size() > code + 3 && line[code + 3] == ' ' &&
              std::all_of(line.begin() + code, line.begin() + code + 3,
                          [](char c) { return c >= '0' && c <= '9'; }),
          "a status line has a version, three digits and a reason");
    answer.status = std::atoi(line.c_str() + code);
    answer.reason = line.substr(code + 4);
    check(isFieldText(answer.reason), "a reason is text");
    for (std::string field = readLine(); !field.empty(); field = readLine()) {
      const std::size_t colon = field.find(':');
      check(colon != std::string::npos && isToken(field.substr(0, colon)), "a field has a name");
      const std::size_t value = std::min(field.find_first_not_of(" \t", colon + 1), field.size());
      answer.fields.emplace_back(field.substr(0, colon), field.substr(value));
      check(isFieldText(answer.fields.back().second), "a field's value is text");
    }
    return answer;
  }

  static void checkFraming(const Answer& answer) {
    const auto count = [&](const char* name) {
      return std::count_if(answer.fields.begin(), answer.fields.end(),
                           [&](const auto& field) { return isAlike(field.first, name); });
    };
    check(answer.status >= 200 && answer.status <= 599, "a final status");
    check(count("Date") == 1, "an answer has a date");
    check(count("Transfer-Encoding") == 0, "an answer has a length, no other framing");
    check(count("Connection") <= 1, "an answer says once what becomes of the connection");
    const std::string length = answer.field("Content-Length");
    check(count("Content-Length") == 1 && !length.empty() && length.size() < 9 &&
              length.find_first_not_of("0123456789") == std::string::npos,
          "an answer has one length");
  }

  void readBody(Answer* answer) {
    const auto length =
        static_cast<std::size_t>(std::atol(answer->field("Content-Length").c_str()));
    const std::size_t left = wire_.size() - at_;
    // No page of the targets begins like an answer.
    const bool next = left == 0 || wire_.compare(at_, sizeof kVersion - 1, kVersion) == 0;
    answer->bodyLeftOut = hasHead_ && length > 0 && next;
    if (answer->bodyLeftOut) return;
    check(left >= length, "a body is whole");
    answer->body = wire_.substr(at_, length);
    at_ += length;
  }

  const std::string& wire_;
  const bool hasHead_;
  std::size_t at_ = 0;
};

}  // namespace

std::string Answer::field(const std::string& name) const {
  for (const auto& [each, value] : fields) {
    if (isAlike(each, name)) return value;
  }
  return {};
}

std::vector<Answer> readAnswers(const std::string& wire, bool hasHead) {
  return Reader(wire, hasHead).readAll();
}

}  // namespace fuzz
