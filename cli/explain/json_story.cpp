#include "cli/explain/json_story.h"

#include <json/json.h>

#include "cli/explain/key_story.h"
#include "cli/output/json_text.h"
#include "cli/output/utf8.h"

namespace {

Json::Value Text(std::string_view text) { return ValidUtf8(text); }

// An array with what `convert` makes of each element.
template <typename List, typename Convert>
Json::Value ArrayOf(const List& list, Convert convert) {
  Json::Value array(Json::arrayValue);
  for (const auto& element : list) array.append(convert(element));
  return array;
}

Json::Value TextMap(const std::map<std::string, std::string>& map) {
  Json::Value object(Json::objectValue);
  for (const auto& [key, value] : map) object[ValidUtf8(key)] = Text(value);
  return object;
}

Json::Value PlaceNode(const FilePlace& place) {
  Json::Value node;
  node["file"] = Text(place.file);
  node["line"] = JsonNumber(place.line);
  return node;
}

// Turns the parts of a run into JSON.
class RunWriter {
 public:
  RunWriter(const Story& story, const RunStory& run) : story_(story), run_(run) {}

  Json::Value node() const {
    Json::Value node;
    node["featureId"] = Text(run_.featureId);
    node["place"] = PlaceNode(run_.place);
    node["log"] = Text(run_.logPath == story_.logFile ? story_.logName : run_.logPath);
    node["isReadable"] = run_.isReadable;
    node["skip"] = run_.skip;
    for (const LineFate fate : {LineFate::kExamined, LineFate::kOverlong, LineFate::kIndented, LineFate::kSpanned}) {
      node["lines"][std::string(NameOf(fate))] = JsonNumber(run_.lines[static_cast<size_t>(fate)]);
    }
    node["end"] = std::string(NameOf(run_.end));
    node["whyEnded"] = Text(WhyScanEnded(run_));
    node["lastLine"] = line(run_.lastLine);
    node["lastMatch"] = line(run_.lastMatch);
    node["rules"] = Json::Value(Json::arrayValue);
    for (size_t i = 0; i < run_.rules.size(); ++i) {
      const RuleStory& rule = run_.rules[i];
      if (story_.askedRule.empty() || rule.name == story_.askedRule) node["rules"].append(ruleNode(rule, i));
    }
    node["records"] = ArrayOf(run_.records, [this](const RecordStory& record) { return recordNode(record); });
    node["templates"] = ArrayOf(run_.templates, TemplateNode);
    if (story_.askedLine && run_.asked.size() == 1) node["asked"] = askedNode(run_.asked.front());
    return node;
  }

 private:
  Json::Value line(const LogLine& line) const {
    if (line.number == 0) return Json::Value();
    Json::Value node;
    node["number"] = JsonNumber(line.number);
    node["offset"] = JsonNumber(line.offset);
    node["text"] = Text(story_.textOf(run_, line));
    return node;
  }

  Json::Value verdictNode(const LineVerdict& judged) const {
    Json::Value node;
    node["line"] = line(judged.line);
    node["verdict"] = std::string(NameOf(judged.verdict.kind));
    node["why"] = Text(judged.verdict.why);
    return node;
  }

  Json::Value paramNode(const ParamStory& param) const {
    Json::Value node;
    node["key"] = Text(param.key);
    node["line"] = JsonNumber(param.line.number);
    node["isFound"] = param.value.has_value();
    node["isStackPattern"] = param.isStackPattern;
    if (!param.value) node["pattern"] = Text(param.pattern);
    if (!param.value) node["why"] = Text(param.why);
    if (!param.value || param.isStackPattern) return node;
    node["value"] = Text(*param.value);
    // In characters.
    const std::string_view line = story_.textOf(run_, param.line);
    node["begin"] = JsonNumber(CharacterCount(line.substr(0, param.offset)));
    node["end"] = JsonNumber(CharacterCount(line.substr(0, param.offset + param.value->size())));
    return node;
  }

  Json::Value selectedNode(const SelectedLine& selected) const {
    Json::Value node = line(selected.line);
    node["params"] = ArrayOf(selected.params.kept, [this](const ParamStory& param) { return paramNode(param); });
    node["paramCount"] = JsonNumber(selected.params.count);
    return node;
  }

