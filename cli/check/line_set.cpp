#include "cli/check/line_set.h"

#include <algorithm>

#include "cli/rule_files/expression_signs.h"
#include "util/limits.h"

namespace {

using Kind = RegexNode::Kind;

// A short text that the expression takes, if nothing but its bytes mattered.
std::string SampleOf(const RegexNode& node) {
  std::string text;
  switch (node.kind) {
    case Kind::kByte:
      for (const std::string_view good : {"a", "1", " ", ":"}) {
        if (node.bytes[static_cast<unsigned char>(good[0])]) return std::string(good);
      }
      for (size_t b = 0; b < node.bytes.size(); ++b) {
        if (node.bytes[b]) return {static_cast<char>(b)};
      }
      return "";
    case Kind::kChoice:
      return SampleOf(node.parts[0]);
    case Kind::kRepeat:
      if (node.min == 0) return "";
      text = SampleOf(node.parts[0]);
      for (int i = 1; i < node.min && text.size() <= kMaxLineLen; ++i) text += SampleOf(node.parts[0]);
      return text;
    case Kind::kSequence:
    case Kind::kFirstGroup:
      for (const RegexNode& part : node.parts) text += SampleOf(part);
      return text;
    default:
      return "";
  }
}

// True for a tree without conditions on what stands around: what SampleOf says of it is true.
bool IsPlain(const RegexNode& node) {
  if (node.kind == Kind::kByte && node.bytes.none()) return false;
  const bool isPlain = node.kind == Kind::kByte || node.kind == Kind::kChoice || node.kind == Kind::kRepeat ||
                       node.kind == Kind::kSequence || node.kind == Kind::kFirstGroup;
  return isPlain && std::all_of(node.parts.begin(), node.parts.end(), IsPlain);
}

bool IsLine(const std::string& text) { return text.size() <= kMaxLineLen && text.find('\n') == std::string::npos; }

}  // namespace

LineSet::LineSet(Source source, std::string text)
    : text_(std::move(text)), source_(source), form_(source == Source::kPattern ? KeyWordForm::kRegex : FormOf(text_)) {
  filled_ = WithVariablesAs(text_, "");
  hasVariable_ = filled_ != text_;
  if (form_ != KeyWordForm::kRegex) return;
  const std::string expression = source_ == Source::kPattern ? text_ : text_.substr(kRegexMark.size());
  tree_ = ReadWithVariables(expression);
  isKnown_ = tree_.has_value();
}

// Whether a line is taken, for all variables empty.
bool LineSet::takes(const std::string& line) {
  if (form_ == KeyWordForm::kRegex) {
    if (!isKnown_ || hasVariable_) return false;
    if (regex_ == nullptr) {
      regex_ = std::make_unique<Regex>(source_ == Source::kPattern ? text_ : text_.substr(kRegexMark.size()));
    }
    Regex::Match match;
    return regex_->search(line, match);
  }
  if (form_ == KeyWordForm::kText) return line.find(filled_) != std::string::npos;
  const bool isAnd = form_ == KeyWordForm::kAnd;
  std::string_view rest = filled_;
  size_t from = 0;
  for (std::string_view term; TakeTerm(rest, isAnd ? kAndMark : kOrMark, term);) {
    const size_t pos = line.find(term, isAnd ? from : 0);
    if (!isAnd && pos != std::string::npos) return true;
    if (isAnd && pos == std::string::npos) return false;
    from = pos + term.size();
  }
  return isAnd;
}

const std::optional<std::string>& LineSet::example() {
  if (hasExample_) return example_;
  hasExample_ = true;
  std::string sample;
  if (form_ == KeyWordForm::kRegex) {
    if (tree_) sample = SampleOf(tree_->root);
  } else {
    std::string_view rest = filled_;
    const std::string_view mark = form_ == KeyWordForm::kOr ? kOrMark : kAndMark;
    for (std::string_view term; TakeTerm(rest, mark, term);) {
      sample += term;
      if (form_ == KeyWordForm::kOr && IsLine(sample)) break;
      if (form_ == KeyWordForm::kOr) sample.clear();
    }
  }
  const bool isSure = form_ == KeyWordForm::kRegex && tree_ && IsPlain(tree_->root);
  if (IsLine(sample) && (isSure || takes(sample))) {
    example_ = sample;
  } else if (TextSet* set = texts()) {
    const TextFound found = FindText(
        {set}, [](const std::vector<bool>& in) { return in[0]; }, kMaxLineLen);
    const bool isTaken = found.text && (set->isExact() || takes(*found.text));
    if (isTaken) example_ = found.text;
    isCertain_ = found.isCertain && !found.text;
  } else {
    isCertain_ = form_ == KeyWordForm::kOr;  // without a term
  }
  return example_;
}

TextSet* LineSet::texts() {
  if (!hasTexts_) {
    hasTexts_ = true;
    texts_ = source_ == Source::kPattern ? TextSet::foundBy(text_) : TextSet::ofKeyWords(text_);
  }
  return texts_ ? &*texts_ : nullptr;
}

bool LineSet::isEmpty() { return isKnown_ && !example() && isCertain_; }

bool LineSet::isAll() {
  if (!isKnown_ || hasVariable_ || !takes("") || texts() == nullptr || !texts()->isExact()) return false;
  const TextFound found = FindText(
      {texts()}, [](const std::vector<bool>& in) { return !in[0]; }, kMaxLineLen);
  return !found.text && found.isCertain;
}

bool LineSet::covers(LineSet& other) {
  if (!isKnown_ || hasVariable_ || !other.isKnown_) return false;
  if (text_ == other.text_ && source_ == other.source_) return true;
  if (other.example() && !takes(*other.example())) return false;
  if (texts() == nullptr || !texts()->isExact() || other.texts() == nullptr) return false;
  const TextFound found = FindText(
      {texts(), other.texts()}, [](const std::vector<bool>& in) { return in[1] && !in[0]; }, kMaxLineLen);
  return !found.text && found.isCertain;
}

bool LineSet::isApartFrom(LineSet& other) {
  if (!isKnown_ || !other.isKnown_ || !example() || !other.example()) return false;
  for (const std::string& line : {*example() + *other.example(), *other.example() + *example()}) {
    if (takes(line) && other.takes(line)) return false;
  }
  if (texts() == nullptr || other.texts() == nullptr) return false;
  const TextFound found = FindText(
      {texts(), other.texts()}, [](const std::vector<bool>& in) { return in[0] && in[1]; }, kMaxLineLen);
  return !found.text && found.isCertain;
}

std::vector<Piece> LineSets::emptyAlternatives(const std::string& expression) {
  std::vector<Piece> alternatives = AlternativesOf(expression);
  std::erase_if(alternatives, [this](const Piece& alternative) { return !ofPattern(alternative.text).isEmpty(); });
  return alternatives;
}
