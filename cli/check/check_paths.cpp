// Whether the path test of an entry can let a log pass. With "subcataLog" each part of a path is an expression together
// with all in front of it, and the first part whose expression takes the whole path of the log ends the test there: the
// log passes when that is the last part, or when the path is what stands there, letter for letter.

#include <limits.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/check/checks.h"
#include "cli/check/expression_verdict.h"
#include "cli/check/text_set.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/expression_signs.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxPathSize = PATH_MAX - 1;
constexpr char kPathOfLog[] = "(?:/[^/]+)+";
constexpr char kUsualPath[] = "(?:/[\\w.,:+@~-]+)+";
constexpr char kDotStep[] = "\\./";  // the library reads no such path

// Those of `wanted` signs that stand in no group.
std::vector<Sign> OuterSigns(std::string_view text, std::string_view wanted) {
  std::vector<Sign> signs = SignsOf(text);
  std::erase_if(
      signs, [wanted](const Sign& sign) { return sign.depth > 0 || wanted.find(sign.sign) == std::string_view::npos; });
  return signs;
}

// A sign as in a pattern of a shell: "?" behind what separates words, "[!", and "*" behind a plain byte, which it
// repeats; in a path that is seldom meant.
std::optional<size_t> FindGlob(std::string_view text) {
  for (const Sign& sign : OuterSigns(text, "?[")) {
    const size_t i = sign.offset;
    if (sign.sign == '?' && i > 0 && (text[i - 1] == '_' || text[i - 1] == '-') &&
        !text.substr(i + 1).starts_with('[')) {
      return i;
    }
    if (sign.sign == '[' && text.substr(i + 1).starts_with('!')) return i;
  }
  for (const Sign& star : OuterSigns(text, "*")) {
    const size_t i = star.offset;
    if (i == 0) return i;
    const bool isEscaped = i > 1 && text[i - 2] == '\\';
    if (!isEscaped && std::string_view(".])}*+?").find(text[i - 1]) == std::string_view::npos) return i;
  }
  return std::nullopt;
}

class PathCheck {
 public:
  PathCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void check(const PlacedEntry& entry) {
    const std::string& dir = entry.dirOrFile.text();
    if (dir.empty() || !entry.dirOrFile.isKnown || !entry.subcataLog.isKnown) return;
    if (checkDirectory(entry)) return;
    const PlacedText& paths = entry.subcataLog;
    if (paths.text().empty()) return;
    const std::vector<Piece> alternatives = PiecesOf(paths.text(), std::string(kOrMark));
    if (alternatives.empty()) {
      never(paths.span, "nothing but separators: no log passes");
    }
    for (const Piece& alternative : alternatives) {
      if (!checkText(entry, alternative)) checkMeaning(entry, alternative);
    }
  }

 private:
  Finding& never(Span span, std::string message) {
    return findings_.add(Code::kPathNeverFits, model_.matchFile, span, std::move(message));
  }

  void likely(Span span, std::string message) {
    findings_.add(Code::kPathLikely, model_.matchFile, span, std::move(message));
  }