  Json::Value ruleNode(const RuleStory& rule, size_t index) const {
    Json::Value node;
    node["index"] = JsonNumber(index);
    node["name"] = Text(rule.name);
    node["command"] = Text(rule.command);
    node["keyWords"] = Text(rule.keyWords);
    node["filledKeyWords"] = Text(rule.filledKeyWords);
    node["depend"] = Text(rule.depend);
    node["params"] = TextMap(rule.params);
    node["place"] = PlaceNode(rule.place);
    node["selected"] = ArrayOf(rule.selected.kept, [this](const SelectedLine& line) { return selectedNode(line); });
    node["selectedCount"] = JsonNumber(rule.selected.count);
    node["failedParams"] = JsonNumber(rule.failedParams);
    node["spentAt"] = line(rule.spentAt);
    for (size_t i = 0; i <= static_cast<size_t>(VerdictKind::kTaken); ++i) {
      node["verdicts"][std::string(NameOf(static_cast<VerdictKind>(i)))] = JsonNumber(rule.verdicts[i]);
    }
    node["nearest"] = ArrayOf(rule.nearest.kept, [this](const LineVerdict& judged) { return verdictNode(judged); });
    node["nearestCount"] = JsonNumber(rule.nearest.count);
    return node;
  }

  Json::Value recordNode(const RecordStory& record) const {
    Json::Value node;
    node["name"] = Text(record.name);
    node["rule"] = PlaceNode(run_.rules[record.rule].place);
    node["ruleIndex"] = JsonNumber(record.rule);
    node["line"] = line(record.line);
    node["value"] = Text(record.isStack ? record.stack : record.value);
    node["isStack"] = record.isStack;
    node["why"] = Text(record.why);
    node["count"] = JsonNumber(record.count);
    return node;
  }

  static Json::Value TemplateNode(const TemplateStory& story) {
    Json::Value node;
    node["key"] = Text(story.key);
    node["text"] = Text(story.text);
    node["place"] = PlaceNode(story.place);
    node["value"] = Text(story.value);
    node["lostTo"] = Text(story.lostTo);
    node["contributions"] = ArrayOf(story.contributions, [](const ContributionStory& part) {
      Json::Value contribution;
      contribution["record"] = Text(part.record);
      contribution["isThere"] = part.isThere;
      contribution["value"] = Text(part.value);
      contribution["why"] = Text(part.why);
      return contribution;
    });
    return node;
  }

  Json::Value askedNode(const LineStory& asked) const {
    Json::Value node;
    node["line"] = asked.isThere ? line(asked.line) : Json::Value();
    node["params"] = ArrayOf(asked.params, [this](const ParamStory& param) { return paramNode(param); });
    node["verdicts"] = Json::Value(Json::arrayValue);
    for (size_t i = 0; i < asked.verdicts.size(); ++i) {
      const RuleStory& rule = run_.rules[i];
      if (!story_.askedRule.empty() && rule.name != story_.askedRule) continue;
      Json::Value verdict;
      verdict["rule"] = Text(rule.name);
      verdict["place"] = PlaceNode(rule.place);
      verdict["verdict"] = std::string(NameOf(asked.verdicts[i].verdict.kind));
      verdict["why"] = Text(asked.verdicts[i].verdict.why);
      node["verdicts"].append(verdict);
    }
    return node;
  }

