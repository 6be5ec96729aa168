#ifndef ENTRY_SHARED_LOG_H
#define ENTRY_SHARED_LOG_H

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/feature_lines.h"
#include "rules/piled_frame.h"
#include "util/byte_source.h"

// The log of a call, opened once for all its features. Many of them read a large one together, as many at a time as one
// automaton takes.
class SharedLog {
 public:
  // `entries`: the runs that will be made, in their order.
  SharedLog(const std::map<std::string, PiledFrame>& frames, const std::list<AssembleEntry>& entries);

  // Makes `run`, the next one for the feature, read the log here unless it has another one.
  void join(const std::string& featureId, Analysis& run);

 private:
  void search(size_t first);

  const std::map<std::string, PiledFrame>& piled_;
  std::map<const FeatureFrame*, size_t> numbers_;  // of the frames that may share, in the order of their first runs
  std::vector<const FeatureFrame*> frames_;
  std::unique_ptr<ByteSource> log_;
  bool searchesForAll_ = false;
  std::unique_ptr<FeatureLines> lines_;  // of the frames from `first_` on
  size_t first_ = 0;
  size_t end_ = 0;
};

#endif  // ENTRY_SHARED_LOG_H
