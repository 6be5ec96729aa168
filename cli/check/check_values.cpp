// What parameters take from a line: whether they can be found on it at all, whether their first group takes anything,
// and what becomes of a value that is written into an expression.

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "cli/check/checks.h"
#include "cli/check/expression_verdict.h"
#include "cli/check/line_set.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/expression_signs.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "regex/regex_tree.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

using Kind = RegexNode::Kind;

constexpr std::string_view kLineBytes = "\t\n\r";  // control bytes that have findings of their own, or none

constexpr size_t kNarrow = 128;  // fewer bytes than this are no "anything but"

// All bytes in texts that the node takes.
ByteSet AllBytes(const RegexNode& node) {
  ByteSet bytes = node.bytes;
  if (IsLookAhead(node)) return {};
  for (const RegexNode& part : node.parts) bytes |= AllBytes(part);
  return bytes;
}

// A node without the sequences of one part around it.
const RegexNode& Bare(const RegexNode& node) {
  return node.kind == Kind::kSequence && node.parts.size() == 1 ? Bare(node.parts[0]) : node;
}

// The first group and how it stands in its expression.
struct GroupPlace {
  const RegexNode* group = nullptr;
  const RegexNode* before = nullptr;  // what stands directly in front of it
  bool isNegated = false;             // in a negative look-ahead
  bool isRepeated = false;            // somewhere in a repetition
  bool isEachRound = false;           // itself what a repetition repeats, so that the last round counts
  bool isNever = false;               // in a repetition of no times
  bool isLeftOut = false;             // itself what a repetition may leave out
  bool isNotChosen = false;           // in one of several alternatives; another one takes a text too
  bool isBehindNothing = true;        // what follows can always take the empty text
};

// True when the node takes a text, and not only conditions.
bool TakesText(const RegexNode& node) {
  return !IsLookAhead(node) &&
         (node.kind == Kind::kByte || std::any_of(node.parts.begin(), node.parts.end(), TakesText));
}

bool FindGroup(const RegexNode& node, GroupPlace& place) {
  if (node.kind == Kind::kFirstGroup) {
    place.group = &node;
    return true;
  }
  for (size_t i = 0; i < node.parts.size(); ++i) {
    if (!FindGroup(node.parts[i], place)) continue;
    place.isNegated = place.isNegated || node.kind == Kind::kNegativeLookAhead;
    place.isRepeated = place.isRepeated || node.kind == Kind::kRepeat;
    place.isNever = place.isNever || (node.kind == Kind::kRepeat && node.max == 0);
    const bool isWhole = node.kind == Kind::kRepeat && &Bare(node.parts[0]) == place.group;
    place.isEachRound = place.isEachRound || (isWhole && node.max != 1);
    place.isLeftOut = place.isLeftOut || (isWhole && node.min == 0);
    if (node.kind == Kind::kChoice) {
      for (size_t j = 0; j < node.parts.size(); ++j) place.isNotChosen |= j != i && TakesText(node.parts[j]);
    }
    if (node.kind == Kind::kSequence) {
      if (i > 0 && &Bare(node.parts[i]) == place.group) place.before = &Bare(node.parts[i - 1]);
      for (size_t j = i + 1; j < node.parts.size(); ++j) {
        place.isBehindNothing = place.isBehindNothing && TakesEmptyText(node.parts[j]);
      }
    }
    return true;
  }
  return false;
}

// True when a group takes the empty text only.
bool TakesNothing(const RegexNode& group) {
  if (!TakesText(group)) return true;
  RegexNode any{.kind = Kind::kByte};
  any.bytes.set();
  std::optional<TextSet> texts = TextSet::matchedBy(group);
  const RegexNode something{.kind = Kind::kRepeat, .parts = {any}, .min = 1, .max = RegexNode::kUnbounded};
  std::optional<TextSet> filled = TextSet::matchedBy(something);
  if (!texts) return false;
  const TextFound found = FindText(
      {&*texts, &*filled}, [](const std::vector<bool>& in) { return in[0] && in[1]; }, kMaxLineLen);
  return !found.text && found.isCertain;
}

// True when what stands in front of a group, as often as it can, takes all that the group could take too: the group
// is left with the least that it needs.
bool IsSwallowed(const GroupPlace& place, const RegexNode& content) {
  const RegexNode* before = place.before;
  return before != nullptr && !IsAnyText(*before) && before->kind == Kind::kRepeat &&
         before->max == RegexNode::kUnbounded && !before->lazy && before->parts[0].kind == Kind::kByte &&
         content.kind == Kind::kRepeat && content.max != content.min && content.parts[0].kind == Kind::kByte &&
         (content.parts[0].bytes & ~before->parts[0].bytes).none();
}

