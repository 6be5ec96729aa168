#ifndef CLI_SUGGEST_LINE_PARTS_H
#define CLI_SUGGEST_LINE_PARTS_H

#include <string>
#include <string_view>
#include <vector>

// What a line of a log is made of: words that stand in every such line, and values that differ from one to the next.

enum class PartKind { kTime, kAddress, kNumber, kName, kText };

// A value in the line. The words are what lies between the values.
struct LinePart {
  PartKind kind;
  size_t begin;
  size_t end;
  std::string_view taken;  // an expression for such a value
  std::string name;        // what the words in front call it
  std::string pattern;     // an expression whose first group takes it from the line; empty when there is none
};

struct LineParts {
  size_t bodyBegin = 0;         // behind time, process, level and so on that the log's writer puts in front
  bool isException = false;     // the body is the name of an exception, and perhaps its message
  std::vector<LinePart> parts;  // in order, none of them empty
};

// `line` without its line end.
LineParts PartsOf(std::string_view line);

// Which values a rule asks for by its keywords, beside the words.
enum class Strictness { kWords, kNames, kNumbers };

// Keywords that select the line; empty when nothing in it would do.
std::string KeyWordsFor(std::string_view line, const LineParts& parts, Strictness strictness);

// The longest stretch of `text` that a rule can hold: UTF-8, and no part of a mark.
std::string_view UsableIn(std::string_view text);

// `text` as an expression that takes just it.
std::string Escaped(std::string_view text);

#endif  // CLI_SUGGEST_LINE_PARTS_H
