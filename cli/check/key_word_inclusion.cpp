#include "cli/check/key_word_inclusion.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "analysis/rule_filter.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex_tree.h"
#include "rules/rule_syntax.h"

namespace {

constexpr char kAnything = '\x01';    // in place of a variable
constexpr size_t kMaxKnown = 20'000;  // pairs of states looked at

// `pattern` with any text in place of the byte that stands for a variable.
RegexNode WithAnything(const RegexNode& pattern) {
  if (pattern.kind == RegexNode::Kind::kByte && pattern.bytes.count() == 1 && pattern.bytes[kAnything]) {
    return AnyText();
  }
  RegexNode result = pattern;
  for (RegexNode& part : result.parts) part = WithAnything(part);
  return result;
}

// How much of `term` the text ends with once `byte` follows `matched` bytes of it.
size_t NextMatched(const std::string& term, size_t matched, char byte) {
  const std::string text = term.substr(0, matched) + byte;
  size_t length = std::min(text.size(), term.size());
  while (!text.ends_with(term.substr(0, length))) --length;
  return length;
}

}  // namespace

// How far a reader of terms has come in a text: per term, the bytes of it that the text ends with. Terms that have to
// come in order are looked for one at a time.
struct Coverage::Progress {
  std::vector<size_t> matched;
  size_t term = 0;

  bool operator<(const Progress& other) const { return std::tie(term, matched) < std::tie(other.term, other.matched); }
};

// Reads a text for the terms of an expression.
class Coverage::Reader {
 public:
  explicit Reader(const Coverage& coverage) : coverage_(coverage) {}

  Progress start() const { return {std::vector<size_t>(coverage_.isAnd_ ? 1 : coverage_.terms_.size(), 0), 0}; }

  // False once the expression accepts the text.
  bool advance(Progress& progress, char byte) const {
    const std::vector<std::string>& terms = coverage_.terms_;
    for (size_t i = 0; i < progress.matched.size(); ++i) {
      const std::string& term = terms[coverage_.isAnd_ ? progress.term : i];
      progress.matched[i] = NextMatched(term, progress.matched[i], byte);
      if (progress.matched[i] < term.size()) continue;
      if (!coverage_.isAnd_ || ++progress.term == terms.size()) return false;
      progress.matched[i] = 0;
    }
    return true;
  }

  // A byte for each that the terms tell apart, out of `bytes`.
  std::vector<char> bytesToTry(const ByteSet& bytes) const {
    ByteSet known;
    std::vector<char> tried;
    for (const std::string& term : coverage_.terms_) {
      for (const char c : term) known.set(static_cast<unsigned char>(c));
    }
    bool hasOther = false;
    for (size_t b = 0; b < bytes.size(); ++b) {
      if (!bytes[b] || (!known[b] && hasOther)) continue;
      hasOther = hasOther || !known[b];
      tried.push_back(static_cast<char>(b));
    }
    return tried;
  }

 private:
  const Coverage& coverage_;
};

Coverage::Coverage(const std::string& keyWords) : keyWords_(keyWords) {
  const std::string filled = WithVariablesAs(keyWords, std::string(1, kAnything));
  const KeyWordForm form = FormOf(filled);
  isRegex_ = form == KeyWordForm::kRegex;
  isAnd_ = form == KeyWordForm::kAnd;
  isFixed_ = filled == keyWords;
  if (isRegex_ && !isFixed_) return;
  std::string_view rest = filled;
  if (form == KeyWordForm::kText) {
    terms_.push_back(filled);
  } else if (!isRegex_) {
    for (std::string_view term; TakeTerm(rest, isAnd_ ? kAndMark : kOrMark, term);) terms_.emplace_back(term);
  }
  const std::optional<RegexNode> pattern = ReadKeyWords(filled);
  if (!pattern) return;
  nfa_ = PatternNfa::of(WithAnything(*pattern));
  if (nfa_) example_ = nfa_->shortestText(PatternNfa::kBegin, PatternNfa::kEnd);
}

bool Coverage::covers(const Coverage& other) const {
  if (!isFixed_) return false;
  if (isRegex_) return keyWords_ == other.keyWords_;
  const bool takesAll = isAnd_ ? terms_.empty() : std::find(terms_.begin(), terms_.end(), "") != terms_.end();
  if (takesAll) return true;
  return other.nfa_ && other.example_ && accepts(*other.example_) && !missesTextOf(*other.nfa_);
}

bool Coverage::accepts(const std::string& line) const {
  size_t from = 0;
  for (const std::string& term : terms_) {
    const size_t pos = line.find(term, isAnd_ ? from : 0);
    if (!isAnd_ && pos != std::string::npos) return true;
    if (isAnd_ && pos == std::string::npos) return false;
    from = pos + term.size();
  }
  return isAnd_;
}

// True when there is a way through `nfa` whose text this expression does not accept. A line around it can only add to
// what is accepted.
bool Coverage::missesTextOf(const PatternNfa& nfa) const {
  const Reader reader(*this);
  std::set<std::pair<uint32_t, Progress>> known;
  std::vector<std::pair<uint32_t, Progress>> open{{PatternNfa::kBegin, reader.start()}};
  while (!open.empty()) {
    const auto [state, progress] = open.back();
    open.pop_back();
    for (const PatternNfa::Edge& edge : nfa.edges[state]) {
      if (edge.to == PatternNfa::kEnd) return true;
      for (const char byte : reader.bytesToTry(nfa.bytes[edge.to])) {
        Progress next = progress;
        if (!reader.advance(next, byte) || !known.insert({edge.to, next}).second) continue;
        if (known.size() > kMaxKnown) return true;
        open.emplace_back(edge.to, std::move(next));
      }
    }
  }
  return false;
}