// A capture group as it is written.
struct WrittenGroup {
  size_t begin;
  size_t end;
  bool isRepeated;
  bool isChoice;  // between alternatives
};

// Of a valid expression, in the order of their opening brackets.
std::vector<WrittenGroup> GroupsOf(std::string_view text) {
  std::vector<WrittenGroup> groups;
  std::vector<size_t> open;  // indexes in `groups`, or npos for a group that does not capture
  for (const auto& [i, sign, depth] : SignsOf(text)) {
    const char next = i + 1 < text.size() ? text[i + 1] : '\0';
    if (sign == '(') {
      open.push_back(next != '?' ? groups.size() : std::string::npos);
      if (next != '?') groups.push_back({i, text.size(), false, false});
    } else if (sign == ')' && !open.empty()) {
      if (open.back() != std::string::npos) {
        WrittenGroup& group = groups[open.back()];
        group.end = i + 1;
        group.isRepeated = next != '\0' && std::string_view("*+?{").find(next) != std::string::npos;
      }
      open.pop_back();
    } else if (sign == '|' && !open.empty() && open.back() != std::string::npos) {
      groups[open.back()].isChoice = true;
    }
  }
  return groups;
}

// Where a record comes from.
struct Source {
  const PlacedRule* rule;
  const PlacedParam* param;
};

// Values that break expressions, each by another sign. The later ones are for groups that take no less.
constexpr std::string_view kBreakers[] = {"(", "[", "\\", "*", "+", "?", "{", ")", "]", "}", "++", "**", "\\q", "a)"};

class ValueCheck {
 public:
  ValueCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void checkEntry(const PlacedEntry& entry) {
    sources_.clear();
    for (const PlacedRule& rule : entry.rules) {
      for (const PlacedParam& param : rule.params) sources_[rule.recordName(param)].push_back({&rule, &param});
    }
    collectResults(entry);
    checkControlBytes(entry.dirOrFile, "");
    checkControlBytes(entry.subcataLog, "");
    for (const PlacedRule& rule : entry.rules) checkRule(rule);
  }

 private:
  Finding& add(Code code, Span span, std::string message) {
    return findings_.add(code, model_.matchFile, span, std::move(message));
  }

  // The records that templates of the entry name.
  void collectResults(const PlacedEntry& entry) {
    results_.clear();
    for (const PlacedId& id : entry.ids) {
      const PlacedTemplates* templates = model_.templatesOf(id);
      if (templates == nullptr) continue;
      for (const PlacedTemplate& result : templates->templates) {
        const std::string separator = SeparatorOf(result.text.text());
        if (separator.empty()) {
          results_.insert(result.text.text());
          continue;
        }
        for (const Piece& piece : PiecesOf(result.text.text(), separator)) results_.insert(piece.text);
      }
    }
  }

  void checkRule(const PlacedRule& rule) {
    checkControlBytes(rule.keyWords, kLineBytes);
    checkVariables(rule.keyWords, FormOf(rule.keyWords.text()) == KeyWordForm::kRegex);
    checkVariables(rule.depend, false);
    for (const PlacedParam& param : rule.params) {
      if (!param.pattern.isKnown) continue;
      checkControlBytes(param.pattern, kLineBytes);
      checkVariables(param.pattern, true);
      checkParam(rule, param);
    }
  }

  // JSON has short forms for some that an expression has too. `usual`: those that a log may hold.
  void checkControlBytes(const PlacedText& text, std::string_view usual) {
    for (size_t i = 0; i < text.text().size(); ++i) {
      const char c = text.text()[i];
      if (usual.find(c) == std::string_view::npos && (static_cast<unsigned char>(c) < ' ' || c == '\x7f')) {
        addControlByte(text, i, usual.empty() ? "path" : "log");
        return;
      }
      const size_t size = InvisibleAt(std::string_view(text.text()).substr(i));
      if (size == 0) continue;
      const Span span = text.json.span(i, size);
      Finding& finding = add(Code::kControlCharacter, span, "an invisible character or a no-break space stands here");
      finding.severity = Severity::kWarning;
      finding.fix = Fix{span, text.text().substr(i, size) == kNoBreakSpace ? " " : ""};
      return;
    }
  }

