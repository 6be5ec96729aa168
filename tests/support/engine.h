#ifndef TESTS_SUPPORT_ENGINE_H
#define TESTS_SUPPORT_ENGINE_H

#include "analysis/analysis.h"
#include "tests/support/rule_text.h"

// An engine that no run has touched, with the frame that it works on.
struct Engine : Analysis {
  explicit Engine(const TextMap& templates = {}) : Analysis(7, "anr", &frame, templates) {}

  FeatureFrame frame;

  // " <name>@<position>=<value>" for each record.
  std::string records() const {
    std::string text;
    for (const auto& [name, info] : getRecords()) {
      text += " " + name + "@" + std::to_string(info.position) + "=" + info.line;
    }
    return text;
  }
};

#endif  // TESTS_SUPPORT_ENGINE_H
