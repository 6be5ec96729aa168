#include "cli/explain/text_story.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

#include "cli/explain/key_story.h"
#include "cli/library/no_fingerprint.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

constexpr size_t kMaxColumns = 140;  // characters that are shown of a text
constexpr size_t kFewLines = 5;      // that are shown for a rule among others...
constexpr size_t kManyLines = 100;   // ...and for the one that is asked for
constexpr char kHeading[] = "1";     // colours
constexpr char kGood[] = "32";
constexpr char kBad[] = "31";
constexpr char kFaint[] = "2";

// One line of text, cut to what can be taken in.
std::string Shown(std::string_view text) {
  std::string shown = LineForPeople(text);
  std::string_view rest = shown;
  for (size_t i = 0; i < kMaxColumns && !rest.empty(); ++i) rest.remove_prefix(CharacterLength(rest));
  if (rest.empty()) return shown;
  return shown.substr(0, shown.size() - rest.size()) + "...";
}

// A value; of several lines, how many.
std::string ShownValue(const std::string& value) {
  const auto lineEnds = std::count(value.begin(), value.end(), '\n');
  if (value.ends_with('\n') || lineEnds > 0) {
    return Counted(static_cast<size_t>(lineEnds) + (value.ends_with('\n') ? 0 : 1), "line");
  }
  return "\"" + Shown(value) + "\"";
}

class TextWriter {
 public:
  TextWriter(const Story& story, bool inColour, std::ostream& out) : story_(story), inColour_(inColour), out_(out) {}

  void printAll() {
    printResult();
    printHealth();
    printEntries();
    for (const RunStory& run : story_.runs) {
      printRunHead(run);
      for (const RuleStory& rule : run.rules) printRule(run, rule, kFewLines);
      printRecords(run);
      printTemplates(run);
    }
    printStack();
  }

  void printKey(const KeyStory& keyStory) {
    out_ << paint(kHeading, Shown(keyStory.key));
    out_ << (keyStory.value.empty() ? " is " + paint(kBad, "missing") : " = " + ShownValue(keyStory.value)) << '\n';
    for (const std::string& remark : keyStory.remarks) out_ << "  " << LineForPeople(remark) << '\n';
    for (size_t i = 0; i < keyStory.origins.size(); ++i) {
      const bool isWhole = i == 0 || (keyStory.value.empty() && keyStory.origins[i].isBegun());
      printOrigin(keyStory.origins[i], isWhole);
    }
  }

  void printAnswer() {
    for (const RunStory& run : story_.runs) {
      const bool isAsked = std::any_of(run.rules.begin(), run.rules.end(), [this](const RuleStory& rule) {
        return story_.askedRule.empty() || rule.name == story_.askedRule;
      });
      if (!isAsked) continue;
      printRunHead(run);
      if (story_.askedLine) {
        printAskedLine(run);
        continue;
      }
      for (const RuleStory& rule : run.rules) {
        if (rule.name == story_.askedRule) printRule(run, rule, kManyLines);
      }
    }
  }

 private:
  std::string paint(std::string_view colour, std::string_view text) const { return Painted(inColour_, colour, text); }

  void printHeading(const std::string& text) { out_ << '\n' << paint(kHeading, text) << '\n'; }

  void printResult() {
    out_ << paint(kHeading, Shown(story_.eventType) + " in " + Shown(story_.logName))
         << (story_.isStandIn ? ", as if at " + Shown(story_.logPath) : "") << '\n';
    PrintResult(story_.result, out_);
    if (story_.result.empty()) out_ << "nothing found\n";
  }

  void printHealth() {
    printHeading("The log");
    for (const std::string& remark : story_.health) out_ << "  " << LineForPeople(remark) << '\n';
    if (story_.health.empty()) out_ << "  in order: UTF-8, line feeds, no line too long\n";
  }

