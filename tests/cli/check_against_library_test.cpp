// Holds the checker against the library: rules over which a process ends have to be an error. Each set of rules runs in
// a child, over logs that reach its rules; the library is built without exceptions, and nobody catches any here.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "cli/check/checks.h"
#include "cli/library/library_call.h"
#include "entry/kestrix.h"
#include "regex/regex_reader.h"
#include "tests/cli/mistakes.h"
#include "tests/cli/transcript.h"
#include "tests/support/expression_generator.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr char kProcessEnds[] = "the device process";

struct RunCase {
  const char* log;
  const char* event;
};

struct Rules {
  std::string match;
  std::string assemble;
};

bool EndsTheProcess(const TempDir& dir, const Rules& rules, const std::vector<RunCase>& runs, unsigned seconds = 60) {
  dir.write("match_rule.json", rules.match);
  dir.write("assemble_rule.json", rules.assemble);
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    alarm(seconds);
    [&]() noexcept {  // as where nothing can be caught
      for (const RunCase& run : runs) Kestrix::analysis(run.log, dir.path(), run.event);
    }();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) && WTERMSIG(status) != SIGALRM;
}

std::vector<Finding> ErrorsIn(const Rules& rules) {
  const JsonFile matchFile("match_rule.json", rules.match);
  const JsonFile assembleFile("assemble_rule.json", rules.assemble);
  std::vector<Finding> errors;
  for (Finding& finding : CheckRules(RuleModel(matchFile, assembleFile))) {
    if (finding.severity == Severity::kError) errors.push_back(std::move(finding));
  }
  return errors;
}

TEST(CheckAgainstLibrary, NoMistakeOfTheTableEndsTheProcessWithoutAnError) {
  PrepareLibrary(false);
  const TempDir dir;
  const std::string log = dir.write("log.txt", ReadFile(KESTRIX_SOURCE_DIR "/tests/data-check/base/log.txt"));
  const std::vector<RunCase> runs = {{log.c_str(), "hang"}, {log.c_str(), "boot"}};
  int ended = 0;
  for (const Mistake& mistake : Mistakes()) {
    const Rules rules{mistake.matchRules, mistake.assembleRules};
    const bool ends = EndsTheProcess(dir, rules, runs);
    bool saysSo = false;
    const std::vector<Finding> errors = ErrorsIn(rules);
    for (const Finding& error : errors) saysSo = saysSo || error.message.find(kProcessEnds) != std::string::npos;
    EXPECT_TRUE(!ends || !errors.empty()) << mistake.what;
    EXPECT_TRUE(!saysSo || ends) << mistake.what << ": is said to end the process, and does not";
    ended += ends ? 1 : 0;
  }
  EXPECT_GT(ended, 2);
}

int CountFrom(const char* variable, int usual) {
  const char* wanted = std::getenv(variable);
  return wanted != nullptr ? std::atoi(wanted) : usual;
}

// What meets an expression: short lines, and with LLVM's library, which counts its steps, long ones of one byte.
std::string LinesFor(ExpressionGenerator<SeededDraw>& generator) {
  std::string lines;
  for (int i = 0; i < 8; ++i) lines += generator.subject() + "\n";
#ifdef _LIBCPP_VERSION
  for (const char c : std::string_view("ab1 =.")) lines += std::string(2000, c) + "\n";
#endif
  return lines;
}

// KESTRIX_LEFT_EXPRESSIONS=1500 in the environment makes it a long run.
TEST(CheckAgainstLibrary, NothingLeftToTheStandardLibraryEndsTheProcessWithoutAnError) {
  PrepareLibrary(false);
  const TempDir dir;
  SeededDraw draw(20'261'122);
  ExpressionGenerator generator(draw, true);
  int ended = 0;
  for (int left = CountFrom("KESTRIX_LEFT_EXPRESSIONS", 40); left > 0;) {
    const std::string expression = generator.expression();
    if (ReadRegex(expression).isSearchable()) continue;
    --left;
    const std::string log = dir.write("log.txt", LinesFor(generator));
    const Rules rules{R"({"featureFrame": {"dirOrFile": "/data", "subcataLog": ".*", "featureId": "KX_hang_1", )"
                      R"("rules": [{"name": "x", "keyWords": "", "v_x": )" +
                          Json::valueToQuotedString(expression.c_str()) + "}]}}",
                      R"({"hang": {"KX_hang_1": {"X": "x.v_x"}}})"};
    if (!EndsTheProcess(dir, rules, {{log.c_str(), "hang"}}, 10)) continue;
    ++ended;
    EXPECT_FALSE(ErrorsIn(rules).empty()) << expression;
  }
  std::printf("%d ended the process\n", ended);
  EXPECT_GT(ended, 0);
}

