#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <regex>

#include "analysis/analysis.h"
#include "regex/expression.h"
#include "regex/regex_reader.h"
#include "regex/selectivity.h"
#include "rules/rule_syntax.h"
#include "tests/support/plain_engine.h"
#include "tests/support/run_notes.h"
#include "tests/support/standard_search.h"
#include "tests/support/temp_dir.h"

namespace {

// More cases than a quick run makes are asked for in the environment.
int CaseCount(const char* variable, int quick) {
  const char* count = std::getenv(variable);
  return count == nullptr ? quick : std::atoi(count);
}

// Makes texts out of few pieces, so that rules and lines often meet and often nearly do.
class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed), isLong_(oneIn(5)), hasTexts_(oneIn(3)), isForLast_(oneIn(3)) {}

  size_t below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random_); }
  bool oneIn(size_t n) { return below(n) == 0; }

  std::string pick(const std::vector<std::string>& pieces) { return pieces[below(pieces.size())]; }

  std::string repeat(size_t least, size_t most, const std::vector<std::string>& pieces) {
    std::string text;
    for (size_t i = least + below(most - least + 1); i > 0; --i) text += pick(pieces);
    return text;
  }

  std::string line() {
    return (hasTexts_ && oneIn(2) ? pick(texts_) : "") +
           repeat(0, 7, {"a", "b", "ab", "c", "1", "12", " ", "=", "\t", "pid", "x\r", "\xc3\xa4", ".", "-"});
  }

  // At most two loops, none inside another: the plain form takes for ever on more.
  std::string regex() { return isLong_ ? pick({"a(b)", "(1)2", "^pid", "(=)"}) : expression(); }

  std::string expression() {
    loops_ = 2;
    return choice(0);
  }

  std::string choice(int depth) {
    std::string text;
    for (size_t i = below(4) + 1; i > 0; --i) {
      const int loopsBefore = loops_;
      bool mayRepeat = true;
      if (oneIn(4) && depth < 2) {
        const std::string open = pick({"(", "(?:", "(?=", "(?!"});
        mayRepeat = open.size() < 3 || open[2] == ':';
        text += open + choice(depth + 1) + ")";
      } else {
        const std::string atom = pick({"a",   "b",   "ab",  "pid",   "1",    ".",        "\\d",    "\\w",    "\\s",
                                       "\\S", "\\D", "\\W", "\\.",   "[ab]", "[^a]",     "[a-c1]", "[^\\d]", "[\\w.]",
                                       "=",   "^",   "\\b", "\\x61", "\\B",  "\xc3\xa4", "$"});
        mayRepeat = atom != "^" && atom != "$" && atom != "\\b" && atom != "\\B";
        text += atom;
      }
      if (mayRepeat && loops_ > 0 && loops_ == loopsBefore && oneIn(3)) {
        text += pick({"*", "+", "?", "*?", "+?", "{2}", "{1,3}", "{2,}"});
        --loops_;
      }
      if (oneIn(8)) text += "|";
    }
    return text;
  }

  std::string name() { return pick({"r1", "r2", "LayerOneCmd", "r3"}); }
  std::string key() { return pick({"v_a", "v_b"}); }
  std::string variable() { return !isForLast_ && oneIn(6) ? "@{" + name() + "." + key() + "}@" : ""; }
  std::string keyWords() {
    if (hasTexts_ && !oneIn(30)) {
      const std::string text = repeat(0, 1, {"a", "1", "pid"}) + pick(texts_);
      return pick({"", "", "@R@" + regex(), "@R@", pick(texts_) + "@|@", "b@&@"}) + text + variable();
    }
    if (oneIn(3)) return "@R@" + regex() + variable();
    return repeat(0, 2, {"a", "ab", "1", "pid", "=", " "}) +
           (oneIn(2) ? pick({"@|@", "@&@"}) + repeat(0, 2, {"b", "12", "c", "@|@", "@&@"}) : "") + variable();
  }

  FeatureRule rule() {
    FeatureRule rule;
    rule.command = oneIn(2) ? "rules" : "segmentRule";
    rule.num = rule.command == "rules" || oneIn(2) ? 0 : static_cast<int32_t>(below(4));
    rule.name = name();
    rule.depend = oneIn(4) ? pick({"r1", "v_b", "r2.v_a", "Layer"}) + variable() : "";
    rule.keyWords = keyWords();
    for (size_t i = below(3); i > 0; --i) {
      const std::string mark = isForLast_ && !oneIn(9) ? "@L@" : pick({"", "", "", "@L@", "@T@", "x@L@@T@"});
      rule.params[key()] = mark + (oneIn(2) ? "(" + regex() + ")" : regex()) + variable();
    }
    return rule;
  }

  FeatureFrame frame() {
    FeatureFrame frame;
    frame.skip = isForLast_ || oneIn(3) ? 0 : static_cast<int32_t>(below(oneIn(9) ? 9000 : 12));
    for (size_t i = below(9); i > 0; --i) frame.rules.push_back(rule());
    return frame;
  }

  std::string log() {
    std::string text;
    // A log of many windows now and then.
    for (size_t i = oneIn(200) ? 20000 + below(10000) : below(isForLast_ ? 150 : 60); i > 0; --i) {
      text += isLong_ && oneIn(6) ? std::string(2046 + below(4), 'a') : line();
      if (i > 1 || !oneIn(3)) text += "\n";
    }
    return text;
  }

 private:
  const std::vector<std::string> texts_ = {"pid=", "abab", "ab12", "b12ab", "12 ab", "x\rab"};
  std::mt19937 random_;
  bool isLong_;     // the log has lines around the longest that is examined; expressions are plain then
  bool hasTexts_;   // each rule asks for a fixed text of some length
  bool isForLast_;  // parameters are mostly for the last value
  int loops_ = 0;   // that the expression may still have
};