  void printEntries() {
    printHeading("Feature ids");
    for (const EntryStory& entry : story_.entries) {
      if (!entry.why.empty()) {
        out_ << "  " << paint(kBad, "refused") << " entry " << Shown(entry.key) << " ("
             << LineForPeople(TextOf(entry.place)) << "): " << LineForPeople(entry.why) << '\n';
      }
      for (const IdStory& id : entry.ids) {
        out_ << "  " << (id.isTaken ? paint(kGood, "taken  ") : paint(kBad, "refused")) << ' ' << Shown(id.id) << " ("
             << LineForPeople(TextOf(id.place)) << "): " << LineForPeople(id.why) << '\n';
      }
    }
    if (story_.runs.empty()) {
      out_ << "  no run: no id is taken, or the assemble file has no section " << Shown(story_.eventType) << '\n';
      return;
    }
    out_ << "  order:";
    for (const RunStory& run : story_.runs) out_ << ' ' << Shown(run.featureId);
    out_ << '\n';
  }

  void printRunHead(const RunStory& run) {
    printHeading("Run of " + Shown(run.featureId) + " (" + LineForPeople(TextOf(run.place)) + ")");
    if (!run.isReadable) {
      out_ << "  the library cannot read " << Shown(run.logPath) << '\n';
      return;
    }
    const auto count = [&run](LineFate fate) { return run.lines[static_cast<size_t>(fate)]; };
    out_ << "  " << Counted(count(LineFate::kExamined), "line") << " examined";
    if (count(LineFate::kSpanned) > 0) out_ << ", " << count(LineFate::kSpanned) << " taken for a \"num\"";
    if (count(LineFate::kOverlong) > 0) out_ << ", " << count(LineFate::kOverlong) << " passed over as overlong";
    if (count(LineFate::kIndented) > 0) out_ << ", " << count(LineFate::kIndented) << " passed over as indented";
    out_ << "; " << WhyScanEnded(run) << '\n';
  }

  void printLine(const RunStory& run, const char* indent, const LogLine& line) {
    out_ << indent << "line " << line.number << ", offset " << line.offset << ": " << Shown(story_.textOf(run, line))
         << '\n';
  }

  void printRule(const RunStory& run, const RuleStory& rule, size_t lines) {
    const bool fired = rule.selected.count > 0;
    out_ << "\n  " << paint(kHeading, "rule " + Shown(rule.name)) << " (" << LineForPeople(TextOf(rule.place)) << "): "
         << (fired ? paint(kGood, "selected " + Counted(rule.selected.count, "line")) : paint(kBad, "never fired"));
    if (rule.spentAt.number > 0) out_ << ", spent at line " << rule.spentAt.number;
    if (rule.failedParams > 0) out_ << ", " << Counted(rule.failedParams, "parameter") << " not found";
    out_ << '\n';
    if (!rule.filledKeyWords.empty()) {
      out_ << "    keywords " << Shown(rule.keyWords) << ", tried as " << ShownValue(rule.filledKeyWords) << '\n';
    }
    size_t left = lines;
    for (const SelectedLine& selected : rule.selected.kept) {
      if (left-- == 0) break;
      printLine(run, "    ", selected.line);
      for (const ParamStory& param : selected.params.kept) printParam(rule, selected.line, param);
      if (selected.params.count > selected.params.kept.size()) {
        out_ << "      and " << selected.params.count - selected.params.kept.size() << " more\n";
      }
    }
    if (rule.selected.count > lines) out_ << "    and " << Counted(rule.selected.count - lines, "more line") << '\n';
    if (!fired || lines > kFewLines) printNearest(run, rule, fired || lines > kFewLines ? lines : 1);
  }

  void printParam(const RuleStory& rule, const LogLine& line, const ParamStory& param) {
    out_ << "      " << Shown(param.key);
    if (param.line.number != line.number) out_ << " in line " << param.line.number;
    if (!param.value) {
      const auto pattern = rule.params.find(param.key);
      const std::string& written = pattern == rule.params.end() ? param.pattern : pattern->second;
      out_ << paint(kBad, " not found") << ": " << Shown(param.pattern.empty() ? written : param.pattern) << '\n';
      if (!param.why.empty()) out_ << "        " << LineForPeople(param.why) << '\n';
    } else if (param.isStackPattern) {
      out_ << " notes the line for a stack\n";
    } else {
      out_ << " = " << ShownValue(*param.value) << '\n';
    }
  }

