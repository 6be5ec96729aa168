#include "cli/suggest/selection.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "cli/log_lines/line_look.h"
#include "cli/suggest/line_parts.h"
#include "rules/rule_syntax.h"
#include "stack/stack_util.h"
#include "util/limits.h"

namespace {

constexpr size_t kMaxHeads = 12;      // lines of one selection that get a rule of their own
constexpr size_t kMaxParams = 6;      // taken from one line
constexpr size_t kMaxHeadLines = 60;  // from the head of a crash to its first frame

constexpr char kStackParam[] = "v_stack";

// How a stack of such frames is cut out of the log; see docs/rules.md.
constexpr char kJavaFrames[] = R"(\bat [^ ()]+\([^()]*\))";
constexpr char kCauses[] = "Caused by: .*|Suppressed: .*";
constexpr char kNativeFrames[] =
    R"(#\d+ +pc [0-9a-f]+ .*\+\d+\)|#\d+ +pc [0-9a-f]+ +[^ ]+(?: \(offset 0x[0-9a-f]+\))?)";
constexpr char kKernelFrames[] = R"((?:\]|:|^) *[\w.]+\+0x[0-9a-f]+/0x[0-9a-f]+|(?=\? |RSP: 001|RBP: ))";

// Walks over the lines of a range; numbers are from 1.
class SelectionReader {
 public:
  SelectionReader(const std::vector<std::string_view>& lines, LineRange range) : lines_(lines), range_(range) {}

  Selection read() {
    const size_t first = firstFrame();
    if (first != 0) note(first);
    for (size_t number = range_.first; number <= range_.last; ++number) place(number, first);
    chooseHead();
    limitHeads();
    return selection_;
  }

 private:
  std::string_view line(size_t number) const { return lines_[number - 1]; }
  LineLook look(size_t number) const { return LookOf(line(number)); }

  // Behind the last line that announces a stack, if there is such a line.
  size_t firstFrame() const {
    size_t begin = range_.first;
    for (size_t number = range_.first; number < range_.last; ++number) {
      if (IsOpener(line(number)) && IsFrame(look(number + 1))) begin = number + 1;
    }
    for (size_t number = begin; number <= range_.last; ++number) {
      if (IsFrame(look(number))) return number;
    }
    return 0;
  }

  // An empty line ends the search for the first frame, so the line right in front of it is the best place.
  void note(size_t first) {
    const bool hasLineBefore =
        first > range_.first && !line(first - 1).empty() && line(first - 1).size() <= kMaxLineLen;
    selection_.noted = hasLineBefore ? first - 1 : first;
  }

  void place(size_t number, size_t first) {
    if (line(number).empty()) return;
    const bool isInStack = first != 0 && number >= first;
    if (number == selection_.noted || !isInStack) selection_.heads.push_back(number);
    if (!isInStack) return;
    const bool isTaken = IsFrame(look(number)) || StackUtil::HasCausedBy(std::string(line(number)));
    (isTaken ? selection_.frames : selection_.others).push_back(number);
  }

  void chooseHead() {
    const auto head = std::find_if(selection_.heads.begin(), selection_.heads.end(),
                                   [this](size_t number) { return IsHead(look(number)); });
    if (head != selection_.heads.end()) {
      selection_.head = *head;
    } else if (!selection_.heads.empty()) {
      selection_.head = selection_.heads.front();
    }
  }

  void limitHeads() {
    std::vector<size_t>& heads = selection_.heads;
    for (size_t i = heads.size(); i-- > 0 && heads.size() > kMaxHeads;) {
      if (heads[i] == selection_.head || heads[i] == selection_.noted) continue;
      selection_.others.push_back(heads[i]);
      heads.erase(heads.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }

  const std::vector<std::string_view>& lines_;
  LineRange range_;
  Selection selection_;
};

// The expression for the frames of the selection.
std::string FramePattern(const std::vector<std::string_view>& lines, const Selection& selection) {
  std::set<LineLook> looks;
  for (const size_t number : selection.frames) looks.insert(LookOf(lines[number - 1]));
  std::vector<std::string> patterns;
  if (looks.count(LineLook::kNativeFrame) > 0) patterns.emplace_back(kNativeFrames);
  if (looks.count(LineLook::kJavaFrame) > 0) patterns.emplace_back(kJavaFrames);
  if (looks.count(LineLook::kKernelFrame) > 0) patterns.emplace_back(kKernelFrames);
  if (looks.count(LineLook::kJavaFrame) > 0) patterns.emplace_back(kCauses);
  std::string joined;
  for (const std::string& pattern : patterns) joined += (joined.empty() ? "" : "|") + pattern;
  return joined;
}

// The first word of the line in lower case.
std::string WordOf(std::string_view body) {
  std::string word;
  for (const char c : body) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalpha(byte) != 0 || (!word.empty() && std::isdigit(byte) != 0)) {
      word += static_cast<char>(std::tolower(byte));
    } else if (word.size() >= 3) {
      return word;
    } else {
      word.clear();
    }
  }
  return word.size() >= 3 ? word : "line";
}

// Makes one draft.
class DraftMaker {
 public:
  DraftMaker(const std::vector<std::string_view>& lines, const Selection& selection, Strictness strictness)
      : lines_(lines), selection_(selection), strictness_(strictness) {}

