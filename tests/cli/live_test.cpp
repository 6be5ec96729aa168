#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "cli/live/file_watch.h"
#include "cli/live/live_desk.h"
#include "cli/live/live_server.h"
#include "cli/output/input_error.h"
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
    std::future<bool> noticed = std::async(std::launch::async, [&] { return watch.wait(stop); });
    row.save(dir);
    const std::chrono::milliseconds patience(row.isNoticed ? 10'000 : 100);
    const bool isNoticed = noticed.wait_for(patience) == std::future_status::ready;
    EXPECT_EQ(row.isNoticed, isNoticed) << row.what;
    eventfd_write(stop, 1);
    EXPECT_EQ(isNoticed, noticed.get()) << row.what;
    close(stop);
  }
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

// The first bytes of the answer to a request, byte for byte as it is given.
std::string Answer(int port, const std::string& request) {
  const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string answer(64, '\0');
  const bool isSent = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                      send(client, request.data(), request.size(), MSG_NOSIGNAL) > 0;
  const ssize_t size = isSent ? recv(client, answer.data(), answer.size(), 0) : 0;
  close(client);
  answer.resize(size > 0 ? static_cast<size_t>(size) : 0);
  return answer;
}

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

  // "200" and the like.
  std::string status(const std::string& request) const {
    const std::string filled = Filled(Filled(request, kToken, token_), kPort, std::to_string(port_));
    const std::string answer = Answer(port_, filled + "\r\n\r\n");
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
  EXPECT_THROW(second.bind(served.port()), InputError);
}

TEST(LiveDesk, TellsOfSavesAndOfItsEnd) {
  LiveDesk desk({{"log.txt"}, "rules", "crash"});
  const uint64_t first = desk.version();
  EXPECT_EQ(first, desk.waitForChange(first, std::chrono::milliseconds(1)));
  std::future<uint64_t> waiting =
      std::async(std::launch::async, [&] { return desk.waitForChange(first, std::chrono::minutes(1)); });
  desk.noteSave();
  EXPECT_EQ(first + 1, waiting.get());
  waiting = std::async(std::launch::async, [&] { return desk.waitForChange(first + 1, std::chrono::minutes(1)); });
  desk.stop();
  EXPECT_EQ(first + 1, waiting.get());
  EXPECT_TRUE(desk.isStopped());
}

}  // namespace
