#include "util/line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <vector>

#include "tests/support/temp_dir.h"
#include "util/file_util.h"
#include "util/trace_cut.h"

namespace {

std::string Line(size_t size) { return std::string(size, static_cast<char>('a' + size % 26)); }

// Lines around the longest that is examined, around the buffers' sizes and far over them.
std::string LongAndShort() {
  std::string log;
  for (const size_t size : {3u, 0u, 2047u, 2048u, 2049u, 0u, 1u, 9000u, 6u, 0u, 0u, 70000u, 5u, 2048u}) {
    log += Line(size) + "\n";
  }
  return log;
}

}  // namespace

TEST(LineReader, GivesTheSameLinesThroughAnyBuffer) {
  for (const std::string& log :
       {LongAndShort(), LongAndShort() + "end", Line(9000), std::string("\n"), std::string()}) {
    for (const size_t window : {1u, 2u, 1000u, 2049u, 4096u, 65536u}) {
      std::stringstream stream(log);
      const auto source = SourceOf(stream);
      LineReader reader(*source, window);
      std::vector<TextLine> lines;
      std::string read;
      std::string text;
      for (size_t pos = 0; pos < reader.size(); pos = lines.back().next) {
        lines.push_back(reader.lineAt(pos));
        reader.copy(lines.back(), text);
        read += text + (lines.back().hasLineFeed() ? "\n" : "");
        EXPECT_TRUE(text.size() > kMaxLineLen || text == reader.view(lines.back()));
      }
      EXPECT_EQ(log, read) << window;
      for (const TextLine& line : lines) {
        const std::string_view ahead = reader.linesFrom(line.begin);
        EXPECT_EQ(log.substr(line.begin, ahead.size()), ahead);
        EXPECT_TRUE(ahead.empty() ? line.size() > kMaxLineLen
                                  : ahead.ends_with('\n') || ahead.size() + line.begin == log.size());
        size_t begin = 0;
        const std::string_view behind = reader.linesBefore(line.next, lines[0].begin, begin);
        EXPECT_EQ(behind.empty() ? line.begin : line.next - behind.size(), begin);
        EXPECT_EQ(log.substr(begin, behind.size()), behind);
        EXPECT_TRUE(begin <= line.begin && (begin == 0 || log[begin - 1] == '\n')) << window << " " << begin;
        EXPECT_TRUE(!behind.empty() || line.size() > kMaxLineLen);
      }
      EXPECT_TRUE(reader.isWhole());
    }
  }
}

TEST(LineReader, EndsWhereTheLogWasCut) {
  const TempDir dir;
  const std::string path = dir.write("log", LongAndShort());
  const auto source = OpenLog(path);
  LineReader reader(*source, 100);
  EXPECT_EQ(3u, reader.lineAt(0).size());
  std::filesystem::resize_file(path, 5000);
  std::string text = "old";
  reader.copy({9000, 20000, 20001}, text);
  EXPECT_EQ("", text);
  EXPECT_EQ(0u, reader.size());
  const TextLine line = reader.lineAt(7000);
  EXPECT_LT(line.begin, line.next) << "a caller that goes on from line to line must get on";
  EXPECT_FALSE(reader.isWhole());
}

TEST(OpenLog, JudgesAFileAsTheReaderOfWholeFilesDoes) {
  const TempDir dir;
  const std::string large = dir.write("large", "x");
  const std::string tooLarge = dir.write("too_large", "x");
  std::filesystem::resize_file(large, kMaxFileSize);
  std::filesystem::resize_file(tooLarge, kMaxFileSize + 1);
  // A file of the kernel that reports a size of one page and gives less.
  const std::string shortFile = "/sys/kernel/mm/transparent_hugepage/enabled";
  for (const std::string& path : {large, tooLarge, dir.write("empty", ""), dir.path("missing"), dir.path(),
                                  dir.path("./large"), shortFile, std::string("/proc/self/status")}) {
    std::stringstream whole;
    const bool isRead = FileUtil::ReadFileBuff(path, whole);
    const auto log = OpenLog(path);
    ASSERT_EQ(isRead, log != nullptr) << path;
    EXPECT_TRUE(!isRead || whole.str().size() == log->size()) << path;
  }
}

TEST(OpenLog, HoldsWhatAPipeGives) {
  const TempDir dir;
  const std::string path = dir.path("pipe");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  const int writer = open(path.c_str(), O_WRONLY);
  ASSERT_EQ(4, write(writer, "a\nbc", 4));
  close(writer);
  const auto log = OpenLog(path);
  close(reader);
  ASSERT_TRUE(log != nullptr);
  std::string text(4, ' ');
  EXPECT_TRUE(log->read(0, text.data(), 4));
  EXPECT_EQ("a\nbc", text);
  EXPECT_FALSE(log->read(1, text.data(), 4));
}

TEST(CutTrace, ReadsLongLinesAndPlacesAsTheStreamDoes) {
  const TempDir dir;
  const std::string log = "x\nat 1\n" + Line(2045) + "at 2\n" + Line(100000) + "\nat 3\n" + Line(2044) + "at 4\nat 5";
  const auto source = OpenLog(dir.write("log", log));
  const int size = static_cast<int>(log.size());
  ExpressionCache expressions;
  for (const int offset : {-7, 0, 2, 7, 3000, size - 4, size - 1, size, size + 1, 1 << 30}) {
    std::stringstream stream(log);
    std::string expected;
    FileUtil::GetTrace(stream, offset, "at .", expected, "");
    EXPECT_EQ(expected, CutTrace(*source, offset, "at .", expressions)) << offset;
  }
}
