#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/cli/transcript.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr char kCases[] = KESTRIX_SOURCE_DIR "/tests/data-fleet";

// Two bugs with three logs each, a log without one, and an edit of the rules that makes one group of both.
TEST(Replay, PrintsWhatTheTranscriptHolds) { EXPECT_GT(ExpectTranscript(kCases), 5); }

TEST(Batch, PrintsTheSameWithAnyNumberOfWorkers) {
  const TempDir dir;
  std::string list;
  for (int i = 0; i < 3000; ++i)
    list += i % 7 == 0 ? "logs/none\n" : i % 97 == 0 ? "logs/map2.txt\n" : "logs/quiet.txt\n";
  const std::string batch = "kestrix batch - --config broken --event crash <" + dir.write("list", list) + " -j ";
  const std::string output = OutputOf(kCases, batch + "1");
  EXPECT_NE(std::string::npos,
            output.find("kestrix: 2997 logs came up again and were analysed again: logs/quiet.txt, ..."));
  EXPECT_EQ(3002, std::count(output.begin(), output.end(), '\n'));
  for (const char* jobs : {"2", "8"}) EXPECT_TRUE(output == OutputOf(kCases, batch + jobs)) << jobs;
}

TEST(Batch, GoesOnWhereAnOutputEnds) {
  const TempDir dir;
  for (const std::string event : {"", " --event crash"}) {
    const std::string batch = "kestrix batch --config broken logs none -j 1" + event;
    const std::string whole = OutputOf(kCases, batch + " | tee " + dir.path("whole"));
    const std::string out = dir.path("out");
    const size_t size = whole.size() - std::string("-> 0\n").size();
    for (const size_t kept : {size_t{0}, size_t{1}, whole.find('\n'), whole.find('\n') + 1, size / 2, size - 1, size}) {
      const std::string part = "head -c " + std::to_string(kept) + " " + dir.path("whole") + " >" + out + "; ";
      EXPECT_EQ("-> 1\n", OutputOf(kCases, part + batch + " --resume " + out)) << kept << event;
      EXPECT_EQ("-> 0\n", OutputOf(kCases, "cmp " + out + " " + dir.path("whole"))) << kept << event;
    }
  }
  const std::string out = dir.write("out", R"({"path":"logs/map1.txt","event":"crash","error":"x"})"
                                           "\n");
  EXPECT_EQ("-> 0\n", OutputOf(kCases, "kestrix batch --config old logs/map1.txt --resume " + out)) << "analysed anew";
}

TEST(Batch, GoesOnWithTheSameLogsOnly) {
  const TempDir dir;
  const std::string out = dir.path("out");
  const std::string batch = "kestrix batch --config broken --event crash logs none";
  EXPECT_EQ("-> 1\n", OutputOf(kCases, batch + " >" + out));
  const struct {
    const char* what;
    std::string commands;
    const char* says;
  } kOthers[] = {
      {"another list", batch + " logs/map1.txt --resume " + out + "; cat " + out + " | wc -l", "9\n-> 0\n"},
      {"fewer logs", "kestrix batch --config broken --event crash logs --resume " + out,
       "out:8: there are more results than logs\n-> 2\n"},
      {"other logs", "kestrix batch --config broken --event crash logs/map1.txt --resume " + out,
       "out:1: not the result of the log that comes here, {\"path\":\"logs/map1.txt\",\"event\":\"crash\",...\n-> 2\n"},
      {"no file", "kestrix batch --config broken --event crash logs --resume logs", "logs: Is a directory\n-> 2\n"},
      {"a cut line with an end", "sed -i '3s/...$//' " + out + "; " + batch + " --resume " + out,
       "out:3: not the result of the log that comes here, {\"path\":\"logs/chart3.txt\",\"event\":\"crash\",...\n-> "
       "2\n"},
      {"in use", "flock " + out + " " KESTRIX_PROGRAM " batch --config broken --event crash logs --resume " + out,
       "out: another run is writing it\n-> 2\n"},
  };
  for (const auto& c : kOthers) {
    const std::string output = OutputOf(kCases, c.commands);
    EXPECT_TRUE(output.ends_with(c.says)) << c.what << '\n' << output;
  }
}

