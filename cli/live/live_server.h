#ifndef CLI_LIVE_LIVE_SERVER_H
#define CLI_LIVE_LIVE_SERVER_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/live/live_desk.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

// Serves the page of a desk, and its answers, to browsers of this machine. Every request has to name the host as it is
// and to know the token in the address; there is nothing to be written. A page hears of saves by server-sent events.
class LiveServer {
 public:
  // `editor`: the command that opens a rule file, with "{file}" and "{line}"; empty: the page links to vscode://.
  LiveServer(LiveDesk& desk, std::string editor);
  ~LiveServer();

  // Takes the port, or any with 0. Throws InputError when it is not free.
  void bind(int port);

  // Serves until stop().
  void run();
  void stop();

  std::string address() const;

 private:
  bool isAllowed(const httplib::Request& request) const;
  void addRoutes();
  void servePage(httplib::Response& response) const;
  void serveEvents(httplib::Response& response);
  // What `make` gives for the log and the numbers that the request names.
  using Numbers = std::vector<size_t>;
  void serveOfLog(const httplib::Request& request, httplib::Response& response, const std::vector<const char*>& names,
                  const std::function<std::string(size_t, const Numbers&)>& make);
  void openEditor(const httplib::Request& request, httplib::Response& response) const;

  LiveDesk& desk_;
  std::string editor_;
  std::string token_;
  int port_ = 0;
  std::atomic<int> listeners_{0};
  std::unique_ptr<httplib::Server> server_;
};

#endif  // CLI_LIVE_LIVE_SERVER_H