  // True when something is found.
  bool checkDirectory(const PlacedEntry& entry) {
    const PlacedText& text = entry.dirOrFile;
    const std::string& dir = text.text();
    const bool isFile = entry.subcataLog.text().empty();
    const size_t mark = dir.find(kOrMark);
    const size_t step = dir.find("./");
    const std::string_view signs = isFile ? "*?|^$" : "|^$";
    const std::vector<Sign> outer = OuterSigns(dir, signs);
    if (dir.front() == ' ' || dir.back() == ' ') {
      never(text.json.span(dir.front() == ' ' ? 0 : dir.size() - 1, 1), "this blank counts: no log passes").fix =
          Fix{text.json.span(dir.front() == ' ' ? 0 : dir.size() - 1, 1), ""};
    } else if (mark != std::string::npos) {
      never(text.json.span(mark, kOrMark.size()),
            "\"dirOrFile\" is one path: " + Quoted(kOrMark) + " separates alternatives in \"subcataLog\" only");
    } else if (isFile && HoldsExpression(dir)) {
      never(text.span,
            "without \"subcataLog\" this is the path of the log itself, and no expression: there is no such file");
    } else if (!outer.empty()) {
      never(text.json.span(outer[0].offset, 1), outer[0].sign == '|'
                                                    ? "\"|\" divides the whole path here; put it into \"(?:...)\""
                                                    : "no path holds a start or an end here: no log passes");
    } else if (dir.front() != '/' && std::string_view("(.[\\").find(dir.front()) == std::string_view::npos) {
      never(text.json.span(0, dir.size()), "the path of a log begins with \"/\", this one does not: no log passes");
    } else if (step != std::string::npos && (isFile || dir.find("/./") != std::string::npos || dir.starts_with("./") ||
                                             dir.find("../") != std::string::npos)) {
      never(text.json.span(step, 2), "the library reads no path with \"./\" in it");
    } else if (isFile && dir.ends_with('/')) {
      never(text.json.span(dir.size() - 1, 1), "this is a directory; name the log, or add \"subcataLog\"");
    } else {
      checkListOfDirectories(text);
      if (const std::optional<size_t> glob = isFile ? std::nullopt : FindGlob(dir)) addGlob(text, *glob, dir, *glob);
      return false;
    }
    return true;
  }

  // One directory is all that an entry has.
  void checkListOfDirectories(const PlacedText& text) {
    for (size_t i = 1; i + 1 < text.text().size(); ++i) {
      if (text.text()[i + 1] != '/' || std::string_view(",;: ").find(text.text()[i]) == std::string_view::npos)
        continue;
      likely(text.json.span(i, 1),
             "\"dirOrFile\" is one path: this " + Quoted(text.text().substr(i, 1)) + " is part of it");
      return;
    }
  }

  void addGlob(const PlacedText& text, size_t place, const std::string& part, size_t at) {
    const std::string before = part.substr(at > 0 ? at - 1 : 0, 1);
    std::string message =
        "this \"*\" repeats the \"" + (at == 0 ? "/" : before) + "\" in front of it; any text is \".*\"";
    if (part[at] == '?')
      message = "this \"?\" lets the \"" + before + "\" in front of it be left out; any byte is \".\"";
    if (part[at] == '[') message = "\"!\" is a byte of this class; \"any but\" is \"[^\"";
    likely(text.json.span(place, 1), message);
  }

  static bool HoldsExpression(const std::string& dir) {
    return !OuterSigns(dir, "*?|^$").empty() || dir.find('\\') != std::string::npos ||
           dir.find("[0-9") != std::string::npos || dir.find("[a-z") != std::string::npos ||
           dir.find("[^") != std::string::npos || dir.find(".+") != std::string::npos ||
           dir.find("(?:") != std::string::npos || dir.find(")?") != std::string::npos;
  }

  // What a sign of an expression at `offset` means in a path; true when no log passes by it.
  bool checkSign(const PlacedText& paths, const Piece& alternative, size_t offset, char sign) {
    const std::string& text = alternative.text;
    const auto span = [&](size_t at, size_t size) { return paths.json.span(alternative.offset + at, size); };
    const bool isAtEnd = offset + 1 == text.size();
    if (sign == '|') {
      const bool hasHalf =
          (offset > 0 && text[offset - 1] == '@') || (offset + 1 < text.size() && text[offset + 1] == '@');
      const size_t from = offset > 0 && text[offset - 1] == '@' ? offset - 1 : offset;
      const size_t to = offset + 1 < text.size() && text[offset + 1] == '@' ? offset + 2 : offset + 1;
      never(span(from, to - from),
            hasHalf
                ? "did you mean " + Quoted(kOrMark) + "? This is no separator"
                : "\"|\" divides the whole path, directory and all; alternatives are separated by " + Quoted(kOrMark))
          .fix = Fix{span(from, to - from), std::string(kOrMark)};
      return true;
    }
    if (sign == '%') {
      likely(span(offset, 1), "nothing is filled in for \"%\": it is part of a name");
    } else if (std::string_view(",; ").find(sign) != std::string_view::npos) {
      likely(span(offset, 1), "alternatives are separated by " + Quoted(kOrMark) + "; this " +
                                  Quoted(std::string(1, sign)) + " is part of a name");
    } else if (sign == '^' || !isAtEnd) {
      never(span(offset, 1),
            "the expression begins with the directory and has to take the whole path: no log passes with \"" +
                std::string(1, sign) + "\" here")
          .fix = Fix{span(offset, 1), ""};
      return true;
    }
    return false;
  }