TEST(Batch, EndsWhenNobodyReadsAndOnAnInterrupt) {
  const std::string endless = "yes logs/quiet.txt | kestrix batch - --config old --event crash | ";
  EXPECT_EQ(R"({"path":"logs/quiet.txt","event":"crash","results":{}})"
            "\n-> 0\n",
            OutputOf(kCases, endless + "head -n 1"));
  const TempDir dir;  // of a fifo that more could always come from
  const std::string fifo = dir.path("fifo");
  EXPECT_EQ(
      R"({"path":"logs/quiet.txt","event":"crash","results":{}})"
      "\n-> 124\n",
      OutputOf(kCases, "mkfifo " + fifo + " && exec 3<>" + fifo + " && echo logs/quiet.txt >&3 && timeout -s INT 1 " +
                           KESTRIX_PROGRAM " batch - --config old --event crash <&3"));
}

// What the last program of `command` shows on a terminal of that width, as standard error.
std::string ShownOnTerminal(const std::string& command, unsigned short width) {
  int ends[2];
  char name[64];
  const winsize size = {24, width, 0, 0};
  if (openpty(&ends[0], &ends[1], name, nullptr, &size) != 0) return "";
  OutputOf(kCases, "{ " + command + "; } 2>" + name);
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  std::string shown;
  char buffer[4096];
  for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) shown.append(buffer, static_cast<size_t>(got));
  close(ends[0]);
  close(ends[1]);
  return shown.substr(0, shown.find("kestrix:"));  // that logs came up again
}

TEST(Progress, StaysOnATerminalAndNeverWraps) {
  const TempDir dir;
  std::string logs;
  for (int i = 0; i < 2000; ++i) logs += " logs/quiet.txt";
  const std::string list =
      dir.write("list", OutputOf(kCases, "yes logs/quiet.txt | head -n 2000").substr(0, 2000 * 15));
  const std::string batch = KESTRIX_PROGRAM " batch --config old --event crash";
  const std::string done = dir.path("done");
  OutputOf(kCases, batch + " - <" + list + " >" + done);
  const struct {
    const char* what;
    std::string command;
    unsigned short width;
    std::regex last;
  } kRuns[] = {
      {"length known", batch + logs, 80,
       std::regex(R"(\[#+\.*\] \d+/2000 logs, \d+/s, \d+:\d\d left|\[\.+\] 0/2000 logs)")},
      {"no room for a bar", batch + logs, 40, std::regex(R"(\d+/2000 logs, \d+/s, \d+:\d\d left|\[\.+\] 0/2000 logs)")},
      {"narrow", batch + logs, 12, std::regex(R"(\d+/2000 l\S*|\d+/2000 lo\S*)")},
      {"gone on with", "(cat " + list + "; sleep 0.3; head -n 9 " + list + ") | " + batch + " - --resume " + done, 80,
       std::regex(R"(200\d logs, \d+/s)")},
      {"a list that waits for more", "(cat " + list + "; sleep 0.3; cat " + list + ") | " + batch + " -", 80,
       std::regex(R"(\d+ logs, \d+/s)")},
  };
  for (const auto& run : kRuns) {
    const std::string shown = ShownOnTerminal(run.command + " >/dev/null", run.width);
    std::vector<std::string> lines;  // each from a carriage return to the erasure of the rest
    for (size_t at = shown.find('\r'); at != std::string::npos; at = shown.find('\r', at + 1)) {
      lines.push_back(shown.substr(at + 1, shown.find("\033[K", at) - at - 1));
    }
    ASSERT_GE(lines.size(), 2U) << run.what;  // all of it may be over before the second drawing
    EXPECT_EQ("", lines.back()) << run.what;  // erased at the end
    for (size_t i = 0; i + 1 < lines.size(); ++i) {
      EXPECT_TRUE(!lines[i].empty() && lines[i].size() < run.width) << run.what << ": " << lines[i];
    }
    EXPECT_TRUE(std::regex_match(lines[lines.size() - 2], run.last)) << run.what << ": " << lines[lines.size() - 2];
  }
  EXPECT_EQ("-> 0\n", OutputOf(kCases, "kestrix batch --config old --event crash logs >/dev/null")) << "on a pipe";
}

