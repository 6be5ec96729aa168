#ifndef ANALYSIS_FEATURE_LINES_H
#define ANALYSIS_FEATURE_LINES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "analysis/pattern_search.h"
#include "rules/rule_records.h"
#include "util/byte_source.h"
#include "util/line_reader.h"

// The lines of one log that the rules of each of many features may match, found for all of them in one pass. The pass
// gets on as far as a run asks for. Not for several threads at once.
class FeatureLines {
 public:
  // A place in the log: the next line that a feature's rules may match, or as far as there is none.
  struct Place {
    enum class Kind { kMayMatch, kNothing, kTooMany };  // of kTooMany on, the feature's lines are not looked for
    size_t begin;
    size_t number;  // of lines before it, overlong ones aside
    Kind kind;
  };

  // `frames`: rules of the features. REQUIRES: `log` outlives the object.
  FeatureLines(ByteSource& log, size_t window, const std::vector<const FeatureFrame*>& frames);

  ByteSource& log() const { return log_; }

  // False for a feature of which any line may matter.
  bool canFind(size_t feature) const { return features_[feature].canBeFound; }

  // The first place for the feature at or behind `pos`, which is the beginning of a line. `cursor` is 0 at the
  // beginning of a run.
  Place next(size_t feature, size_t pos, size_t& cursor);

  // False when bytes of the log could not be read.
  bool isWhole() const { return isWhole_; }

 private:
  struct Line {
    uint32_t begin;
    uint32_t number;
  };
  struct Feature {
    size_t firstRule;
    size_t ruleCount;
    bool canBeFound = true;
    bool isCut = false;  // the last of the lines stands for all from there on
    std::vector<Line> lines = {};
  };

  void setInPlay();
  void searchWindow();
  void noteLine(std::string_view line, size_t begin);
  bool mayMatch(const Feature& feature) const;

  ByteSource& log_;
  LineReader reader_;
  const size_t most_;  // lines of a feature
  std::unique_ptr<PatternSearch> search_;
  VainWork vain_;
  std::vector<Feature> features_;
  std::vector<size_t> starts_;  // of the lines found in a window
  size_t end_ = 0;              // the log is searched up to here...
  size_t number_ = 0;           // ...where so many lines are passed, overlong ones aside
  bool isWhole_ = true;
};

#endif  // ANALYSIS_FEATURE_LINES_H
