#ifndef CLI_SUGGEST_RULE_DRAFT_H
#define CLI_SUGGEST_RULE_DRAFT_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// Rules that are being made.

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

struct DraftRule {
  std::string name;
  std::string depend;
  std::string keyWords;
  NamedTexts params;         // "v_..." -> pattern
  size_t line = 0;           // of the log, from 1, that it is made for
  bool isEssential = false;  // without it the draft is not worth having
};

// One frame entry with one feature id, and its templates.
struct Draft {
  std::string entryKey;
  std::string featureId;
  std::string eventType;
  std::vector<DraftRule> rules;

  // Result key -> template, one for each record.
  NamedTexts templates() const;
};

// The files, or additions to files, that hold the drafts. Drafts of one event type stand together.
std::string MatchText(const std::vector<Draft>& drafts);
std::string AssembleText(const std::vector<Draft>& drafts);

// Takes out of the draft what `check` warns of, as far as it is not essential. False when something remains.
bool MakeClean(Draft& draft);

#endif  // CLI_SUGGEST_RULE_DRAFT_H
