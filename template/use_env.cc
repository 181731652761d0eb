#include "template/use_env.h"

#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

#include "servlet/debug_out.h"
#include "servlet/hs_conn.h"
#include "template/directive.h"
#include "template/openers.h"
#include "template/scan.h"
#include "template/var_val.h"

namespace {

// The buffer behind a stream: a page is written in many short pieces, and the stream is asked about
// its state once for all of them. What goes wrong leaves the stream bad, and is thrown only where
// the stream is to throw, as by its own operations.
class Output {
 public:
  explicit Output(std::ostream& stream)
      : stream_(stream), buffer_(stream.good() ? stream.rdbuf() : nullptr) {}

  void write(const char* text, std::size_t size) {
    if (buffer_ == nullptr) return;
    const std::streamsize length = static_cast<std::streamsize>(size);
    try {
      if (buffer_->sputn(text, length) == length) return;
    } catch (...) {
      buffer_ = nullptr;
      if ((stream_.exceptions() & std::ios::badbit) != 0) throw;
    }
    buffer_ = nullptr;
    stream_.setstate(std::ios::badbit);
  }

 private:
  std::ostream& stream_;
  std::streambuf* buffer_;  // null once something went wrong
};

// One rendering. Text is always copied or skipped at the innermost nesting level; the levels around
// it wait in `outer_`, each in the state of its block, until an elif, else or endif comes back to
// them.
class Renderer {
 public:
  Renderer(std::map<std::string, std::string>& env, radius::Packet& radius, const char* start,
           const char* end, Output* out, bool esc)
      : end_(end),
        out_(out),
        run_(start),
        openers_(start, end),
        ahead_(start, end, env),
        values_(env, radius, esc) {
    setLive(out != nullptr);
  }

  // Renders from the start; returns where that ended: the end, or the opener of a directive that
  // closes no block.
  const char* render();

 private:
  struct Directive {
    SCmd kind = kCmdNone;
    const std::string_view* name = nullptr;
    const std::string_view* value = nullptr;
    bool equal = false;
  };

  struct Level {
    std::uint8_t state;
    bool live;
  };

  // Classifies the words; false when they form no directive.
  bool parse(Directive* directive);
  // Makes `text_` the value of a name; false, and `text_` as it was, when the name is unknown.
  bool lookUp(std::string_view name);
  bool isTrue(const Directive& directive);
  void openBranch(std::uint32_t state, bool live);
  // Takes an elif, else or endif back to the level around; false when there is none.
  bool closeBranch(const Directive& directive);
  void setLive(bool live);
  // Writes the literal run up to `upTo`.
  void flush(const char* upTo);

  const char* const end_;
  Output* const out_;
  const char* run_;    // start of the literal run that is still to be written
  bool live_ = false;  // what the current level renders is written
  Openers openers_;
  LookAhead ahead_;
  std::vector<Level> outer_;
  Words words_;  // those of the directive at hand
  VarLookup values_;
  std::string_view name_;  // the last one that was looked up; none is empty
  std::string_view text_;  // its value
};

// Whether a backslash keeps the character at `at` from opening a directive; behind `start` there is
// no other opener in front of it. Backslashes are taken in pairs from the first one of a run on:
// whatever stands before the run may itself be kept from opening, but keeps nothing.
bool isEscaped(const char* start, const char* at) {
  bool escaped = false;
  while (at > start && *--at == '\\') escaped = !escaped;
  return escaped;
}

const char* Renderer::render() {
  const char* cursor = run_;
  for (;;) {
    const char* const special = openers_.next(cursor);
    if (end_ - special < 2) break;
    if (special > cursor && special[-1] == '\\' && isEscaped(cursor, special)) {
      cursor = special + 1;
      continue;
    }
    const char* behind = special + 1;
    if (*special == '$') {
      if (*behind != '(') {
        cursor = special + 2;
        continue;
      }
      if (++behind == end_) break;
    }
    cursor = special + 1;
    if (!readTokens(&behind, end_, &words_, &ahead_)) continue;
    if (words_.count == 1 && oneWordKind(words_.word[0]) == kCmdNone) {
      // A reference to an unknown name is literal text; in a dropped branch nothing is looked up,
      // and every reference goes.
      if (live_) {
        if (!lookUp(words_.word[0])) continue;
        flush(special);
        out_->write(text_.data(), text_.size());
      }
    } else {
      Directive directive;
      if (!parse(&directive)) continue;
      flush(special);
      if (directive.kind == kCmdIf) {
        openBranch(kIfTransitions[isTrue(directive) ? 1 : 0][kIfNone][kCmdIf - 1], live_);
      } else if (!closeBranch(directive)) {
        return special;
      }
    }
    cursor = run_ = behind;
  }
  flush(end_);
  return end_;
}

bool Renderer::parse(Directive* directive) {
  return parseTokens(words_, &directive->kind, &directive->name, &directive->value,
                     &directive->equal);
}

// Pages ask for a variable and then show it, or show it time and again.
inline bool Renderer::lookUp(std::string_view name) {
  if (scan::same(name, name_)) return true;
  if (!values_.find(name, &text_)) return false;
  name_ = name;
  return true;
}

// Nothing is evaluated in a dropped branch; what counts as the truth there is of no consequence.
bool Renderer::isTrue(const Directive& directive) {
  if (!live_) return directive.equal;
  const std::string_view value = lookUp(*directive.name) ? text_ : std::string_view();
  if (directive.value == nullptr) return !value.empty();
  return (value == *directive.value) == directive.equal;
}

void Renderer::openBranch(std::uint32_t state, bool live) {
  outer_.push_back({static_cast<std::uint8_t>(state), live});
  setLive(live && state == kIfMatch);
}

bool Renderer::closeBranch(const Directive& directive) {
  if (outer_.empty()) return false;
  const Level level = outer_.back();
  outer_.pop_back();
  setLive(level.live && level.state != kIfWasmatch);
  const bool truth = directive.kind == kCmdElif && isTrue(directive);
  const std::uint32_t state = kIfTransitions[truth ? 1 : 0][level.state][directive.kind - 1];
  if (state == kIfNone) {
    setLive(level.live);
  } else {
    openBranch(state, level.live);
  }
  return true;
}

void Renderer::setLive(bool live) {
  live_ = live;
  ahead_.setDropped(!live);
}

void Renderer::flush(const char* upTo) {
  if (live_ && run_ < upTo) out_->write(run_, static_cast<std::size_t>(upTo - run_));
}

}  // namespace

void HsConn::useEnv(const char* text, unsigned len, std::ostream& out, bool esc) {
  const char* cursor = text;
  const char* const end = text + len;
  useEnvR(env, radius, &cursor, end, &out, esc);
  if (cursor != end) {
    DebugOut() << "  " << static_cast<unsigned>(end - cursor) << " bytes left!" << std::endl;
  }
}

void useEnvR(std::map<std::string, std::string>& env, radius::Packet& radius, const char** cursor,
             const char* end, std::ostream* out, bool esc) {
  if (*cursor > end) {
    DebugOut() << "BUG: *ptr > end" << std::endl;
    *cursor = end;
    return;
  }
  if (out == nullptr) {
    *cursor = Renderer(env, radius, *cursor, end, nullptr, esc).render();
    return;
  }
  Output output(*out);
  *cursor = Renderer(env, radius, *cursor, end, &output, esc).render();
}
