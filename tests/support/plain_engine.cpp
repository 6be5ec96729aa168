#include "tests/support/plain_engine.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>

#include "regex/regex.h"

namespace {

bool Holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

bool HasVariable(const std::string& text) { return Holds(text, "@{") && Holds(text, "}@"); }

std::vector<std::string> Terms(const std::string& text, const std::string& mark) {
  std::vector<std::string> terms;
  for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + mark.size()) {
    end = text.find(mark, begin);
    if (end != begin && begin < text.size()) terms.push_back(text.substr(begin, end - begin));
  }
  return terms;
}

// What one expression finds in one line is held against std::regex elsewhere.
std::optional<Regex::Match> Find(const std::string& line, const std::string& text) {
  static std::map<std::string, Regex> expressions;
  Regex::Match match;
  if (!expressions.try_emplace(text, text).first->second.search(line, match)) return std::nullopt;
  return match;
}

bool KeyWordsMatch(const std::string& line, const std::string& keyWords) {
  if (keyWords.rfind("@R@", 0) == 0) return Find(line, keyWords.substr(3)).has_value();
  if (Holds(keyWords, "@|@")) {
    const auto terms = Terms(keyWords, "@|@");
    return std::any_of(terms.begin(), terms.end(), [&line](const std::string& term) { return Holds(line, term); });
  }
  if (!Holds(keyWords, "@&@")) return Holds(line, keyWords);
  size_t from = 0;
  for (const std::string& term : Terms(keyWords, "@&@")) {
    const size_t pos = line.find(term, from);
    if (pos == std::string::npos) return false;
    from = pos + term.size();
  }
  return true;
}

std::vector<std::string*> TextsOf(FeatureRule& rule) {
  std::vector<std::string*> texts = {&rule.keyWords, &rule.depend};
  for (auto& param : rule.params) texts.push_back(&param.second);
  return texts;
}

}  // namespace

void PlainEngine::scan(std::stringstream& content) {
  std::list<FeatureRule>& rules = frame_.rules;
  const int32_t skipStep = frame_.skip >= 1 ? frame_.skip : 32000;
  int32_t sinceMatch = 1;
  for (std::string line; std::getline(content, line);) {
    const bool inSegment = std::any_of(records_.begin(), records_.end(), [](const Record& record) {
      return Holds(record.first, "LayerOneCmd") || Holds(record.first, "LayerTwoCmd");
    });
    if (line.size() > 2048 || (inSegment && (line.empty() || line[0] == ' ' || line[0] == '\t'))) continue;
    const auto makeCurrent = [&] {
      curLine_ = line;
      curPosition_ = static_cast<int32_t>(std::streamoff(content.tellg()) - std::streamoff(line.size()) - 1);
    };
    makeCurrent();
    const auto rule = std::find_if(rules.begin(), rules.end(), [this](FeatureRule& r) { return selects(r); });
    if (rule != rules.end()) {
      const bool done = takeParams(*rule);
      for (int32_t i = 1; i < rule->num && std::getline(content, line); ++i) {
        makeCurrent();
        takeParams(*rule);
      }
      if (done && rule->command == "rules") rules.erase(rule);
      sinceMatch = 0;
    }
    if (rules.empty() || sinceMatch >= skipStep) return;
    ++sinceMatch;
  }
}

bool PlainEngine::selects(FeatureRule& rule) const {
  const auto met = [&rule](const Record& record) { return Holds(record.first, rule.depend); };
  if (!rule.depend.empty() && std::none_of(records_.begin(), records_.end(), met)) return false;
  const auto hasVariable = [&rule] {
    const std::vector<std::string*> texts = TextsOf(rule);
    return std::any_of(texts.begin(), texts.end(), [](const std::string* text) { return HasVariable(*text); });
  };
  if (hasVariable()) {
    for (const Record& record : records_) {
      const std::string variable = "@{" + record.first + "}@";
      for (std::string* text : TextsOf(rule)) {
        const size_t pos = text->find(variable);
        if (pos != std::string::npos) text->replace(pos, variable.size(), record.second.line);
      }
    }
    if (hasVariable()) return false;
  }
  return KeyWordsMatch(curLine_, rule.keyWords);
}

bool PlainEngine::takeParams(FeatureRule& rule) {
  bool anyLast = false;
  for (auto param = rule.params.begin(); param != rule.params.end();) {
    const size_t mark = param->second.find("@L@");
    const bool isLast = mark != std::string::npos;
    anyLast = anyLast || isLast;
    const std::string pattern = isLast ? param->second.substr(mark + 3) : param->second;
    const bool isStack = Holds(pattern, "@T@");
    const auto found = isStack ? Regex::Match{} : Find(curLine_, pattern);
    if (!found) {
      ++param;
      continue;
    }
    const std::string name = rule.name + "." + param->first;
    const auto old = std::find_if(records_.begin(), records_.end(), [&](const Record& r) { return r.first == name; });
    if (isLast && old != records_.end()) records_.erase(old);
    records_.push_back({name, {curPosition_, std::string(found->group)}});
    param = !isLast && rule.command == "rules" ? rule.params.erase(param) : std::next(param);
  }
  return !anyLast && rule.params.empty();
}
