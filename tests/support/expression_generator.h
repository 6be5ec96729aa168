#ifndef TESTS_SUPPORT_EXPRESSION_GENERATOR_H
#define TESTS_SUPPORT_EXPRESSION_GENERATOR_H

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// Draws numbers for ExpressionGenerator; the same ones for the same seed.
class SeededDraw {
 public:
  explicit SeededDraw(unsigned seed) : random_(seed) {}
  size_t below(size_t n) { return random_() % n; }

 private:
  std::mt19937 random_;
};

// Makes regular expressions, and subjects that they match often enough. `Draw` has below(n). std::regex, which the
// expressions are tried with, takes for ever on many loops: there are few.
template <typename Draw>
class ExpressionGenerator {
 public:
  // With `odd`, expressions also hold what the library leaves to std::regex and what is invalid.
  ExpressionGenerator(Draw& draw, bool odd) : draw_(draw), odd_(odd) {}

  std::string expression(int loops = 3) {
    loops_ = loops;
    return choice(0);
  }

  std::string subject() {
    std::string text;
    for (size_t i = draw_.below(9); i > 0; --i) {
      text += pick({"a", "b", "c", "1", " ", "=", "pid", "x\r", "\xc3\xa4", "-", "A"});
    }
    return text;
  }

  std::string pick(const std::vector<std::string>& pieces) { return pieces[draw_.below(pieces.size())]; }
  bool oneIn(size_t n) { return draw_.below(n) == 0; }

 private:
  std::string choice(int depth) {
    std::string text;
    for (size_t i = draw_.below(4) + 1; i > 0; --i) {
      std::string atom = depth < 3 && oneIn(3) ? group(depth) : this->atom();
      text += atom;
      const bool isAssertion = atom == "^" || atom == "$" || atom == "\\b" || atom == "\\B" ||
                               atom.starts_with("(?=") || atom.starts_with("(?!");
      if (loops_ > 0 && oneIn(2) && (!isAssertion || (odd_ && oneIn(20)))) {
        text += pick({"*", "+", "?", "*?", "+?", "??", "{2}", "{1,3}", "{2,}", "{0,2}?"});
        if (odd_ && oneIn(30)) text += pick({"*", "+", "{2,1}", "{,3}", "{1001}", "{0}"});
        --loops_;
      }
      if (oneIn(7)) text += "|";
    }
    return text;
  }

  std::string group(int depth) {
    std::string open = pick({"(", "(?:", "(?=", "(?!"});
    if (odd_ && oneIn(40)) open = pick({"(?<=", "(?<a>", "(?i"});
    const std::string content = choice(depth + 1);
    return open + content + (odd_ && oneIn(60) ? "" : ")");
  }

  std::string atom() {
    if (odd_ && oneIn(4)) {
      return pick({"\\1",
                   "\\2",
                   "\\cA",
                   "\\u0061",
                   "\\u00e4",
                   "\\u0161",
                   "\\xc3",
                   "\\x80",
                   "[\\x61-c]",
                   "[[:alpha:]]",
                   "[^[:space:]1]",
                   "[[:w:]-]",
                   "[[:alpha:]-z]",
                   "[[=a=]]",
                   "[[.a.]]",
                   "[[:foo:]]",
                   "[]",
                   "[^]",
                   "[\\w-a]",
                   "[a-\\d]",
                   "[c-a]",
                   "[--a]",
                   "[a-b-c]",
                   "[\\b]",
                   "[\xc3-\xc4]",
                   "[a-\xc3]",
                   "\\ ",
                   "\\-",
                   "\\_",
                   "\\q",
                   "]",
                   "}",
                   "{",
                   "()",
                   "(?:)",
                   "(a*)*",
                   "(?:(a)|b)*",
                   "(?:a|)+",
                   "(|a)+",
                   "(?:(a)|b*)*",
                   "(a?\?){2}",
                   "(?:a*){2,}",
                   "(?=\\b)",
                   "(?!^)",
                   "(?=(a))",
                   "(?=a(?!b))"});
    }
    return pick({"a",   "b",   "pid",  "1",        ".",      ".",      "\\d",     "\\w",    "\\s",     "\\S",
                 "\\D", "\\W", "[ab]", "[^a]",     "[a-c1]", "[\\w.]", "[^\\d(]", "[\\w-]", "[^a-c-]", "=",
                 "\\.", " ",   "\\(",  "\xc3\xa4", "\\x61",  "\\t",    "^",       "\\b",    "\\B",     "$"});
  }

  Draw& draw_;
  bool odd_;
  int loops_ = 0;
};

#endif  // TESTS_SUPPORT_EXPRESSION_GENERATOR_H
