#include "analysis/literal_search.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "rules/rule_syntax.h"

// The search of Wu and Manber: a hash of the four bytes before a place tells how far behind it a text can end at the
// soonest, by where such bytes stand in any text. Most places are jumped over; where a text can end, those with that
// hash are compared.

namespace {

constexpr size_t kWorkPerText = 8;  // of a comparison, in places looked at
constexpr size_t kTextOverhead = 64;

// Texts one of which a line must hold to be matched by a keyword expression; none when nothing is known.
std::vector<std::string> NecessaryTexts(std::string_view keyWords, ExpressionCache& expressions) {
  std::vector<std::string> terms;
  const KeyWordForm form = FormOf(keyWords);
  if (form == KeyWordForm::kText) return {std::string(keyWords)};
  if (form == KeyWordForm::kRegex) {
    const std::optional<std::string> text = expressions.longestText(keyWords.substr(kRegexMark.size()));
    if (!text) return {};
    return {*text};
  }
  std::string_view term;
  while (TakeTerm(keyWords, form == KeyWordForm::kAnd ? kAndMark : kOrMark, term)) terms.emplace_back(term);
  if (form == KeyWordForm::kOr || terms.empty()) return terms;
  return {*std::max_element(terms.begin(), terms.end(),
                            [](const std::string& a, const std::string& b) { return a.size() < b.size(); })};
}

}  // namespace

LiteralSearch::LiteralSearch(const std::vector<FeatureRule>& rules, ExpressionCache& expressions)
    : hasTexts_(rules.size(), false) {
  for (size_t i = 0; i < rules.size(); ++i) {
    const std::vector<std::string> texts = NecessaryTexts(rules[i].keyWords, expressions);
    hasTexts_[i] = !texts.empty() && std::all_of(texts.begin(), texts.end(),
                                                 [](const std::string& text) { return text.size() >= kMinText; });
    if (!hasTexts_[i]) continue;
    for (const std::string& text : texts) texts_.push_back({text, static_cast<uint32_t>(i)});
  }
}

size_t LiteralSearch::hashBefore(const char* pos) {
  Block bytes = 0;
  memcpy(&bytes, pos - sizeof(bytes), sizeof(bytes));
  return (uint64_t{bytes} * 0x9e3779b1U >> (32 - kHashBits)) % (1U << kHashBits);
}

// Of each text as many of the last bytes count as the shortest one has.
void LiteralSearch::setTables() {
  hasTables_ = true;
  size_t least = UINT8_MAX;
  for (const Text& text : texts_) least = std::min(least, text.text.size());
  first_.fill(kNone);
  shift_.fill(static_cast<uint8_t>(least - kMinText + 1));
  for (uint32_t i = 0; i < texts_.size(); ++i) {
    const char* const end = texts_[i].text.data() + texts_[i].text.size();
    for (size_t behind = 0; behind + kMinText <= least; ++behind) {
      uint8_t& shift = shift_[hashBefore(end - behind)];
      shift = std::min(shift, static_cast<uint8_t>(behind));
    }
    texts_[i].next = std::exchange(first_[hashBefore(end)], i);
  }
}

template <typename Report>
void LiteralSearch::search(std::string_view subject, Report report) {
  if (!hasTables_) setTables();
  searched_ += subject.size();
  size_t work = 0;
  const char* const begin = subject.data();
  for (size_t at = kMinText; at <= subject.size();) {
    const char* const pos = begin + at;
    const size_t hash = hashBefore(pos);
    ++work;
    at += std::max<size_t>(shift_[hash], 1);
    if (shift_[hash] > 0) continue;
    const char* next = pos + 1;
    for (uint32_t i = first_[hash]; i != kNone; i = texts_[i].next) {
      work += kWorkPerText;
      const std::string& text = texts_[i].text;
      const auto before = static_cast<size_t>(pos - begin);
      if (before < text.size() || memcmp(pos - text.size(), text.data(), text.size()) != 0) continue;
      next = std::max(next, report(texts_[i].rule, pos));
    }
    at = static_cast<size_t>(next - begin);
  }
  work_ += work;
}

void LiteralSearch::findLines(std::string_view text, const std::vector<bool>& wanted, std::vector<size_t>& starts) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const char* searched = begin;  // lines before are found already
  search(text, [&](uint32_t rule, const char* pos) {
    if (!wanted[rule] || pos <= searched) return pos;
    const void* before = memrchr(searched, '\n', static_cast<size_t>(pos - searched));
    const char* const line = before == nullptr ? searched : static_cast<const char*>(before) + 1;
    starts.push_back(static_cast<size_t>(line - begin));
    const void* behind = memchr(pos, '\n', static_cast<size_t>(end - pos));
    searched = behind == nullptr ? end : static_cast<const char*>(behind) + 1;
    return searched;
  });
}

void LiteralSearch::classify(std::string_view line, std::vector<bool>& found) {
  found.assign(hasTexts_.size(), false);
  search(line, [&found](uint32_t rule, const char* pos) {
    found[rule] = true;
    return pos;
  });
}

const std::string* LiteralSearch::onlyText(const std::vector<bool>& wanted) const {
  const std::string* only = nullptr;
  for (const Text& text : texts_) {
    if (!wanted[text.rule]) continue;
    if (only != nullptr && *only != text.text) return nullptr;
    only = &text.text;
  }
  return only;
}

size_t LiteralSearch::memory() const {
  size_t bytes = sizeof(*this);
  for (const Text& text : texts_) bytes += text.text.size() + kTextOverhead;
  return bytes;
}