  void printNearest(const RunStory& run, const RuleStory& rule, size_t lines) {
    const size_t shown = std::min(lines, rule.nearest.kept.size());
    if (rule.nearest.count + rule.selected.count == 0) out_ << "    no line was shown to it\n";
    for (size_t i = 0; i < shown; ++i) {
      const LineVerdict& judged = rule.nearest.kept[i];
      out_ << "    " << paint(kFaint, "nearest: ");
      printLine(run, "", judged.line);
      out_ << "      " << LineForPeople(judged.verdict.why) << '\n';
    }
    if (rule.nearest.count > shown) {
      out_ << "    " << Counted(rule.nearest.count - shown, "more line") << " came as near\n";
    }
  }

  void printAskedLine(const RunStory& run) {
    if (run.asked.empty()) return;
    const LineStory& asked = run.asked.front();
    if (asked.isThere) printLine(run, "  ", asked.line);
    for (size_t i = 0; i < asked.verdicts.size(); ++i) {
      const RuleStory& rule = run.rules[i];
      if (!story_.askedRule.empty() && rule.name != story_.askedRule) continue;
      const Verdict& verdict = asked.verdicts[i].verdict;
      const bool takes = verdict.kind == VerdictKind::kSelects || verdict.kind == VerdictKind::kSpans;
      out_ << "  rule " << Shown(rule.name) << " (" << LineForPeople(TextOf(rule.place))
           << "): " << paint(takes ? kGood : kBad, LineForPeople(verdict.why)) << '\n';
      if (!takes) continue;
      for (const ParamStory& param : asked.params) printParam(rule, asked.line, param);
    }
  }

  void printRecords(const RunStory& run) {
    out_ << "\n  " << paint(kHeading, "records") << (run.records.empty() ? ": none" : "") << '\n';
    for (const RecordStory& record : run.records) {
      out_ << "    " << Shown(record.name);
      if (!record.isStack) out_ << " = " << ShownValue(record.value);
      out_ << ", line " << record.line.number;
      if (record.count > 1) out_ << ", the first of " << record.count;
      if (record.isStack) printStackRecord(record);
      out_ << '\n';
    }
  }

  void printStackRecord(const RecordStory& record) {
    if (record.why.empty()) {
      out_ << ", a stack that no template asks for";
      return;
    }
    const std::vector<std::string> lines = LinesOf(record.stack);
    out_ << ", " << (lines.empty() ? paint(kBad, "an empty stack") : "a stack of " + Counted(lines.size(), "line"))
         << ": " << LineForPeople(record.why);
    for (size_t i = 0; i < std::min(lines.size(), kFewLines); ++i) out_ << "\n      " << Shown(lines[i]);
    if (lines.size() > kFewLines) out_ << "\n      and " << Counted(lines.size() - kFewLines, "more line");
  }

  void printTemplates(const RunStory& run) {
    if (run.templates.empty()) return;
    out_ << "\n  " << paint(kHeading, "templates") << '\n';
    for (const TemplateStory& templateStory : run.templates) printTemplate(templateStory);
  }

  void printTemplate(const TemplateStory& templateStory) {
    out_ << "    " << Shown(templateStory.key) << " (" << LineForPeople(TextOf(templateStory.place))
         << "): " << Shown(templateStory.text);
    if (templateStory.value.empty()) {
      out_ << ", " << paint(kBad, "empty, so there is no such key");
    } else if (!templateStory.lostTo.empty()) {
      out_ << ", " << paint(kBad, "not used: " + Shown(templateStory.lostTo) + " gave the key before");
    }
    out_ << '\n';
    for (const ContributionStory& part : templateStory.contributions) {
      out_ << "      " << Shown(part.record) << ": ";
      if (part.isThere) {
        out_ << (part.value.empty() ? paint(kBad, "empty") : ShownValue(part.value))
             << (part.why.empty() ? "" : ": " + LineForPeople(part.why)) << '\n';
      } else {
        out_ << paint(kBad, "no such record") << '\n';
      }
    }
  }

  void printOrigin(const TemplateOrigin& origin, bool isWhole) {
    const RunStory& run = story_.runs[origin.run];
    const TemplateStory& templateStory = *origin.templateStory;
    out_ << "  template of " << Shown(run.featureId) << " (" << TextOf(templateStory.place)
         << "): " << Shown(templateStory.text);
    if (!templateStory.lostTo.empty())
      out_ << ", " << paint(kBad, "not used: " + Shown(templateStory.lostTo) + " gave the key before");
    if (templateStory.value.empty() && !isWhole) out_ << ", " << paint(kBad, "none of its records is there");
    out_ << '\n';
    if (!isWhole) return;
    for (const RecordOrigin& record : origin.records) printRecordOrigin(run, record);
  }