  const Story& story_;
  const RunStory& run_;
};

Json::Value EntryNode(const EntryStory& entry) {
  Json::Value node;
  node["key"] = Text(entry.key);
  node["place"] = PlaceNode(entry.place);
  node["why"] = Text(entry.why);
  node["featureIds"] = ArrayOf(entry.ids, [](const IdStory& id) {
    Json::Value idNode;
    idNode["id"] = Text(id.id);
    idNode["place"] = PlaceNode(id.place);
    idNode["isTaken"] = id.isTaken;
    idNode["why"] = Text(id.why);
    return idNode;
  });
  return node;
}

Json::Value FrameNode(const FrameStory& frame) {
  Json::Value node;
  node["text"] = Text(frame.text);
  node["line"] = JsonNumber(frame.line.number);
  node["form"] = std::string(NameOf(frame.form));
  node["fate"] = std::string(FateOf(frame));
  node["name"] = Text(frame.name);
  node["why"] = Text(WhyFate(frame));
  if (frame.ignoredLevel > 0) {
    node["ignoredFor"] = Text(frame.ignoredName);
    node["ignoredLevel"] = frame.ignoredLevel;
  }
  node["block"] = JsonNumber(frame.block);
  return node;
}

Json::Value StackNode(const StackStory& stack) {
  Json::Value node;
  node["featureId"] = Text(stack.featureId);
  node["lineCount"] = JsonNumber(stack.lineCount);
  node["frames"] = ArrayOf(stack.frames, FrameNode);
  node["blocks"] = ArrayOf(stack.blocks, [](const BlockStory& block) {
    Json::Value blockNode;
    blockNode["heading"] = Text(block.heading);
    blockNode["frames"] = JsonNumber(block.frames);
    blockNode["namesTheStack"] = block.namesTheStack;
    return blockNode;
  });
  node["named"] = TextMap(stack.named);
  return node;
}

Json::Value RecordOriginNode(const Story& story, const RunStory& run, const RecordOrigin& origin) {
  Json::Value node;
  node["name"] = Text(origin.name);
  node["isThere"] = origin.isThere;
  node["value"] = Text(origin.value);
  node["why"] = Text(origin.why);
  node["edit"] = Text(origin.edit);
  node["rule"] = origin.rule ? JsonNumber(*origin.rule) : Json::Value();
  node["line"] = Json::Value();
  if (origin.line.number > 0) {
    node["line"]["number"] = JsonNumber(origin.line.number);
    node["line"]["text"] = Text(story.textOf(run, origin.line));
  }
  if (!origin.rule) return node;
  const RuleStory& rule = run.rules[*origin.rule];
  node["ruleName"] = Text(rule.name);
  node["place"] = PlaceNode(rule.place);
  node["keyWords"] = Text(rule.keyWords);
  node["pattern"] = Text(origin.pattern);
  node["variables"] = ArrayOf(origin.variables, [](const auto& variable) {
    Json::Value variableNode;
    variableNode["name"] = Text(variable.first);
    variableNode["value"] = variable.second ? Text(*variable.second) : Json::Value();
    return variableNode;
  });
  return node;
}

Json::Value TemplateOriginNode(const Story& story, const TemplateOrigin& origin) {
  const RunStory& run = story.runs[origin.run];
  Json::Value node;
  node["run"] = JsonNumber(origin.run);
  node["featureId"] = Text(run.featureId);
  node["place"] = PlaceNode(origin.templateStory->place);
  node["text"] = Text(origin.templateStory->text);
  node["value"] = Text(origin.templateStory->value);
  node["state"] = origin.templateStory->value.empty()    ? "empty"
                  : origin.templateStory->lostTo.empty() ? "used"
                                                         : "lost";
  node["lostTo"] = Text(origin.templateStory->lostTo);
  node["records"] =
      ArrayOf(origin.records, [&](const RecordOrigin& record) { return RecordOriginNode(story, run, record); });
  return node;
}

}  // namespace

Json::Value KeyAsJson(const Story& story, const std::string& key) {
  const KeyStory keyStory = MakeKeyStory(story, key);
  Json::Value node;
  node["key"] = Text(keyStory.key);
  node["value"] = keyStory.value.empty() ? Json::Value() : Text(keyStory.value);
  node["madeFrom"] = Text(keyStory.source);
  node["remarks"] = ArrayOf(keyStory.remarks, Text);
  node["templates"] =
      ArrayOf(keyStory.origins, [&story](const TemplateOrigin& origin) { return TemplateOriginNode(story, origin); });
  return node;
}

Json::Value StoryAsJson(const Story& story) {
  Json::Value root;
  root["log"] = Text(story.logName);
  if (story.isStandIn) root["as"] = Text(story.logPath);
  root["config"] = Text(story.configDir);
  root["event"] = Text(story.eventType);
  root["result"] = TextMap(story.result);
  root["health"] = ArrayOf(story.health, Text);
  root["entries"] = ArrayOf(story.entries, EntryNode);
  root["runs"] = ArrayOf(story.runs, [&story](const RunStory& run) { return RunWriter(story, run).node(); });
  root["stack"] = story.stack ? StackNode(*story.stack) : Json::Value();
  root["faults"] = ArrayOf(story.faults, Text);
  return root;
}