  void addControlByte(const PlacedText& text, size_t place, const std::string& holder) {
    const char c = text.text()[place];
    const Span span = text.json.span(place, 1);
    const std::string written = model_.matchFile.text.substr(span.begin, span.end - span.begin);
    std::string message = "a control character that no " + holder + " holds";
    if (c == '\b') {
      message = "\"\\b\" is a backspace in JSON, which no " + holder + " holds; a word boundary is \"\\\\b\"";
    }
    if (c == '\f') message = "\"\\f\" is a form feed in JSON, which no " + holder + " holds";
    Finding& finding = add(Code::kControlCharacter, span, message);
    if ((c == '\b' || c == '\f') && written.size() == 2) finding.fix = Fix{span, "\\" + written};
  }

  void checkParam(const PlacedRule& rule, const PlacedParam& param) {
    const PlacedText& pattern = param.pattern;
    const bool isStack = IsStackPattern(pattern.text());
    const std::string applied(AppliedPattern(pattern.text()));
    const std::string expression = isStack ? StackExpression(applied) : applied;
    if (pattern.text().empty()) {
      addEmpty(rule, param, Code::kParamWithoutGroup, pattern.span, "without an expression the value is always empty");
    }
    if (expression.empty()) return;  // else that is a matter of its marks
    LineSet& taken = lines_.ofPattern(expression);
    if (taken.isEmpty()) {
      add(Code::kParamNever, pattern.span,
          isStack ? "no line can match this: the stack is always empty"
                  : "no line can match this: the value is never there");
      return;
    }
    checkAlternatives(pattern, expression);
    if (isStack) {
      checkStack(rule, param, expression);
      return;
    }
    const bool isOneLine = rule.record.num < 2;
    LineSet& selected = lines_.ofKeyWords(rule.keyWords.text());
    if (isOneLine && rule.keyWords.isKnown && !selected.isEmpty() && selected.isApartFrom(taken)) {
      add(Code::kParamNever, pattern.span, "no line that the keywords accept can match this: the value is never there");
      return;
    }
    checkGroups(rule, param, expression, pattern.text().size() - applied.size());
  }

  // `expression`: the end of the pattern.
  void checkAlternatives(const PlacedText& pattern, const std::string& expression) {
    if (!pattern.text().ends_with(expression)) return;  // a mark stands in it
    const size_t offset = pattern.text().size() - expression.size();
    for (const Piece& alternative : lines_.emptyAlternatives(expression)) {
      const Span span = pattern.json.span(offset + alternative.offset, alternative.text.size());
      add(Code::kParamNever, span, "no line can match this alternative").severity = Severity::kWarning;
    }
  }

  // What is taken of a line is all of the match.
  void checkStack(const PlacedRule& rule, const PlacedParam& param, const std::string& expression) {
    const std::optional<RegexTree> tree = ReadWithVariables(expression);
    if (!tree) return;
    if (!TakesText(tree->root)) {
      addEmpty(rule, param, Code::kValueEmpty, param.pattern.span,
               "this matches without taking a text: the stack is always empty");
    } else if (TakesEmptyText(tree->root) && FirstBytes(tree->root).count() < kNarrow) {
      add(Code::kValueMayBeEmpty, param.pattern.span,
          "this matches at the start of every line, and takes nothing where no frame begins there");
    }
    checkStackGroup(param.pattern, expression);
  }

  // Whoever writes a group around a part of the frame likely means that part alone.
  void checkStackGroup(const PlacedText& pattern, const std::string& expression) {
    if (!pattern.text().ends_with(expression)) return;  // a mark stands in it
    const size_t offset = pattern.text().size() - expression.size();
    for (const Piece& alternative : AlternativesOf(expression)) {
      const std::vector<WrittenGroup> groups = GroupsOf(alternative.text);
      if (groups.empty() || groups[0].isRepeated || groups[0].isChoice) continue;
      const auto takes = [](const std::string& part) {
        const std::optional<RegexTree> tree = ReadWithVariables(part);
        return tree && TakesText(tree->root);
      };
      const auto& [begin, end, isRepeated, isChoice] = groups[0];
      if (!takes(alternative.text.substr(0, begin)) && !takes(alternative.text.substr(end))) continue;
      add(Code::kLaterGroup, pattern.json.span(offset + alternative.offset + begin, end - begin),
          "of a line of the stack all that matches is taken, not this group alone");
    }
  }

