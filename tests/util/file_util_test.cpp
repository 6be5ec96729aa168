#include "util/file_util.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/support/temp_dir.h"

namespace {

// An open descriptor, closed with the object.
struct Fd {
  explicit Fd(const std::string& path, int flags = O_RDONLY) : number(open(path.c_str(), flags)) {}
  ~Fd() { close(number); }
  const int number;
};

// The number that the next opened descriptor gets: one more when a descriptor has leaked.
int NextFd() { return Fd("/dev/null").number; }

// A log of one line per letter: "." is no frame, "0" is empty, "S" starts a trace, "L" is the longest line that is
// read, "O" is one byte longer, all others are frames.
std::string Log(const std::string& letters) {
  std::string log;
  for (const char c : letters) {
    const size_t indent = c == 'L' ? 2044 : c == 'O' ? 2045 : 1;
    log += (c == '.' ? "x" : c == '0' ? "" : c == 'S' ? "START" : std::string(indent, ' ') + "at " + c) + '\n';
  }
  return log;
}

std::string Trace(const std::string& log, int offset, const char* frame, const char* start) {
  std::stringstream buffer(log);
  std::string trace = "kept;";
  FileUtil::GetTrace(buffer, offset, frame, trace, start);
  return trace;
}

}  // namespace

TEST(Paths, IsLegalPathRefusesSteps) {
  for (const char* path : {"", "/", "..", "a/..", "/a.b/c", ".x/y", "a/.b"})
    EXPECT_TRUE(FileUtil::IsLegalPath(path)) << path;
  for (const char* path : {"./", "../a", "a/./b", "dir./x"}) EXPECT_FALSE(FileUtil::IsLegalPath(path)) << path;
}

TEST(Paths, AreResolvedAndOpened) {
  const TempDir dir;
  const std::string file = dir.write("log", "x");
  const std::string link = dir.path("link");
  const std::string step = dir.path("./log");
  const std::string dangling = dir.path("dangling");
  std::filesystem::create_symlink(file, link);
  std::filesystem::create_symlink(dir.path("missing"), dangling);
  for (const std::string& path : {file, link, step, std::string(4095, '/')}) {
    std::string real;
    EXPECT_TRUE(FileUtil::PathToRealPath(path, real)) << path;
    EXPECT_EQ(path.size() == 4095 ? "/" : file, real) << path;
    const int fd = FileUtil::GetFileFd(path);
    EXPECT_EQ(path != step, fd >= 0) << path;
    close(fd);
  }
  for (const std::string& path : {std::string(), dangling, std::string(4096, '/')}) {
    std::string real = "old";
    EXPECT_FALSE(FileUtil::FileExists(path) || FileUtil::PathToRealPath(path, real)) << path;
    EXPECT_EQ("old", real) << path;
    EXPECT_EQ(-1, FileUtil::GetFileFd(path)) << path;
  }
}

TEST(Loading, ReadsWholeFilesFromTheBeginning) {
  const TempDir dir;
  for (const std::string& bytes : {std::string("a\r\n\0\xff\n", 6), std::string()}) {
    const std::string path = dir.write("log", bytes);
    const Fd fd(path);
    EXPECT_EQ(path, FileUtil::GetFileNameByFd(fd.number));
    EXPECT_EQ(2, lseek(fd.number, 2, SEEK_SET));
    std::string content = "longer than the file";
    EXPECT_TRUE(FileUtil::LoadStringFromFd(fd.number, content));
    EXPECT_EQ(bytes.empty() ? "longer than the file" : bytes, content);
    content = "longer than the file";
    EXPECT_TRUE(FileUtil::LoadStringFromFdToFile(fd.number, content));
    EXPECT_EQ(bytes, content);
    std::stringstream buffer("old");
    buffer.get();
    EXPECT_TRUE(FileUtil::ReadFileBuff(path, buffer));
    EXPECT_EQ(0, buffer.tellg());
    EXPECT_EQ(bytes, buffer.str());
  }
}

TEST(Loading, FailureLeavesTheContent) {
  const TempDir dir;
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  ASSERT_EQ(1, write(ends[1], "x", 1));
  std::string content = "old";
  for (const int fd : {-1, 0, ends[0], NextFd()}) {
    EXPECT_EQ(fd == ends[0], !FileUtil::GetFileNameByFd(fd).empty()) << fd;
    EXPECT_FALSE(FileUtil::LoadStringFromFd(fd, content)) << fd;
    EXPECT_FALSE(FileUtil::LoadStringFromFdToFile(fd, content)) << fd;
  }
  EXPECT_EQ("old", content);
  EXPECT_FALSE(FileUtil::LoadStringFromFd(Fd(dir.write("log", "x"), O_WRONLY).number, content)) << "write only";
  for (const int fd : ends) close(fd);
}