  void printRecordOrigin(const RunStory& run, const RecordOrigin& origin) {
    const auto row = [this](const char* what, const std::string& text) {
      out_ << "      " << std::left << std::setw(11) << what << text << '\n';
    };
    out_ << "    record " << Shown(origin.name);
    out_ << (origin.isThere ? " = " + ShownValue(origin.value) : ": " + paint(kBad, "there is none")) << '\n';
    if (origin.rule) {
      const RuleStory& rule = run.rules[*origin.rule];
      const std::string fired =
          rule.selected.count > 0 ? "selected " + Counted(rule.selected.count, "line") : "never fired";
      row("rule", Shown(rule.name) + " (" + TextOf(rule.place) + "), " + fired);
      row("keywords", Shown(rule.keyWords));
      if (!origin.pattern.empty()) row("expression", Shown(origin.pattern));
    }
    for (const auto& [name, value] : origin.variables) {
      row("variable", Shown(name) + (value ? " = " + ShownValue(*value) : ": " + paint(kBad, "no such record")));
    }
    if (origin.line.number > 0) {
      row(origin.isThere ? "line" : "nearest",
          "line " + std::to_string(origin.line.number) + ": " + Shown(story_.textOf(run, origin.line)));
    }
    if (!origin.why.empty()) row("why", paint(kBad, LineForPeople(origin.why)));
    if (!origin.edit.empty()) row("edit", LineForPeople(origin.edit));
  }

  void printStack() {
    printHeading("The stack");
    if (!story_.stack) {
      out_ << "  none: no run gave \"STACK\"\n";
      return;
    }
    const StackStory& stack = *story_.stack;
    out_ << "  from " << Shown(stack.featureId) << ", " << Counted(stack.lineCount, "line") << " before filtering";
    if (stack.lineCount > stack.frames.size()) {
      out_ << ", of which " << stack.lineCount - stack.frames.size() << " are empty and left out";
    }
    out_ << '\n';
    for (const FrameStory& frame : stack.frames) printFrame(frame);
    for (size_t i = 0; i < stack.blocks.size(); ++i) {
      const BlockStory& block = stack.blocks[i];
      out_ << "  block " << i + 1 << ": " << (block.heading.empty() ? "the head of the trace" : Shown(block.heading))
           << ", " << Counted(block.frames, "name") << (block.namesTheStack ? ", names the frames" : "") << '\n';
    }
    for (const auto& [key, giver] : stack.named) out_ << "  " << key << " is set by the " << giver << '\n';
    const auto fingerprint = story_.result.find(kFingerprintKey);
    if (fingerprint == story_.result.end()) return;
    const bool isNone = fingerprint->second == kNoFingerprint;
    out_ << "  fingerprint " << Shown(fingerprint->second) << (isNone ? ": none, nothing is left of the stack" : "")
         << '\n';
  }

  void printFrame(const FrameStory& frame) {
    out_ << "  ";
    if (frame.line.number > 0) out_ << "line " << frame.line.number << ": ";
    const bool isKept = frame.isInFilteredStack();
    out_ << FormFor(frame.form) << ", " << paint(isKept ? kGood : kBad, WhyFate(frame)) << ": "
         << Shown(isKept ? frame.name : frame.text) << '\n';
  }

  static const char* FormFor(FrameForm form) {
    static constexpr const char* kForms[] = {"Java frame",  "native frame", "kernel frame",
                                             "hyphen line", "cause",        "other"};
    return kForms[static_cast<size_t>(form)];
  }

  const Story& story_;
  const bool inColour_;
  std::ostream& out_;
};

}  // namespace

void PrintStoryAsText(const Story& story, bool inColour, std::ostream& out) {
  TextWriter writer(story, inColour, out);
  if (story.askedLine || !story.askedRule.empty()) {
    writer.printAnswer();
  } else {
    writer.printAll();
  }
}

void PrintKeyAsText(const Story& story, const std::string& key, bool inColour, std::ostream& out) {
  TextWriter(story, inColour, out).printKey(MakeKeyStory(story, key));
}