  void checkGroups(const PlacedRule& rule, const PlacedParam& param, const std::string& expression, size_t offset) {
    const std::optional<RegexTree> tree = ReadWithVariables(expression);
    if (!tree) return;
    const Span whole = param.pattern.span;
    if (tree->groupCount == 0) {
      addEmpty(rule, param, Code::kParamWithoutGroup, whole, "without a capture group the value is always empty");
      return;
    }
    const std::vector<WrittenGroup> groups = GroupsOf(expression);
    const Span span =
        groups.empty() ? whole : param.pattern.json.span(offset + groups[0].begin, groups[0].end - groups[0].begin);
    GroupPlace place;
    if (!FindGroup(tree->root, place)) return;
    const RegexNode& content = place.group->parts.size() == 1 ? Bare(place.group->parts[0]) : *place.group;
    const bool isLoop = content.kind == Kind::kRepeat;
    const bool isShortest = isLoop && content.lazy && place.isBehindNothing && !place.isRepeated;
    if (place.isNegated) {
      addEmpty(rule, param, Code::kValueEmpty, span,
               "a group in \"(?!\" never takes a text: the value is always empty");
    } else if (TakesNothing(*place.group) || place.isNever || (isShortest && content.min == 0)) {
      addEmpty(rule, param, Code::kValueEmpty, span,
               isShortest ? "as few times as possible, with nothing behind, is none: the value is always empty"
                          : "this group takes nothing but the empty text: the value is always empty");
    } else if (IsSwallowed(place, content)) {
      addSwallowed(rule, param, span, content.min == 0);
    } else if (content.kind == Kind::kChoice && place.isBehindNothing && TakesEmptyText(content.parts[0]) &&
               !TakesText(content.parts[0])) {
      addEmpty(rule, param, Code::kValueEmpty, span,
               "the first alternative is the empty one: the value is always empty");
    } else if (place.isEachRound) {
      add(Code::kValueMayBeEmpty, span,
          "of a repeated group the last round is the value; put the repetition inside the group");
    } else if (isShortest && content.max != content.min) {
      add(Code::kValueMayBeEmpty, span,
          "as few times as possible, with nothing behind, is the least: the value is cut off");
    } else if (TakesEmptyText(tree->root) && FirstBytes(tree->root).count() < kNarrow) {
      add(Code::kValueMayBeEmpty, whole,
          "this matches at the start of every line, with an empty value where the text does not stand there");
    } else if (place.isLeftOut) {
      add(Code::kValueMayBeEmpty, span, "this group may be left out: on such a line the value is empty for good");
    } else if (place.isNotChosen && !place.isRepeated && groups.size() == 1) {
      add(Code::kValueMayBeEmpty, span,
          "another alternative matches without this group: on such a line the value is empty for good");
    } else if (content.kind == Kind::kChoice && place.isBehindNothing && TakesEmptyText(content)) {
      add(Code::kValueMayBeEmpty, span, "this group may take nothing: on such a line the value is empty for good");
    } else if (isLoop && content.min == 0 && place.isBehindNothing && FirstBytes(content).count() < kNarrow) {
      add(Code::kValueMayBeEmpty, span,
          "this group may take nothing: on such a line the value is empty for good; write \"+\"");
    }
    for (size_t i = 1; i < groups.size(); ++i) {
      if (groups[i].begin < groups[0].end || groups[i].isRepeated || groups[i].isChoice) continue;
      add(Code::kLaterGroup, param.pattern.json.span(offset + groups[i].begin, groups[i].end - groups[i].begin),
          "only what the first group takes is the value; this one is not read");
      break;
    }
  }

  void addSwallowed(const PlacedRule& rule, const PlacedParam& param, Span span, bool isEmpty) {
    const std::string why = "what stands in front of this group takes all that it could take: the value is ";
    if (isEmpty) {
      addEmpty(rule, param, Code::kValueEmpty, span, why + "always empty");
    } else {
      add(Code::kValueMayBeEmpty, span, why + "cut to the least");
    }
  }

  // An empty record can still be waited for; a result cannot be made of it.
  void addEmpty(const PlacedRule& rule, const PlacedParam& param, Code code, Span span, const std::string& message) {
    const bool isResult = results_.contains(rule.recordName(param));
    add(code, span, message).severity = isResult ? Severity::kError : Severity::kWarning;
  }

