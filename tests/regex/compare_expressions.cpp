// usage: compare_expressions SEED COUNT
// Generates expressions, half of them odd, and prints for each how the library reads it and what its own search and
// this standard library's std::regex find in some subjects. scripts/compare-expressions judges the output of two
// programs, one for each standard library.

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <regex>
#include <string>

#include "regex/regex.h"
#include "regex/regex_reader.h"
#include "tests/support/expression_generator.h"

namespace {

constexpr int kSubjects = 8;

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    char code[8];
    snprintf(code, sizeof(code), c > ' ' && c < 127 && c != '%' ? "%c" : "%%%02x", static_cast<unsigned char>(c));
    escaped += code;
  }
  return escaped + ".";
}

std::string Show(size_t position, std::string_view whole, std::string_view group) {
  return std::to_string(position) + "/" + Escaped(whole) + "/" + Escaped(group);
}

std::string Ours(Regex& regex, const std::string& subject) {
  Regex::Match match;
  if (!regex.search(subject, match)) return "none";
  return Show(static_cast<size_t>(match.whole.data() - subject.data()), match.whole, match.group);
}

constexpr int kMaxSteps = 300'000;

struct TooManySteps {};

// Counts the looks at a byte, so that a search which takes for ever can be ended.
class CountingIterator {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator() = default;
  CountingIterator(const char* at, int* steps) : at_(at), steps_(steps) {}

  reference operator*() const {
    if (++*steps_ > kMaxSteps) throw TooManySteps();
    return *at_;
  }
  CountingIterator& operator++() { return ++at_, *this; }
  CountingIterator operator++(int) { return {at_++, steps_}; }
  CountingIterator& operator--() { return --at_, *this; }
  CountingIterator operator--(int) { return {at_--, steps_}; }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_ = nullptr;
  int* steps_ = nullptr;
};

std::string Standard(const std::regex& regex, const std::string& subject) try {
  int steps = 0;
  const CountingIterator begin(subject.data(), &steps);
  const CountingIterator end(subject.data() + subject.size(), &steps);
  std::match_results<CountingIterator> match;
  if (!std::regex_search(begin, end, match, regex)) return "none";
  return Show(static_cast<size_t>(match.position(0)), match.str(0), match.size() > 1 ? match.str(1) : "");
} catch (const std::regex_error&) {
  return "ends";
} catch (const TooManySteps&) {
  return "slow";
}

std::optional<std::regex> Compile(const std::string& text) try {
  return std::regex(text);
} catch (const std::regex_error&) {
  return std::nullopt;
}

const char* KindOf(const RegexReading& reading) {
  if (reading.isSearchable()) return "own";
  return IsFault(reading.issue) ? "fault" : "left";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const unsigned seed = static_cast<unsigned>(atoi(argv[1]));
  for (int i = 0; i < atoi(argv[2]); ++i) {
    SeededDraw draw(seed * 1000003U + static_cast<unsigned>(i));
    ExpressionGenerator generator(draw, i % 2 == 1);
    const std::string text = generator.expression();
    const RegexReading reading = ReadRegex(text);
    const std::optional<std::regex> standard = Compile(text);
    printf("%s %s %d %s", Escaped(text).c_str(), KindOf(reading), static_cast<int>(reading.issue),
           standard ? "takes" : "refuses");
    Regex ours(text);
    for (int k = 0; k < kSubjects; ++k) {
      const std::string subject = generator.subject();
      printf(" %s %s %s", Escaped(subject).c_str(), reading.isSearchable() ? Ours(ours, subject).c_str() : "-",
             standard ? Standard(*standard, subject).c_str() : "-");
    }
    printf("\n");
  }
}
