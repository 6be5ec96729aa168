#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "cli/live/file_watch.h"
#include "cli/live/live_desk.h"
#include "cli/live/live_server.h"
#include "cli/output/input_error.h"
#include "tests/cli/transcript.h"
#include "tests/support/temp_dir.h"

namespace {

// --- What is saved is noticed ---

struct SaveRow {
  const char* what;
  std::function<void(const TempDir&)> save;
  bool isNoticed;
};

TEST(FileWatch, NoticesSavesOfItsFilesAlone) {
  namespace fs = std::filesystem;
  const SaveRow kRows[] = {
      {"written in place", [](const TempDir& dir) { dir.write("rules", "new"); }, true},
      {"replaced by a new file",
       [](const TempDir& dir) { fs::rename(dir.write("rules.tmp", "new"), dir.path("rules")); }, true},
      {"moved away and written anew",
       [](const TempDir& dir) {
         fs::rename(dir.path("rules"), dir.path("rules~"));
         dir.write("rules", "new");
       },
       true},
      {"where the link leads", [](const TempDir& dir) { dir.write("far/log", "new"); }, true},
      {"replaced where the link leads",
       [](const TempDir& dir) { fs::rename(dir.write("far/log.tmp", "new"), dir.path("far/log")); }, true},
      {"with another file behind it",
       [](const TempDir& dir) {
         dir.write("rules", "new");
         dir.write("rules.swp", "new");
       },
       true},
      {"another file", [](const TempDir& dir) { dir.write("rules.swp", "new"); }, false},
      {"a file of that name in another folder", [](const TempDir& dir) { dir.write("far/rules", "new"); }, false},
  };
  for (const SaveRow& row : kRows) {
    const TempDir dir;
    fs::create_directory(dir.path("far"));
    dir.write("far/log", "old");
    fs::create_symlink("far/log", dir.path("log"));
    FileWatch watch({dir.write("rules", "old"), dir.path("log")});
    const int stop = eventfd(0, EFD_CLOEXEC);
    row.save(dir);
    std::future<bool> noticed = std::async(std::launch::async, [&] { return watch.wait(stop); });
    const std::chrono::milliseconds patience(row.isNoticed ? 10'000 : 100);
    const bool isNoticed = noticed.wait_for(patience) == std::future_status::ready;
    EXPECT_EQ(row.isNoticed, isNoticed) << row.what;
    eventfd_write(stop, 1);
    EXPECT_EQ(isNoticed, noticed.get()) << row.what;
    close(stop);
  }
}

TEST(FileWatch, DoesNotWaitForSavesToCease) {
  const TempDir dir;
  FileWatch watch({dir.write("rules", "old")});
  std::atomic<bool> isNoticed = false;
  std::thread saving([&] {
    for (int i = 0; i < 1'000'000 && !isNoticed; ++i) dir.write("rules", "new");
  });
  EXPECT_TRUE(watch.wait(-1));
  EXPECT_FALSE(isNoticed.exchange(true)) << "the saves have ceased";
  saving.join();
}

// --- Who may ask, and for what ---

constexpr char kToken[] = "TOKEN";  // in the rows, for that of the server
constexpr char kPort[] = "PORT";

std::string Filled(std::string text, const std::string& mark, const std::string& value) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
    text.replace(at, mark.size(), value);
  }
  return text;
}