  void checkVariables(const PlacedText& text, bool isExpression) {
    std::set<std::string> known;
    for (const Variable& variable : VariablesOf(text.text())) {
      const auto sources = sources_.find(variable.name);
      if (!variable.isClosed || sources == sources_.end()) continue;
      const Span span = text.json.span(variable.begin, variable.end - variable.begin);
      if (!known.insert(variable.name).second) {
        add(Code::kVariableRepeated, span,
            "each line fills one place of a variable: this one is filled a line later, and the rule misses the lines "
            "until then");
        continue;
      }
      const bool isStack = std::all_of(sources->second.begin(), sources->second.end(),
                                       [](const Source& s) { return IsStackPattern(s.param->pattern.text()); });
      if (isStack) {
        add(Code::kVariableOfStack, span,
            "the record " + Quoted(variable.name) + " notes a place for " + Quoted(kStackMark) +
                ": its value is always empty");
      } else if (isExpression) {
        checkFilling(text, variable, span, sources->second);
      }
    }
  }

  // Looks for a value that the groups can take and that breaks the expression.
  void checkFilling(const PlacedText& text, const Variable& variable, Span span, const std::vector<Source>& sources) {
    for (const Source& source : sources) {
      if (IsStackPattern(source.param->pattern.text())) continue;
      for (const std::string_view breaker : kBreakers) {
        const std::optional<std::string> value = valueWith(source, breaker);
        if (!value || !breaks(text.text(), variable, *value)) continue;
        const TextPlace place = model_.matchLines->placeOf(source.param->pattern.span.begin);
        add(Code::kVariableInExpression, span,
            "a log in which " + Quoted(variable.name) + " is " + Quoted(*value) +
                " makes this expression invalid and ends the device process: the group in line " +
                std::to_string(place.line) + " takes \"" + std::string(1, breaker[0]) +
                "\"; let it take no signs of expressions, or use plain keywords");
        return;
      }
    }
  }

  // A shortest value with `part` in it that the source can give; nullopt when there is none.
  std::optional<std::string> valueWith(const Source& source, std::string_view part) {
    const std::string key = source.param->pattern.text() + '\n' + std::string(part);
    const auto [known, isNew] = values_.try_emplace(key);
    if (isNew) known->second = findValueWith(std::string(AppliedPattern(source.param->pattern.text())), part);
    return known->second;
  }

  static std::optional<std::string> findValueWith(const std::string& pattern, std::string_view part) {
    const std::optional<RegexTree> tree = ReadWithVariables(pattern);
    if (!tree) return std::string(part);  // it may take anything
    GroupPlace place;
    if (tree->groupCount == 0 || !FindGroup(tree->root, place)) return std::nullopt;
    const ByteSet bytes = AllBytes(*place.group);
    if (!std::all_of(part.begin(), part.end(), [&](char c) { return bytes[static_cast<unsigned char>(c)]; })) {
      return std::nullopt;
    }
    std::string escaped;
    for (const char c : part)
      escaped.append("[").append(c == '\\' || c == ']' || c == '[' ? "\\" : "").append(1, c).append("]");
    std::optional<TextSet> texts = TextSet::matchedBy(*place.group);
    std::optional<TextSet> holds = TextSet::foundBy(escaped);
    if (!texts || !holds) return std::string(part);
    return FindText(
               {&*texts, &*holds}, [](const std::vector<bool>& in) { return in[0] && in[1]; }, kMaxLineLen)
        .text;
  }

  // Whether the expression with that value is one that the device refuses, and with a harmless value is not.
  static bool breaks(const std::string& text, const Variable& variable, const std::string& value) {
    const std::string expression =
        WithVariablesAs(text.substr(0, variable.begin), "x") + value + WithVariablesAs(text.substr(variable.end), "x");
    const std::string harmless = WithVariablesAs(text, "x");
    return JudgeExpression(ExpressionIn(expression)).endsProcess() &&
           !JudgeExpression(ExpressionIn(harmless)).endsProcess();
  }

  // What is compiled of keywords with "@R@" or of a parameter's pattern.
  static std::string ExpressionIn(const std::string& text) {
    const std::string applied(AppliedPattern(text));
    if (text.starts_with(kRegexMark)) return text.substr(kRegexMark.size());
    return StackExpression(applied);
  }

  const RuleModel& model_;
  Findings& findings_;
  LineSets lines_;
  std::map<std::string, std::vector<Source>> sources_;
  std::set<std::string> results_;
  std::map<std::string, std::optional<std::string>> values_;
};

}  // namespace

void CheckValues(const RuleModel& model, Findings& findings) {
  ValueCheck check(model, findings);
  for (const PlacedEntry& entry : model.entries) check.checkEntry(entry);
}