std::string Show(const std::vector<Record>& records) {
  std::string text;
  for (const Record& record : records) {
    text += record.first + "@" + std::to_string(record.second.position) + "=" + record.second.line + "\n";
  }
  return text;
}

std::string Show(const std::list<FeatureRule>& rules) {
  std::string text;
  for (const FeatureRule& rule : rules) {
    text += rule.command + " " + std::to_string(rule.num) + " " + rule.name + " [" + rule.depend + "] [" +
            rule.keyWords + "]";
    for (const auto& [key, pattern] : rule.params) text += " " + key + "=[" + pattern + "]";
    text += "\n";
  }
  return text;
}

// The results of a run over the file that keeps all records, or what can matter of them.
std::map<std::string, std::string> Results(FeatureFrame frame, bool keepsNeeded, size_t window,
                                           FeatureLines* shared = nullptr, size_t feature = 0) {
  std::map<std::string, std::string> templates;
  for (const char* rule : {"r1", "r2", "LayerOneCmd", "r3"}) {
    for (const char* key : {"v_a", "v_b"}) templates[RecordName(rule, key)] = RecordName(rule, key);
  }
  Analysis engine(1, "event", &frame, templates);
  if (keepsNeeded) engine.keepNeededRecords();
  if (shared != nullptr) engine.share(*shared, feature);
  engine.setWindow(window);
  engine.analysisLog();
  auto results = engine.getResult();
  results["rules"] = Show(frame.rules);
  results["status"] = std::to_string(engine.getStatus());
  return results;
}

// Notes what becomes of the lines that rules select, with a report of each line or of those alone.
struct MatchNotes : RunNotes {
  explicit MatchNotes(bool everyLine) : isForEveryLine(everyLine) {}

  bool wantsEveryLine() const override { return isForEveryLine; }
  void onLine(std::string_view line, size_t offset, LineFate fate) override {
    text = line;
    position = offset;
    if (fate == LineFate::kSpanned) RunNotes::onLine(line, offset, fate);
  }
  void onRule(const FeatureRule& rule, RuleOutcome outcome) override {
    if (outcome != RuleOutcome::kSelects) return;
    RunNotes::onLine(text, position, LineFate::kExamined);
    RunNotes::onRule(rule, outcome);
  }

  const bool isForEveryLine;
  std::string text;  // of the line
  size_t position = 0;
};

std::vector<std::string> NotedMatches(FeatureFrame frame, const std::string& log, bool everyLine, size_t window) {
  std::stringstream content(log);
  MatchNotes notes(everyLine);
  Analysis engine(1, "event", &frame, {});
  engine.observe(&notes);
  engine.setWindow(window);
  engine.rawInfoPosition(content);
  return notes.lines;
}