  // True when no log passes by this segment.
  bool checkSegment(const PlacedText& paths, const Piece& alternative, const Piece& segment) {
    const auto span = [&](size_t at, size_t size) { return paths.json.span(alternative.offset + at, size); };
    if (segment.text == "." || segment.text == "..") {
      never(span(segment.offset, segment.text.size()),
            "this is an expression for " + std::string(segment.text == "." ? "one byte" : "two bytes") +
                " and no step; the path of a log is written without such steps");
      return true;
    }
    for (const Sign& sign : OuterSigns(segment.text, "|^$,; %")) {
      if (checkSign(paths, alternative, segment.offset + sign.offset, sign.sign)) return true;
    }
    if (const std::optional<size_t> glob = FindGlob(segment.text)) {
      addGlob(paths, alternative.offset + segment.offset + *glob, segment.text, *glob);
    }
    return false;
  }

  // What can be seen at the text of an alternative; true when no log passes by it, or that cannot be decided any more.
  bool checkText(const PlacedEntry& entry, const Piece& alternative) {
    const PlacedText& paths = entry.subcataLog;
    const std::string& text = alternative.text;
    const auto span = [&](size_t offset, size_t size) { return paths.json.span(alternative.offset + offset, size); };
    const bool isBlank = text.front() == ' ' || text.back() == ' ';
    if (isBlank) {
      const Span blank = span(text.front() == ' ' ? 0 : text.size() - 1, 1);
      never(blank, "this blank counts: no log passes").fix = Fix{blank, ""};
      return true;
    }
    const std::vector<Piece> segments = PiecesOf(text, std::string(kPathSeparator));
    if (const std::vector<Variable> variables = VariablesOf(text); !variables.empty()) {
      never(span(variables[0].begin, variables[0].end - variables[0].begin), "a path has no variables: no log passes");
      return true;
    }
    for (const std::string_view mark : {kRegexMark, kAndMark, kLastMark, kStackMark}) {
      const size_t at = text.find(mark);
      if (at == std::string::npos) continue;
      never(span(at, mark.size()), Quoted(mark) + " is plain text in a path; only " + Quoted(kOrMark) + " counts here");
      return true;
    }
    if (segments.empty()) {
      never(span(0, text.size()), "nothing but separators: no log passes");
      return true;
    }
    for (const Sign& sign : SignsOf(text)) {
      if (sign.depth > 0 && sign.sign == kPathSeparator[0]) return true;  // the expressions are cut by it
    }
    for (const Piece& segment : segments) {
      if (checkSegment(paths, alternative, segment)) return true;
    }
    if (text.ends_with(kPathSeparator)) {
      likely(span(text.size() - 1, 1), "this \"/\" has no effect; of the logs in a directory the name is \".*\"");
    }
    return checkRepeatedDirectory(entry, alternative);
  }

  bool checkRepeatedDirectory(const PlacedEntry& entry, const Piece& alternative) {
    const auto trimmed = [](std::string text) {
      while (text.ends_with('/')) text.pop_back();
      return text.substr(std::min(text.find_first_not_of('/'), text.size()));
    };
    const std::string dir = trimmed(entry.dirOrFile.text());
    if (dir.empty() || !trimmed(alternative.text).starts_with(dir + "/")) return false;
    likely(entry.subcataLog.json.span(alternative.offset, alternative.text.size()),
           "this begins with the directory again; it is a path below " + Quoted(entry.dirOrFile.text()));
    return true;
  }