TEST(Loading, WaitsForNoWriterOfAPipe) {
  const TempDir dir;
  const std::string path = dir.path("pipe");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  for (const std::string left : {"", "what a writer left"}) {
    const Fd reader(path, O_RDONLY | O_NONBLOCK);
    ASSERT_EQ(left.size(), static_cast<size_t>(write(Fd(path, O_WRONLY).number, left.data(), left.size())));
    std::stringstream buffer("old");
    EXPECT_TRUE(FileUtil::ReadFileBuff(path, buffer));
    EXPECT_EQ(left, buffer.str());
  }
}

TEST(Loading, EndsAtTheSizeLimitAndClosesItsDescriptor) {
  const TempDir dir;
  const std::string path = dir.write("sparse", "head");
  const int nextFd = NextFd();
  for (const size_t size : {33554432u, 33554433u}) {
    std::filesystem::resize_file(path, size);
    std::string byName = "old";
    std::string byFd = "old";
    std::stringstream buffer("old");
    const bool fits = size == 33554432;
    EXPECT_EQ(fits, FileUtil::LoadStringFromFile(path, byName)) << size;
    EXPECT_EQ(fits, FileUtil::LoadStringFromFd(Fd(path).number, byFd)) << size;
    EXPECT_EQ(fits, FileUtil::ReadFileBuff(path, buffer)) << size;
    for (const std::string& content : {byName, byFd, buffer.str()}) EXPECT_EQ(fits ? size : 3, content.size());
    EXPECT_EQ(nextFd, NextFd()) << "a descriptor stayed open";
  }
}

TEST(Loading, LeavesNoDescriptorToOtherPrograms) {
  const int fd = FileUtil::GetFileFd("/dev/null");
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
  close(fd);
}

TEST(Loading, GoesOnBehindASignal) {
  const TempDir dir;
  const std::string path = dir.path("pipe");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  struct sigaction handler = {};
  handler.sa_handler = [](int) {};
  sigaction(SIGUSR1, &handler, nullptr);
  const int writer = open(path.c_str(), O_RDWR);
  std::string content;
  bool isRead = false;
  std::thread reader([&] { isRead = FileUtil::LoadStringFromFile(path, content); });
  // One of the signals meets the read that waits for the writer.
  for (int i = 0; i < 50; ++i) {
    usleep(1000);
    pthread_kill(reader.native_handle(), SIGUSR1);
  }
  EXPECT_EQ(1, write(writer, "x", 1));
  close(writer);
  reader.join();
  EXPECT_TRUE(isRead);
  EXPECT_EQ("x", content);
}

TEST(GetTrace, EndsAtEmptyLinesMissesAndLimits) {
  const std::string more(197, '.');
  const std::string cases[] = {".ab0c>ab",      "0a>",           ".0a>",         ".....a>a",    "a...b...c>abc",
                               "a....b>a",      "aSb>b",         "S..a>a",       "S...a>",      ".....Sa>a",
                               "0Sa>",          "a...Ob>ab",     "a...Lb>aLb",   "OaLO>aL",     "OSOa>a",
                               more + "..ab>a", more + ".Oab>a", more + "...a>", more + "..Sa>"};
  for (const std::string& c : cases) {
    const size_t mark = c.find('>');
    std::string expected = "kept;";
    for (const char frame : c.substr(mark + 1)) expected += std::string("at ") + frame + "\n";
    const char* const start = c.find('S') == c.npos ? "" : "START";
    EXPECT_EQ(expected, Trace(Log(c.substr(0, mark)), 0, "at .", start)) << c;
  }
}

TEST(GetTrace, TakesTheMatchFromTheOffset) {
  EXPECT_EQ("kept;at a\n", Trace(Log("xa0b"), 6, "at [^x]", ""));
  EXPECT_EQ("kept;at b\n", Trace("at a\nat b", 1, "at .", ""));
  for (const int offset : {-1, 5, 6}) EXPECT_EQ("kept;", Trace("at a\n", offset, "at .", "")) << offset;
  EXPECT_EQ("kept;at a)\nat b\n", Trace("(at a)\n\r\nat b\r\n", 0, "at .*", ""));
  EXPECT_EQ("kept;at b\n", Trace("at a\nat b", 0, "at .", "b$"));
  EXPECT_EQ("kept;\n\n", Trace("a\nb", 0, "", ""));
}

TEST(GetTraceDeathTest, BadExpressionEndsTheProcessWhereItIsApplied) {
  EXPECT_EQ("kept;", Trace("x\n", 0, "(", "START"));
  EXPECT_EQ("kept;", Trace("\nx\n", 0, "at .", "("));
  const auto apply = [](const char* frame, const char* start) noexcept { Trace("x\n", 0, frame, start); };
  EXPECT_DEATH(apply("(", ""), "");
  EXPECT_DEATH(apply("x", "("), "");
}