TEST(Scan, DoesWhatEveryRuleOnEveryLineDoes) {
  const TempDir dir;
  for (int i = 0; i < CaseCount("KESTRIX_SCAN_CASES", 800); ++i) {
    Generator generator(static_cast<unsigned>(i));
    FeatureFrame frame = generator.frame();
    const std::string log = generator.log();
    const std::string shown = "case " + std::to_string(i) + ", skip " + std::to_string(frame.skip) + "\n" +
                              Show(frame.rules) + "log:\n" + log.substr(0, 4000);

    FeatureFrame untouched = frame;
    FeatureFrame plainFrame = frame;
    std::stringstream plainContent(log);
    PlainEngine plain(plainFrame);
    plain.scan(plainContent);

    std::stringstream content(log);
    Analysis engine(1, "event", &frame, {});
    RunNotes watching;
    if (i % 4 == 0) engine.observe(&watching);
    const size_t window = generator.oneIn(3) ? LineReader::kWindow : 1 + generator.below(4096);
    engine.setWindow(window);
    engine.rawInfoPosition(content);

    ASSERT_EQ(Show(plain.records()), Show(engine.getRecords())) << shown;
    ASSERT_EQ(Show(plainFrame.rules), Show(frame.rules)) << shown;
    ASSERT_EQ(plainContent.rdstate(), content.rdstate()) << shown;
    ASSERT_EQ(plainContent.tellg(), content.tellg()) << shown;
    ASSERT_EQ(plain.current().position, engine.formatLineFeature("", "").position) << shown;

    ASSERT_EQ(NotedMatches(untouched, log, true, window), NotedMatches(untouched, log, false, window)) << shown;

    untouched.logPath = dir.write("log", log);
    ASSERT_EQ(Results(untouched, false, window), Results(untouched, true, window)) << shown;
  }
}

TEST(Scan, FindsTheSameForManyFeaturesTogether) {
  const TempDir dir;
  for (int i = 0; i < CaseCount("KESTRIX_SCAN_CASES", 800); ++i) {
    Generator generator(static_cast<unsigned>(i));
    std::vector<FeatureFrame> frames(1 + generator.below(5));
    const std::string log = generator.log();
    const std::string path = dir.write("log", log);
    std::vector<const FeatureFrame*> all;
    for (FeatureFrame& frame : frames) {
      frame = generator.frame();
      frame.logPath = path;
      all.push_back(&frame);
    }
    const size_t window = generator.oneIn(3) ? LineReader::kWindow : 1 + generator.below(4096);
    const auto source = OpenLog(path);
    if (source == nullptr) continue;
    FeatureLines shared(*source, window, all);
    for (size_t k = 0; k < frames.size(); ++k) {
      const size_t feature = i % 2 == 0 ? k : frames.size() - 1 - k;
      if (!shared.canFind(feature)) continue;
      const auto expected = Results(frames[feature], true, window);
      ASSERT_EQ(expected, Results(frames[feature], true, window, &shared, feature))
          << "case " << i << ", skip " << frames[feature].skip << "\n"
          << Show(frames[feature].rules) << "log:\n"
          << log.substr(0, 4000);
    }
  }
}

// Whether the automaton's "may match" is exact: nothing in the expression is taken for met or for any text.
bool IsExact(const std::string& regex) {
  return regex.find("(?=") == std::string::npos && regex.find("(?!") == std::string::npos &&
         regex.find("\\b") == std::string::npos && regex.find("\\B") == std::string::npos &&
         regex.find('$') == std::string::npos && regex.find("\xc3") == std::string::npos;
}

TEST(Expression, FindsWhatTheLibraryFinds) {
  for (int i = 0; i < CaseCount("KESTRIX_EXPRESSION_CASES", 1500); ++i) {
    Generator generator(static_cast<unsigned>(i));
    const std::string text = generator.expression();
    if (DiffersFromGnu(text)) continue;
    const std::regex compiled(text);
    Expression expression(text);
    const auto tree = ReadRegex(text).tree;
    ASSERT_TRUE(tree) << text;
    LineAutomaton automaton({tree->root}, 1 << 16);
    LineAutomaton stretch({MostSelective(Stretches(tree->root, i % 2 == 0 ? kNearlyAllCharacters : 4))}, 1 << 16);
    for (int k = 0; k < 20; ++k) {
      const std::string line = generator.line();
      Regex::Match found;
      const auto expected = StandardSearch(line, text, compiled);
      const bool matches = expected.has_value();
      ASSERT_EQ(matches, expression.search(line, found)) << text << "\non " << line;
      if (matches) {
        ASSERT_EQ(expected->whole, found.whole) << text << "\non " << line;
        ASSERT_EQ(expected->group, found.group) << text << "\non " << line;
      }
      ASSERT_TRUE(!matches || stretch.mayMatch(line)) << text << "\non " << line;
      const bool isAscii = line.find('\xc3') == std::string::npos;
      ASSERT_TRUE(matches || !IsExact(text) || !isAscii || !automaton.mayMatch(line)) << text << "\non " << line;
    }
  }
}

}  // namespace