  std::vector<DraftRule> rules(bool isShort) {
    for (const size_t number : selection_.heads) {
      const bool isEssential = number == selection_.head || number == selection_.noted;
      if (isEssential || !isShort) add(number, isEssential);
    }
    setDependencies();
    return std::move(rules_);
  }

 private:
  void add(size_t number, bool isEssential) {
    const std::string_view line = lines_[number - 1];
    if (line.size() > kMaxLineLen) return;
    const LineParts parts = PartsOf(line);
    const bool isFrame = number == selection_.noted && IsFrame(LookOf(line));
    DraftRule rule{.name = unique(parts.isException ? "exception"
                                  : isFrame         ? "frame"
                                                    : WordOf(line.substr(parts.bodyBegin))),
                   .depend = "",
                   .keyWords = isFrame && strictness_ == Strictness::kWords
                                   ? std::string(kRegexMark) + FramePattern(lines_, selection_)
                                   : KeyWordsFor(line, parts, strictness_),
                   .params = {},
                   .line = number,
                   .isEssential = isEssential};
    if (rule.keyWords.empty() || isKnown(rule.keyWords)) return;
    if (!isFrame) addParams(parts, rule);
    if (number == selection_.noted) {
      rule.params.emplace_back(kStackParam, std::string(kStackMark) + FramePattern(lines_, selection_));
    } else if (rule.params.empty()) {
      addWords(line, parts, rule);
    }
    if (!rule.params.empty()) rules_.push_back(std::move(rule));
  }

  bool isKnown(const std::string& keyWords) const {
    return std::any_of(rules_.begin(), rules_.end(), [&](const DraftRule& rule) { return rule.keyWords == keyWords; });
  }

  std::string unique(const std::string& name) const {
    std::string candidate = name;
    const auto isUsed = [&] {
      return std::any_of(rules_.begin(), rules_.end(), [&](const DraftRule& rule) { return rule.name == candidate; });
    };
    for (int i = 2; isUsed(); ++i) candidate = name + "_" + std::to_string(i);
    return candidate;
  }

  static void addParams(const LineParts& parts, DraftRule& rule) {
    for (const LinePart& part : parts.parts) {
      if (!part.pattern.empty() && rule.params.size() < kMaxParams) {
        rule.params.emplace_back(kParamPrefix + (part.name == "stack" ? "stack_text" : part.name), part.pattern);
      }
    }
  }

  // A record for a line without values: without one, no rule can wait for it.
  static void addWords(std::string_view line, const LineParts& parts, DraftRule& rule) {
    std::string_view words = line.substr(parts.bodyBegin);
    if (!parts.parts.empty()) words = words.substr(0, parts.parts.front().begin - parts.bodyBegin);
    words = UsableIn(words);
    if (!words.empty()) rule.params.emplace_back("v_text", "(" + Escaped(words) + ")");
  }

  void setDependencies() {
    const auto head = std::find_if(rules_.begin(), rules_.end(),
                                   [this](const DraftRule& rule) { return rule.line == selection_.head; });
    if (head == rules_.end()) return;
    const std::string record = RecordName(head->name, head->params.front().first);
    for (auto rule = head + 1; rule != rules_.end(); ++rule) rule->depend = record;
  }

  const std::vector<std::string_view>& lines_;
  const Selection& selection_;
  Strictness strictness_;
  std::vector<DraftRule> rules_;
};

}  // namespace

std::vector<std::string_view> LogLines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    if (lines.back().ends_with('\r')) lines.back().remove_suffix(1);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

Selection SelectionOf(const std::vector<std::string_view>& lines, LineRange range) {
  return SelectionReader(lines, range).read();
}

std::vector<LineRange> TroublesIn(const std::vector<std::string_view>& lines) {
  std::vector<LineRange> troubles;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (!IsHead(LookOf(lines[i])) || StackUtil::HasCausedBy(std::string(lines[i]))) continue;
    LineRange range{i + 1, i + 1};
    size_t gap = 0;  // lines since the last one of the stack
    for (size_t k = i + 1; k < lines.size() && k < i + kMaxHeadLines + kMaxTraceLines; ++k) {
      const bool hasStack = range.last > range.first;
      if (IsFrame(LookOf(lines[k])) || (hasStack && StackUtil::HasCausedBy(std::string(lines[k])))) {
        range.last = k + 1;
        gap = 0;
        continue;
      }
      ++gap;
      if (hasStack ? lines[k].empty() || gap > static_cast<size_t>(kMaxTraceMisses) : gap > kMaxHeadLines) break;
    }
    troubles.push_back(range);
    i = range.last - 1;
  }
  return troubles;
}

std::vector<Draft> DraftsFor(const std::vector<std::string_view>& lines, const Selection& selection,
                             const std::string& eventType) {
  std::vector<Draft> drafts;
  for (const Strictness strictness : {Strictness::kWords, Strictness::kNames, Strictness::kNumbers}) {
    for (const bool isShort : {false, true}) {
      Draft draft{"", "", eventType, DraftMaker(lines, selection, strictness).rules(isShort)};
      if (!draft.rules.empty()) drafts.push_back(std::move(draft));
    }
  }
  return drafts;
}
