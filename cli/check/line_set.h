#ifndef CLI_CHECK_LINE_SET_H
#define CLI_CHECK_LINE_SET_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/check/text_set.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex.h"
#include "rules/rule_syntax.h"

// The lines that a keyword expression or a pattern takes: at most kMaxLineLen bytes, no line feed. An example line
// answers most questions before an automaton is built for them. A variable stands for any text.
class LineSet {
 public:
  enum class Source { kKeyWords, kPattern };

  LineSet(Source source, std::string text);

  // False for an expression that the library's reader cannot read: then nothing is known of it.
  bool isKnown() const { return isKnown_; }
  bool hasVariable() const { return hasVariable_; }

  // True when it is certain that no line is taken, that every line is, that every line of `other` is, and that no line
  // is in both sets.
  bool isEmpty();
  bool isAll();
  bool covers(LineSet& other);
  bool isApartFrom(LineSet& other);

 private:
  bool takes(const std::string& line);
  const std::optional<std::string>& example();
  TextSet* texts();

  std::string text_;
  std::string filled_;  // with empty variables
  Source source_;
  KeyWordForm form_;
  bool hasVariable_ = false;
  bool isKnown_ = true;
  std::optional<RegexTree> tree_;  // of a regular expression
  std::unique_ptr<Regex> regex_;   // of one without variables
  bool hasExample_ = false;        // it has been looked for
  bool isCertain_ = true;          // without an example there is none
  std::optional<std::string> example_;
  bool hasTexts_ = false;
  std::optional<TextSet> texts_;
};

// The sets of all expressions by their texts.
class LineSets {
 public:
  LineSet& ofKeyWords(const std::string& text) { return get(LineSet::Source::kKeyWords, text); }
  LineSet& ofPattern(const std::string& text) { return get(LineSet::Source::kPattern, text); }

  // The alternatives of an expression by which it takes no line.
  std::vector<Piece> emptyAlternatives(const std::string& expression);

 private:
  LineSet& get(LineSet::Source source, const std::string& text) {
    return sets_.try_emplace({source, text}, source, text).first->second;
  }

  std::map<std::pair<LineSet::Source, std::string>, LineSet> sets_;
};

#endif  // CLI_CHECK_LINE_SET_H