TEST(Progress, MakesRoomForResultsOnTheSameTerminal) {
  const std::string shown = ShownOnTerminal(
      KESTRIX_PROGRAM " batch --config old --event crash logs/quiet.txt logs/none.txt logs/quiet.txt >&2", 80);
  int lines = 0;
  for (size_t at = shown.find("{\"path\""); at != std::string::npos; at = shown.find("{\"path\"", at + 1), ++lines) {
    const std::string_view before = std::string_view(shown).substr(0, at);
    EXPECT_TRUE(before.ends_with('\n') || before.ends_with("\r\033[K")) << before;
  }
  EXPECT_EQ(3, lines) << shown;
}

TEST(Batch, EndsInALoopOfSymbolicLinks) {
  const TempDir dir;
  EXPECT_EQ("-> 0\n", OutputOf(kCases, "mkdir " + dir.path("a") + " && cp logs/quiet.txt " + dir.path("a") +
                                           " && ln -s ../a " + dir.path("a/self") + " && ln -s .. " + dir.path("a/up") +
                                           " && ln -s nowhere " + dir.path("a/lost")));
  const std::string output = OutputOf(
      kCases, std::string("timeout 20 ") + KESTRIX_PROGRAM + " batch --config old --event crash " + dir.path());
  EXPECT_NE(std::string::npos, output.find("/a/quiet.txt\"")) << output;
  EXPECT_EQ(output.find("quiet.txt"), output.rfind("quiet.txt")) << output;
}

// However it ends: the process that removes the folder may take a moment.
TEST(LogFile, LeavesNothingBehind) {
  const TempDir dir;
  const std::string program = "TMPDIR=" + dir.path() + " timeout -s KILL 1 " KESTRIX_PROGRAM " analyze - --config ";
  const std::string wait = "; for i in $(seq 50); do [ -z \"$(ls " + dir.path() +
                           ")\" ] && break; sleep 0.1; done; ls " + dir.path() + "; true";
  const std::string log = "gzip -c logs/map2.txt; ";
  for (const char* how : {"old >/dev/null", "broken --event crash >/dev/null 2>&1"}) {
    EXPECT_EQ("-> 0\n", OutputOf(kCases, "(" + log + ") | " + program + how + wait)) << how;
  }
  EXPECT_EQ("-> 0\n", OutputOf(kCases, "(" + log + "sleep 2) | (" + program + "old; true) 2>/dev/null" + wait));
}

// The pattern passes over a frame inside the stack, and ends before the last one.
TEST(Coverage, CountsNoLineThatAPatternPassesOver) {
  const TempDir dir;
  const std::string rules = dir.path("rules");
  EXPECT_EQ("\"shape\":\"at android.os.Looper.loop(Looper.java:*)\"\n-> 0\n",
            OutputOf(kCases, "cp -r old " + rules +
                                 " && sed -i 's/@T@.*at /&(?!android.os|android.app.Activity\\\\\\\\.)/' " + rules +
                                 "/match_rule.json && kestrix coverage --config " + rules +
                                 " --event crash logs/map1.txt --format json | grep -o '\"shape\":[^,}]*'"));
}

// The path decides which of the entries' rules a log gets.
TEST(Coverage, TellsEntriesOfOneIdApart) {
  const TempDir dir;
  const std::string rules = dir.path("rules");
  EXPECT_EQ("       1  F_crash_1 process (match_rule.json:19)\n-> 0\n",
            OutputOf(kCases, "cp -r two " + rules + " && sed -i 's/F_start_1/F_crash_1/; 15,17s,crash/,other/,' " +
                                 rules + "/match_rule.json && kestrix coverage --config " + rules +
                                 " --event crash --as /data/other/ logs/map1.txt | grep '  1  F_' | sed 's,(.*/,(,'"));
}

TEST(Test, UpdatesWhatDiffers) {
  const TempDir dir;
  EXPECT_EQ("-> 0\n",
            OutputOf(kCases, "cp -r ../data/. " + dir.path() + " && rm " + dir.path("crlf_log/expected.json") +
                                 " && echo '{\"A\": \"\"}' >" + dir.path("two_features_one_key/expected.json")));
  EXPECT_TRUE(OutputOf(dir.path(), "kestrix test --update .").ends_with(" cases, 0 failed\n-> 0\n"));
  EXPECT_EQ("-> 0\n", OutputOf(kCases, "diff -r ../data " + dir.path())) << "not written as the cases are kept";
}

}  // namespace
