#include "tests/template/naive_renderer.h"

#include <cstdio>
#include <vector>

namespace naive {

namespace {

std::string xmlEscaped(const std::string& s) {
  std::string result;
  for (const char c : s) {
    switch (c) {
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '&':
        result += "&amp;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string urlEscaped(const std::string& s) {
  static const std::string kept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-";
  std::string result;
  for (const char c : s) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    result += c == ' ' ? "+" : kept.find(c) != std::string::npos ? std::string(1, c) : hex;
  }
  return result;
}

struct Parsed {
  int kind = 0;  // 0 reference, 1 if, 2 elif, 3 else, 4 endif
  bool hasName = false;
  std::string name;
  bool hasValue = false;
  std::string value;
  bool equal = false;
};

// Next state by truth, state (none, nomatch, match, wasmatch) and kind (if, elif, else, endif):
// o none, n nomatch, m match, w wasmatch, R hand the directive back.
const char* const kNextState[2][4] = {{"nRRR", "nnmo", "mwwo", "wwwo"},
                                      {"mRRR", "nmmo", "mwwo", "wwwo"}};

class Engine {
 public:
  Engine(const std::map<std::string, std::string>& env, bool hasRadius, const std::string& text,
         bool esc)
      : env_(env), hasRadius_(hasRadius), text_(text), esc_(esc) {}

  Rendered rendered;

  void level(std::string* out) {
    std::size_t& cursor = rendered.cursor;
    const std::size_t end = text_.size();
    std::size_t run = cursor;
    char state = 'o';
    while (cursor < end) {
      const char c = text_[cursor];
      if (c == '\\') {
        cursor += cursor + 1 < end ? 2 : 1;
        continue;
      }
      if (c == '$' && cursor + 1 == end) {
        cursor = end;
        continue;
      }
      if (c == '$' && text_[cursor + 1] != '(') {
        cursor += 2;
        continue;
      }
      if (c != '$' && c != '%') {
        ++cursor;
        continue;
      }

      const std::size_t directive = cursor;
      cursor += c == '$' ? 2 : 1;
      if (cursor == end) continue;
      std::vector<std::string> words;
      Parsed parsed;
      if (!readWords(&words) || !parse(words, &parsed)) {
        cursor = directive + 1;
        continue;
      }

      bool condition = parsed.equal;
      if (out != nullptr && state != 'w') {
        std::string value;
        const bool known = parsed.hasName && find(parsed.name, &value);
        if (parsed.kind == 0 && !known) {
          cursor = directive + 1;
          continue;
        }
        if (state != 'n') {
          out->append(text_, run, directive - run);
          if (parsed.kind == 0) out->append(value);
        }
        condition = parsed.hasValue ? (value == parsed.value) == parsed.equal : !value.empty();
      }
      run = cursor;
      if (parsed.kind == 0) continue;

      const char next = kNextState[condition ? 1 : 0][row(state)][parsed.kind - 1];
      if (next == 'R') {
        cursor = directive;
        return;
      }
      state = next;
      if (parsed.kind != 4) level(state == 'm' ? out : nullptr);
      run = cursor;
    }
    if (out != nullptr && (state == 'o' || state == 'm')) out->append(text_, run, cursor - run);
  }

 private:
  static int row(char state) { return state == 'o' ? 0 : state == 'n' ? 1 : state == 'm' ? 2 : 3; }

  bool readWords(std::vector<std::string>* words) {
    std::string word;
    while (rendered.cursor < text_.size()) {
      const char c = text_[rendered.cursor++];
      const bool closes = c == ')' || c == '%';
      if (closes || c == ' ' || c == '\t') {
        if (!word.empty()) words->push_back(word);
        word.clear();
        if (closes) return true;
      } else {
        word += c;
      }
    }
    return false;
  }

  static bool parse(const std::vector<std::string>& words, Parsed* parsed) {
    if (words.size() == 1) {
      parsed->kind = words[0] == "else" ? 3 : words[0] == "endif" ? 4 : 0;
      parsed->hasName = parsed->kind == 0;
      parsed->name = parsed->hasName ? words[0] : "";
      return true;
    }
    if (words.size() != 2 && words.size() != 4) return false;
    if (words[0] == "if") {
      parsed->kind = 1;
    } else if (words[0] == "elif") {
      parsed->kind = 2;
    } else {
      return false;
    }
    parsed->hasName = true;
    parsed->name = words[1];
    if (words.size() == 2) return true;
    if (words[2] == "==" || words[2] == "=") {
      parsed->equal = true;
    } else if (words[2] != "!=" && words[2] != "<>") {
      return false;
    }
    parsed->hasValue = true;
    parsed->value = words[3];
    const std::size_t length = parsed->value.size();
    if (length >= 2 && (parsed->value[0] == '\'' || parsed->value[0] == '"') &&
        parsed->value[length - 1] == parsed->value[0]) {
      parsed->value = parsed->value.substr(1, length - 2);
    }
    return true;
  }

  bool find(const std::string& name, std::string* value) const {
    if (env_.count(name) != 0) {
      *value = esc_ ? xmlEscaped(env_.at(name)) : env_.at(name);
      return true;
    }
    std::string base = name;
    if (name.size() > 4 && name.substr(name.size() - 4) == "-esc") {
      base = name.substr(0, name.size() - 4);
      if (env_.count(base) != 0) {
        *value = urlEscaped(env_.at(base));
        return true;
      }
    }
    if (base != "radius") return false;
    *value = hasRadius_ ? "true" : "";
    return true;
  }

  const std::map<std::string, std::string>& env_;
  const bool hasRadius_;
  const std::string& text_;
  const bool esc_;
};

}  // namespace

Rendered render(const std::map<std::string, std::string>& env, bool hasRadius,
                const std::string& text, bool esc, bool toNowhere) {
  Engine engine(env, hasRadius, text, esc);
  std::string output;
  engine.level(toNowhere ? nullptr : &output);
  engine.rendered.output = output;
  return engine.rendered;
}

}  // namespace naive