class Mutator {
 public:
  explicit Mutator(unsigned seed) : random_(seed) {}

  // One byte is replaced, inserted or removed.
  std::string byteMutant(std::string text) {
    const std::string bytes = "\"\\{}[](),:*+?|^$@RLT&0a-. \n\xff";
    const size_t place = below(text.size());
    switch (below(3)) {
      case 0:
        text[place] = bytes[below(bytes.size())];
        break;
      case 1:
        text.insert(place, 1, bytes[below(bytes.size())]);
        break;
      default:
        text.erase(place, 1 + below(3));
    }
    return text;
  }

  // One value, a text, is replaced, or something is written into it.
  std::string valueMutant(std::string text) {
    static const std::vector<std::string> kValues = {"1",
                                                     "-1",
                                                     "5000000000",
                                                     "1.5",
                                                     "null",
                                                     "true",
                                                     "[]",
                                                     "{}",
                                                     "[\"a\"]",
                                                     "\"\"",
                                                     "\"@R@\"",
                                                     "\"@R@(\"",
                                                     "\"@T@\"",
                                                     "\"@L@\"",
                                                     "\"@R@a]\"",
                                                     "\"(a\"",
                                                     "\"a**\"",
                                                     "\"[[:alpha:]]\"",
                                                     "\"@{a.v_b}@\""};
    static const std::vector<std::string> kParts = {
        "(",     ")",    "[",   "]",   "{",   "}",   "*",    "+",     "?",       "\\\\",
        "@R@",   "@T@",  "@L@", "@|@", "@&@", "(?<", "(?i)", "\\\\1", "\\\\u12", "@{head.v_x}@",
        "(a*)*", "{2,1}"};
    size_t begin = 0;
    for (int tries = 0; tries < 100; ++tries) {
      begin = text.find(": \"", below(text.size()));
      if (begin != std::string::npos) break;
    }
    if (begin == std::string::npos) return text;
    begin += 2;
    size_t end = begin + 1;
    while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
    if (below(2) == 0) return text.replace(begin, end + 1 - begin, kValues[below(kValues.size())]);
    size_t place = begin + 1 + below(end - begin);
    while (place > begin + 1 && text[place - 1] == '\\') --place;
    return text.insert(place, kParts[below(kParts.size())]);
  }

  size_t below(size_t limit) { return random_() % limit; }

 private:
  std::mt19937 random_;
};

// KESTRIX_RULE_MUTANTS=3000 in the environment makes it a long run.
TEST(CheckAgainstLibrary, NoMutantOfTheExamplesEndsTheProcessWithoutAnError) {
  PrepareLibrary(false);
  const int count = CountFrom("KESTRIX_RULE_MUTANTS", 60);
  const std::string examples = KESTRIX_SOURCE_DIR "/examples";
  const Rules sound{ReadFile(examples + "/rules/match_rule.json"), ReadFile(examples + "/rules/assemble_rule.json")};
  std::vector<std::string> logs;
  const char* const kTypes[] = {"java_crash", "native_crash", "app_not_responding", "kernel_panic"};
  for (const char* type : kTypes) logs.push_back(examples + "/logs/" + type + ".txt");
  std::vector<RunCase> runs;
  for (size_t i = 0; i < logs.size(); ++i) runs.push_back({logs[i].c_str(), kTypes[i]});
  const TempDir dir;
  Mutator mutator(20'261'121);
  int ended = 0;
  for (int i = 0; i < 2 * count; ++i) {
    Rules rules = sound;
    std::string& file = mutator.below(4) == 0 ? rules.assemble : rules.match;
    file = i % 2 == 0 ? mutator.valueMutant(file) : mutator.byteMutant(file);
    if (!EndsTheProcess(dir, rules, runs)) continue;
    ++ended;
    if (!ErrorsIn(rules).empty()) continue;
    const std::string& before = &file == &rules.match ? sound.match : sound.assemble;
    const auto place = std::mismatch(before.begin(), before.end(), file.begin(), file.end()).second - file.begin();
    ADD_FAILURE() << "mutant " << i << " ends the process, and the checker has no error: ..."
                  << file.substr(static_cast<size_t>(std::max<ptrdiff_t>(0, place - 60)), 120) << "...";
  }
  RecordProperty("ended", ended);
  std::printf("%d of %d mutants ended the process\n", ended, 2 * count);
  EXPECT_GT(ended, 0);
}

}  // namespace
