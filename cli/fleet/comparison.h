#ifndef CLI_FLEET_COMPARISON_H
#define CLI_FLEET_COMPARISON_H

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cli/fleet/alike_groups.h"
#include "cli/fleet/group_table.h"
#include "cli/fleet/grouping.h"
#include "cli/fleet/log_run.h"

struct FaultyLog {
  std::string path;
  std::string fault;
};

// What became of a key in the logs that have results under both rules.
struct KeyChange {
  size_t added = 0;  // logs
  size_t removed = 0;
  size_t changed = 0;
  std::string example;  // path of the first of them
  std::string before;   // its values there
  std::string after;
};

// What became of a key in one log; null where it is absent.
struct KeyStep {
  const std::string* key;
  const std::string* before;
  const std::string* after;
};

// A log whose results differ, with the keys that do.
struct ChangedLog {
  std::string path;
  std::vector<KeyStep> keys;
  bool isMoved = false;  // from one group to another
};

// Logs that went from one group to another, each named by what its logs have in common: mostly the fingerprint.
struct GroupStep {
  std::string before;
  std::string after;
  size_t count = 0;
  std::string example;      // path of the first of them
  std::string stackBefore;  // its stacks
  std::string stackAfter;
  std::string reasonBefore;
  std::string reasonAfter;
};

enum class GroupMoveKind {
  kMerged,  // several groups, or parts of them, are one: all steps end in it
  kSplit,   // one group is several: all steps begin in it
  kMoved,   // one group has another name: one step
};

struct GroupMove {
  GroupMoveKind kind;
  std::vector<GroupStep> steps;  // the largest first
};

// Groups that look alike under old and new rules.
struct AlikePair {
  AlikeGroups before;
  AlikeGroups after;
};

// The same logs under old and new rules.
class Comparison {
 public:
  // Groups are those of `grouping`.
  explicit Comparison(Grouping grouping = Grouping()) : grouping_(std::move(grouping)) {}
  Comparison(const Comparison&) = delete;
  Comparison& operator=(const Comparison&) = delete;

  void add(const std::string& path, const LogResult& before, const LogResult& after);

  // After all are added: which groups look alike under either rules.
  void findAlike();

  // True when anything is not as it was.
  bool isMoved() const;

  // Those of most logs first. A group of which one part stays and another joins other logs is both split and merged.
  std::vector<GroupMove> groupMoves() const;

  size_t logs() const { return logs_; }
  const std::vector<std::string>& gained() const { return gained_; }  // a result
  const std::vector<std::string>& lost() const { return lost_; }
  const std::vector<FaultyLog>& failing() const { return failing_; }  // under the new rules only
  const std::vector<FaultyLog>& mended() const { return mended_; }
  const std::vector<FaultyLog>& faulty() const { return faulty_; }  // under both: nothing was compared
  const std::map<std::string, KeyChange>& keys() const { return keys_; }
  const std::vector<ChangedLog>& changed() const { return changed_; }  // gained and lost ones included
  const Grouping& grouping() const { return grouping_; }
  const std::optional<AlikePair>& alike() const { return alike_; }  // none before they were looked for

 private:
  using GroupNames = std::pair<std::string, std::string>;  // before and after; empty for none
  using GroupMap = std::map<std::string, Group>;

  void addKeys(const std::string& path, const TextMap& before, const TextMap& after);
  void addChanged(const std::string& path, const TextMap& before, const TextMap& after, bool isMoved);
  void addStep(const std::string& path, const TextMap& before, const TextMap& after, const GroupNames& names);
  std::string groupOf(const TextMap& results);

  Grouping grouping_;
  size_t logs_ = 0;
  std::string lastPath_;
  std::vector<std::string> gained_;
  std::vector<std::string> lost_;
  std::vector<FaultyLog> failing_;
  std::vector<FaultyLog> mended_;
  std::vector<FaultyLog> faulty_;
  std::map<std::string, KeyChange> keys_;
  std::set<std::string> texts_;  // of changed_: many logs have them in common
  std::vector<ChangedLog> changed_;
  std::map<std::pair<std::string, std::string>, GroupStep> steps_;
  GroupMap groupsBefore_;
  GroupMap groupsAfter_;
  std::optional<AlikePair> alike_;
};

#endif  // CLI_FLEET_COMPARISON_H
