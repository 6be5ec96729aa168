#include <algorithm>
#include <map>
#include <set>

#include "cli/check/checks.h"
#include "cli/check/key_word_inclusion.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"

namespace {

void CheckTerms(const RuleModel& model, const PlacedText& keyWords, std::string_view mark, Findings& findings) {
  const std::string& text = keyWords.text();
  size_t begin = 0;
  while (true) {
    const size_t end = text.find(mark, begin);
    if (begin == std::min(end, text.size())) {
      // An empty last term has only the mark in front of it.
      const size_t place = end == std::string::npos ? begin - mark.size() : end;
      findings.add(Code::kTermEmpty, model.matchFile, keyWords.json.span(place, mark.size()),
                   std::string("an empty term at this ") + Quoted(mark) + " is dropped");
    }
    if (end == std::string::npos) return;
    begin = end + mark.size();
  }
}

void CheckMarks(const RuleModel& model, const PlacedRule& rule, Findings& findings) {
  const PlacedText& keyWords = rule.keyWords;
  const std::string& text = keyWords.text();
  const KeyWordForm form = FormOf(text);
  if (!keyWords.isKnown) return;
  if (text.empty() || text == kRegexMark) {
    findings.add(
        Code::kKeywordsEmpty, model.matchFile, keyWords.span,
        keyWords.isPresent ? "empty \"keyWords\" accept every line" : "a rule without \"keyWords\" accepts every line");
    return;
  }
  if (form == KeyWordForm::kRegex) return;
  const size_t mark = text.find(kRegexMark);
  if (mark != std::string::npos) {
    findings.add(Code::kRegexMarkInside, model.matchFile, keyWords.json.span(mark, kRegexMark.size()),
                 "\"@R@\" is plain text here; it counts at the start of the keywords only");
  }
  const size_t andMark = text.find(kAndMark);
  if (form == KeyWordForm::kOr && andMark != std::string::npos) {
    findings.add(Code::kMarksMixed, model.matchFile, keyWords.json.span(andMark, kAndMark.size()),
                 "\"@&@\" is plain text in an expression with \"@|@\"");
  }
  if (form != KeyWordForm::kText) CheckTerms(model, keyWords, form == KeyWordForm::kOr ? kOrMark : kAndMark, findings);
}

void CheckParamMarks(const RuleModel& model, const PlacedRule& rule, Findings& findings) {
  for (const PlacedParam& param : rule.params) {
    const size_t mark = param.pattern.text().find(kRegexMark);
    if (mark == std::string::npos) continue;
    findings.add(Code::kRegexMarkInside, model.matchFile, param.pattern.json.span(mark, kRegexMark.size()),
                 "\"@R@\" is plain text in a parameter, which is an expression in any case");
  }
}

// --- Which rule takes whose lines ---

std::set<std::string> VariableNames(const PlacedRule& rule) {
  std::set<std::string> names;
  const auto add = [&names](const std::string& text) {
    for (const Variable& variable : VariablesOf(text)) names.insert(variable.name);
  };
  add(rule.keyWords.text());
  add(rule.depend.text());
  for (const PlacedParam& param : rule.params) add(param.pattern.text());
  return names;
}

struct Candidate {
  const PlacedRule* rule;
  const Coverage* coverage;
  std::set<std::string> variables;
};

// True when `earlier` is tried on every line on which `later` is, as long as it is there.
bool IsTriedWhenever(const Candidate& earlier, const Candidate& later) {
  const std::string& depend = earlier.rule->depend.text();
  const bool isMet = depend.empty() || later.rule->depend.text().find(depend) != std::string::npos;
  return isMet && std::includes(later.variables.begin(), later.variables.end(), earlier.variables.begin(),
                                earlier.variables.end());
}

bool IsEverSpent(const PlacedRule& rule) {
  return rule.record.command == "rules" &&
         std::none_of(rule.params.begin(), rule.params.end(), [](const PlacedParam& param) {
           return param.pattern.text().find(kLastMark) != std::string::npos;
         });
}

class OrderCheck {
 public:
  OrderCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void check(const PlacedEntry& entry) {
    std::vector<Candidate> earlier;
    for (const PlacedRule& rule : entry.rules) {
      if (!rule.keyWords.isKnown) continue;
      const Candidate candidate{&rule, &coverageOf(rule.keyWords.text()), VariableNames(rule)};
      report(earlier, candidate);
      if (!rule.isRefused) earlier.push_back(candidate);
    }
  }

 private:
  void report(const std::vector<Candidate>& earlier, const Candidate& rule) {
    const Candidate* shadow = nullptr;
    for (const Candidate& other : earlier) {
      const bool isSpent = IsEverSpent(*other.rule);
      if ((isSpent && shadow != nullptr) || !IsTriedWhenever(other, rule) || !other.coverage->covers(*rule.coverage)) {
        continue;
      }
      if (!isSpent) {
        add(Code::kRuleUnreachable, *rule.rule,
            "never reached: rule " + describe(*other.rule) + " takes all its lines");
        return;
      }
      shadow = &other;
    }
    if (shadow != nullptr) {
      add(Code::kRuleShadowed, *rule.rule,
          "reached only once rule " + describe(*shadow->rule) + ", which takes all its lines, is spent");
    }
  }

  void add(Code code, const PlacedRule& rule, std::string message) {
    findings_.add(code, model_.matchFile, rule.keyWords.span, std::move(message));
  }

  std::string describe(const PlacedRule& rule) const {
    return Quoted(rule.record.name) + " in line " + std::to_string(lines_.placeOf(rule.span.begin).line);
  }

  const Coverage& coverageOf(const std::string& keyWords) {
    return coverages_.try_emplace(keyWords, keyWords).first->second;
  }

  const RuleModel& model_;
  Findings& findings_;
  const LineIndex lines_{model_.matchFile.text};
  std::map<std::string, Coverage> coverages_;
};

}  // namespace

void CheckKeyWords(const RuleModel& model, Findings& findings) {
  OrderCheck order(model, findings);
  for (const PlacedEntry& entry : model.entries) {
    for (const PlacedRule& rule : entry.rules) {
      CheckMarks(model, rule, findings);
      CheckParamMarks(model, rule, findings);
    }
    order.check(entry);
  }
}