// A connection on which a request was sent, byte for byte as it is given.
class Client {
 public:
  Client(int port, const std::string& request) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    isSent_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
              send(socket_, request.data(), request.size(), MSG_NOSIGNAL) > 0;
  }
  ~Client() { close(socket_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // The next bytes of the answer; empty at its end.
  std::string next() {
    std::string answer(64 * 1024, '\0');
    const ssize_t size = isSent_ ? recv(socket_, answer.data(), answer.size(), 0) : 0;
    answer.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return answer;
  }

 private:
  const int socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  bool isSent_ = false;
};

std::string Answer(int port, const std::string& request) { return Client(port, request).next(); }

// A desk that is served.
class ServedDesk {
 public:
  ServedDesk() : desk_({{"log.txt"}, "rules", "crash"}), server_(desk_, "") {
    server_.bind(0);
    serving_ = std::thread([this] { server_.run(); });
    const std::string address = server_.address();
    const size_t colon = address.rfind(':');
    port_ = std::stoi(address.substr(colon + 1));
    token_ = address.substr(address.find('/', colon) + 1);
    token_.pop_back();
    while (Answer(port_, "GET / HTTP/1.0\r\n\r\n").empty()) std::this_thread::yield();
  }
  ~ServedDesk() {
    desk_.stop();
    server_.stop();
    serving_.join();
  }

  int port() const { return port_; }

  std::string filled(const std::string& request) const {
    return Filled(Filled(request, kToken, token_), kPort, std::to_string(port_)) + "\r\n\r\n";
  }

  // "200" and the like.
  std::string status(const std::string& request) const {
    const std::string answer = Answer(port_, filled(request));
    return answer.size() > 12 ? answer.substr(9, 3) : answer;
  }

 private:
  LiveDesk desk_;
  LiveServer server_;
  std::thread serving_;
  int port_ = 0;
  std::string token_;
};

TEST(LiveServer, AnswersWhoKnowsTheTokenAndTheHost) {
  const struct {
    const char* what;
    std::string request;
    const char* status;
  } kRows[] = {
      {"the page", "GET /TOKEN/ HTTP/1.1\r\nHost: 127.0.0.1:PORT", "200"},
      {"by the other name", "GET /TOKEN/ HTTP/1.1\r\nHost: localhost:PORT", "200"},
      {"the page itself asks", "GET /TOKEN/ HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT", "200"},
      {"no host", "GET /TOKEN/ HTTP/1.0", "403"},
      {"a name that was made to lead here", "GET /TOKEN/ HTTP/1.1\r\nHost: evil.example:PORT", "403"},
      {"another port", "GET /TOKEN/ HTTP/1.1\r\nHost: 127.0.0.1:1", "403"},
      {"a page of another site", "GET /TOKEN/ HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\nOrigin: http://evil.example", "403"},
      {"no token", "GET / HTTP/1.1\r\nHost: 127.0.0.1:PORT", "403"},
      {"a wrong token", "GET /00000000000000000000000000000000/ HTTP/1.1\r\nHost: 127.0.0.1:PORT", "403"},
      {"a longer token", "GET /TOKEN0/ HTTP/1.1\r\nHost: 127.0.0.1:PORT", "403"},
      {"the token without its slash", "GET /TOKEN HTTP/1.1\r\nHost: 127.0.0.1:PORT", "403"},
      {"a file", "GET /TOKEN/match_rule.json HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"a file elsewhere", "GET /TOKEN/../../etc/passwd HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"a log that there is not", "GET /TOKEN/story?log=1 HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"a log of no number", "GET /TOKEN/story?log=x HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"a log of half a number", "GET /TOKEN/story?log=0x HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"no line", "GET /TOKEN/verdicts?log=0 HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"line 0", "GET /TOKEN/suggest?log=0&first=0&last=1 HTTP/1.1\r\nHost: 127.0.0.1:PORT", "404"},
      {"an editor, without --editor",
       "POST /TOKEN/edit?file=0&line=1 HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\nContent-Length: 0", "404"},
      {"to write", "PUT /TOKEN/match_rule.json HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\nContent-Length: 0", "404"},
  };
  const ServedDesk served;
  for (const auto& row : kRows) EXPECT_EQ(row.status, served.status(row.request)) << row.what;
}

TEST(LiveServer, SaysThatAPortIsInUse) {
  const ServedDesk served;
  LiveDesk desk({{"log.txt"}, "rules", "crash"});
  LiveServer second(desk, "");
  try {
    second.bind(served.port());
    FAIL() << "two servers at one port";
  } catch (const InputError& error) {
    EXPECT_STREQ("it is in use; without --port a free one is found", error.reason().c_str());
  }
}

// Each page that is open holds a thread; those that are closed give it back.
TEST(LiveServer, ServesALimitedNumberOfPages) {
  const std::string kEvents = "GET /TOKEN/events HTTP/1.1\r\nHost: 127.0.0.1:PORT";
  const ServedDesk served;
  std::deque<Client> pages;
  for (int i = 0; i < 16; ++i) EXPECT_NE("", pages.emplace_back(served.port(), served.filled(kEvents)).next());
  EXPECT_EQ("503", served.status(kEvents));
  pages.clear();
  std::string status;
  for (int i = 0; i < 500 && status != "200"; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    status = served.status(kEvents);
  }
  EXPECT_EQ("200", status);
}

TEST(LiveDesk, TellsOfSavesAndOfItsEnd) {
  LiveDesk desk({{"log.txt"}, "rules", "crash"});
  const uint64_t first = desk.version();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(first, desk.waitForChange(first, std::chrono::milliseconds(20)));
  EXPECT_LE(std::chrono::milliseconds(20), std::chrono::steady_clock::now() - begin);
  std::future<uint64_t> waiting =
      std::async(std::launch::async, [&] { return desk.waitForChange(first, std::chrono::minutes(1)); });
  desk.noteSave();
  EXPECT_EQ(first + 1, waiting.get());
  waiting = std::async(std::launch::async, [&] { return desk.waitForChange(first + 1, std::chrono::minutes(1)); });
  desk.stop();
  EXPECT_EQ(first + 1, waiting.get());
  EXPECT_TRUE(desk.isStopped());
}

// --- The program, with the commands that it runs ---

class LiveProgram {
 public:
  LiveProgram(const std::string& folder, const std::string& arguments)
      : pipe_(popen(("cd " + folder + " && echo $$ && exec timeout 100 " KESTRIX_PROGRAM " live " + arguments).c_str(),
                    "r")) {
    process_ = std::stoi(line());
    address_ = line();
    const size_t colon = address_.rfind(':');
    port_ = std::stoi(address_.substr(colon + 1));
    address_ = address_.substr(address_.find('/', colon));
  }
  ~LiveProgram() {
    kill(process_, SIGTERM);
    EXPECT_EQ(0, pclose(pipe_));
  }
  LiveProgram(const LiveProgram&) = delete;
  LiveProgram& operator=(const LiveProgram&) = delete;

  // All that it answers.
  std::string ask(const std::string& method, const std::string& what) const {
    Client client(port_, method + " " + address_ + what + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                             "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    std::string answer;
    for (std::string more = " "; !more.empty(); answer += more) more = client.next();
    return answer;
  }

  // Asks again until the answer holds `text`, since a save takes a moment to be noticed.
  bool tells(const std::string& what, const std::string& text) const {
    for (int i = 0; i < 500; ++i) {
      if (ask("GET", what).find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

 private:
  std::string line() {
    char buffer[256] = "";
    EXPECT_NE(nullptr, fgets(buffer, sizeof buffer, pipe_));
    return std::string(buffer).substr(0, std::string(buffer).find('\n'));
  }

  FILE* const pipe_;
  pid_t process_ = 0;
  int port_ = 0;
  std::string address_;
};

TEST(LiveProgram, AnswersForTheFilesAsTheyAre) {
  namespace fs = std::filesystem;
  const std::string examples = KESTRIX_SOURCE_DIR "/examples/";
  const TempDir dir;
  fs::copy(examples + "rules", dir.path("rules"));
  const std::string rules = ReadFile(dir.path("rules/match_rule.json"));
  const LiveProgram live(dir.path(), "--config rules --editor 'touch {file}.{line}' " + examples +
                                         "logs/java_crash.txt " + examples + "logs/kernel_panic.txt");
  const struct {
    const char* what;
    const char* text;
  } kRows[] = {
      {"findings", R"("findings":)"},
      {"results", R"("event":"java_crash","path")"},
      {"results", R"("event":"kernel_panic","path")"},
      {"story?log=1", R"("event":"kernel_panic")"},
      {"verdicts?log=0&line=1", R"("story":)"},
      {"suggest?log=0&first=10&last=29", R"("ruleLines":[10,11,12])"},
  };
  for (const auto& row : kRows) EXPECT_NE(std::string::npos, live.ask("GET", row.what).find(row.text)) << row.what;

  dir.write("rules/match_rule.json", "{");
  EXPECT_TRUE(live.tells("findings", "json-syntax"));
  EXPECT_TRUE(live.tells("results", R"("fault":)"));
  dir.write("rules/match_rule.json", rules);
  EXPECT_TRUE(live.tells("results", R"("event":"java_crash","path")"));

  EXPECT_EQ(0U, live.ask("POST", "edit?file=0&line=3").find("HTTP/1.1 200"));
  EXPECT_EQ(0U, live.ask("POST", "edit?file=2&line=3").find("HTTP/1.1 404"));
  const std::string opened = dir.path("rules/match_rule.json.3");
  for (int i = 0; i < 500 && !fs::exists(opened); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_TRUE(fs::exists(opened));
}

TEST(LiveProgram, BeginsWithNothingThatItCannotRead) {
  namespace fs = std::filesystem;
  const TempDir dir;
  fs::copy(KESTRIX_SOURCE_DIR "/examples/rules", dir.path("rules"));
  fs::create_directory(dir.path("half"));
  dir.write("half/match_rule.json", "{}");
  dir.write("log", "");
  fs::resize_file(dir.write("big", ""), 32 * 1024 * 1024 + 1);
  const struct {
    const char* arguments;
    const char* line;
  } kCases[] = {
      {"big --config rules", "kestrix: big: is larger than 32 MiB"},
      {"log --config half", "kestrix: half/assemble_rule.json: No such file or directory"},
  };
  for (const auto& c : kCases) {
    const std::string command = "cd " + dir.path() + " && timeout 100 " KESTRIX_PROGRAM " live " + c.arguments;
    const int status = std::system((command + " >out 2>err").c_str());
    EXPECT_EQ(2, WIFEXITED(status) ? WEXITSTATUS(status) : -1) << c.arguments;
    EXPECT_TRUE(ReadFile(dir.path("err")).starts_with(c.line)) << c.arguments;
  }
}

}  // namespace