  // Looks for a path of a log that passes by this alternative.
  void checkMeaning(const PlacedEntry& entry, const Piece& alternative) {
    std::string path = entry.dirOrFile.text();
    if (!path.ends_with('/')) path += '/';
    const std::vector<Piece> segments = PiecesOf(alternative.text, std::string(kPathSeparator));
    std::vector<std::string> expressions;
    for (const Piece& segment : segments) {
      expressions.push_back(path + segment.text);
      path = expressions.back() + "/";
    }
    if (!hasPath(kPathOfLog, expressions)) {
      addNever(entry, alternative, expressions);
    } else if (const size_t end = endOfUsualPaths(expressions); end < segments.size()) {
      likely(entry.subcataLog.json.span(alternative.offset + segments[end].offset, segments[end].text.size()),
             "this takes the rest of a usual path too, \"/\" included, so that what stands behind it is never reached; "
             "write \"[^\\\\x2f]\"");
    }
  }

  void addNever(const PlacedEntry& entry, const Piece& alternative, const std::vector<std::string>& expressions) {
    const PlacedText& paths = entry.subcataLog;
    const std::vector<Piece> segments = PiecesOf(alternative.text, std::string(kPathSeparator));
    if (const size_t end = endOfPaths(kPathOfLog, expressions); end < segments.size()) {
      never(paths.json.span(alternative.offset + segments[end].offset, segments[end].text.size()),
            "this takes the rest of the path too, \"/\" included, so that what stands behind it is never reached; "
            "write \"[^\\\\x2f]*\" for \".*\"");
      return;
    }
    const bool isWhole = entry.dirOrFile.text().find("//") != std::string::npos;
    never(paths.json.span(alternative.offset, alternative.text.size()),
          isWhole ? "no path of a log has \"//\" in it: no log passes" : "there is no path that passes this test");
  }

  // The part that takes all usual paths which the last one takes; behind the last when they pass.
  static size_t endOfUsualPaths(const std::vector<std::string>& expressions) {
    return hasPath(kUsualPath, expressions) ? expressions.size() : endOfPaths(kUsualPath, expressions);
  }

  // The part that takes all such paths which the last one takes; behind the last when there is none.
  static size_t endOfPaths(const char* form, const std::vector<std::string>& expressions) {
    const std::vector<std::string> last{expressions.back()};
    if (!hasPath(form, last)) return expressions.size();
    for (size_t i = 0; i + 1 < expressions.size(); ++i) {
      if (!hasPath(form, {expressions[i], expressions.back()})) return i;
    }
    return expressions.size();
  }

  // Whether a path of that form passes: one that the last expression takes and none of those in front of it, or one
  // that is written in the rule letter for letter. True also where that cannot be decided.
  static bool hasPath(const char* form, const std::vector<std::string>& expressions) {
    std::vector<std::optional<TextSet>> sets{TextSet::matchedBy(form), TextSet::foundBy(kDotStep)};
    for (const std::string& expression : expressions) {
      sets.push_back(TextSet::matchedBy(expression));
      const bool isInFront = &expression != &expressions.back();
      if (sets.back() && isInFront && !sets.back()->isExact()) return true;
    }
    std::vector<TextSet*> all;
    for (std::optional<TextSet>& set : sets) {
      if (!set) return true;
      all.push_back(&*set);
    }
    const TextFound found = FindText(
        all,
        [](const std::vector<bool>& in) {
          return in[0] && !in[1] && in.back() &&
                 std::none_of(in.begin() + 2, in.end() - 1, [](bool isIn) { return isIn; });
        },
        kMaxPathSize);
    return found.text || !found.isCertain || isTakenAsText(expressions);
  }

  // Whether the path passes that is written in the rule, since no expression takes it. No file has signs of others in
  // its name than brackets and the like.
  static bool isTakenAsText(const std::vector<std::string>& expressions) {
    const std::string& path = expressions.back();
    if (!path.starts_with('/') || path.find("./") != std::string::npos || path.find("//") != std::string::npos ||
        path.ends_with('/') || path.find_first_of("\\^*?|") != std::string::npos) {
      return false;
    }
    return std::none_of(expressions.begin(), expressions.end(), [&path](const std::string& expression) {
      return !JudgeExpression(expression).compiles || Regex(expression).matchesWhole(path);
    });
  }

  const RuleModel& model_;
  Findings& findings_;
};

}  // namespace

void CheckPaths(const RuleModel& model, Findings& findings) {
  PathCheck check(model, findings);
  for (const PlacedEntry& entry : model.entries) check.check(entry);
}
