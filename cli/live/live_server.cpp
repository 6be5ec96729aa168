#include "cli/live/live_server.h"

#include <httplib.h>
#include <json/json.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <optional>
#include <sstream>
#include <system_error>

#include "cli/explain/page_story.h"
#include "cli/library/own_program.h"
#include "cli/output/input_error.h"
#include "cli/output/utf8.h"
#include "rules/rule_syntax.h"

namespace {

constexpr char kHost[] = "127.0.0.1";
constexpr size_t kThreads = 24;
constexpr int kMaxListeners = 16;  // pages that are open at once: each holds a thread
constexpr std::chrono::milliseconds kBeat(1000);
constexpr char kJson[] = "application/json; charset=utf-8";

std::string MakeToken() {
  std::array<unsigned char, 16> bytes;
  size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t size = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (size > 0) filled += static_cast<size_t>(size);
  }
  std::string token;
  for (const unsigned char byte : bytes) token.append({"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]});
  return token;
}

// In a time that does not depend on where the texts differ.
bool IsSame(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
  return difference == 0;
}

std::optional<size_t> NumberIn(const httplib::Request& request, const char* name) {
  const std::string text = request.get_param_value(name);
  size_t number = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (fault != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

void Refuse(httplib::Response& response, int status) {
  response.status = status;
  response.set_content(status == 403 ? "forbidden\n" : "not found\n", "text/plain; charset=utf-8");
}

std::string Replaced(std::string text, const std::string& mark, const std::string& value) {
  for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size())) {
    text.replace(at, mark.size(), value);
  }
  return text;
}

std::vector<std::string> RuleFiles(const std::string& configDir) {
  return {MatchRuleFile(configDir), AssembleRuleFile(configDir)};
}

std::string Absolute(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::absolute(path, ignored).lexically_normal().string();
}

}  // namespace

LiveServer::LiveServer(LiveDesk& desk, std::string editor)
    : desk_(desk), editor_(std::move(editor)), token_(MakeToken()), server_(std::make_unique<httplib::Server>()) {
  server_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  // The library's own setting lets a second server share the port.
  server_->set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  server_->set_tcp_nodelay(true);
  server_->set_keep_alive_timeout(1);
  server_->set_payload_max_length(1024);
  server_->set_default_headers(
      {{"Content-Security-Policy", "frame-ancestors 'none'; base-uri 'none'; form-action 'none'"},
       {"X-Content-Type-Options", "nosniff"},
       {"Cache-Control", "no-store"},
       {"Referrer-Policy", "no-referrer"},
       {"Cross-Origin-Resource-Policy", "same-origin"},
       {"Cross-Origin-Opener-Policy", "same-origin"}});
  server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    if (request.path == "/favicon.ico") {  // browsers ask for one
      response.status = 204;
      return httplib::Server::HandlerResponse::Handled;
    }
    if (isAllowed(request)) return httplib::Server::HandlerResponse::Unhandled;
    Refuse(response, 403);
    return httplib::Server::HandlerResponse::Handled;
  });
  addRoutes();
}

LiveServer::~LiveServer() = default;

// A page of another site can neither know the token nor have its name in "Host" or its origin in "Origin".
bool LiveServer::isAllowed(const httplib::Request& request) const {
  const std::string host = request.get_header_value("Host");
  const std::string port = ":" + std::to_string(port_);
  if (host != kHost + port && host != "localhost" + port) return false;
  if (request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host) return false;
  return IsSame(request.path.substr(0, token_.size() + 2), "/" + token_ + "/");
}

void LiveServer::addRoutes() {
  using Request = const httplib::Request&;
  const std::string root = "/" + token_ + "/";
  server_->Get(root, [this](Request, httplib::Response& response) { servePage(response); });
  server_->Get(root + "events", [this](Request, httplib::Response& response) { serveEvents(response); });
  server_->Get(root + "results",
               [this](Request, httplib::Response& response) { response.set_content(desk_.results(), kJson); });
  server_->Get(root + "findings",
               [this](Request, httplib::Response& response) { response.set_content(desk_.findings(), kJson); });
  server_->Get(root + "story", [this](Request request, httplib::Response& response) {
    serveOfLog(request, response, {}, [this](size_t log, const Numbers&) { return desk_.story(log); });
  });
  server_->Get(root + "verdicts", [this](Request request, httplib::Response& response) {
    serveOfLog(request, response, {"line"},
               [this](size_t log, const Numbers& numbers) { return desk_.verdicts(log, numbers[0]); });
  });
  server_->Get(root + "suggest", [this](Request request, httplib::Response& response) {
    serveOfLog(request, response, {"first", "last"},
               [this](size_t log, const Numbers& numbers) { return desk_.suggestions(log, numbers[0], numbers[1]); });
  });
  if (!editor_.empty()) {
    server_->Post(root + "edit",
                  [this](Request request, httplib::Response& response) { openEditor(request, response); });
  }
}

void LiveServer::servePage(httplib::Response& response) const {
  Json::Value live;
  live["logs"] = Json::Value(Json::arrayValue);
  for (const std::string& log : desk_.input().logs) live["logs"].append(ValidUtf8(log));
  live["hasEditor"] = !editor_.empty();
  for (const std::string& file : RuleFiles(desk_.input().configDir)) {
    Json::Value rules;
    rules["file"] = ValidUtf8(file);
    rules["path"] = ValidUtf8(Absolute(file));
    live["ruleFiles"].append(rules);
  }
  std::ostringstream page;
  PrintLivePage(live, page);
  response.set_content(page.str(), "text/html; charset=utf-8");
}

void LiveServer::serveEvents(httplib::Response& response) {
  if (++listeners_ > kMaxListeners) {
    --listeners_;
    response.status = 503;
    return;
  }
  const auto known = std::make_shared<uint64_t>(0);
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, known](size_t /*offset*/, httplib::DataSink& sink) {
        const uint64_t version = desk_.waitForChange(*known, kBeat);
        if (desk_.isStopped()) {
          sink.done();
          return true;
        }
        const std::string event =
            version == *known ? ":\n\n" : "event: change\ndata: " + std::to_string(version) + "\n\n";
        *known = version;
        return sink.write(event.data(), event.size());
      },
      [this](bool /*success*/) { --listeners_; });
}

// The numbers are of lines, from 1.
void LiveServer::serveOfLog(const httplib::Request& request, httplib::Response& response,
                            const std::vector<const char*>& names,
                            const std::function<std::string(size_t, const Numbers&)>& make) {
  const std::optional<size_t> log = NumberIn(request, "log");
  if (!log || *log >= desk_.input().logs.size()) return Refuse(response, 404);
  Numbers numbers;
  for (const char* name : names) {
    const std::optional<size_t> number = NumberIn(request, name);
    if (!number || *number == 0) return Refuse(response, 404);
    numbers.push_back(*number);
  }
  response.set_content(make(*log, numbers), kJson);
}

void LiveServer::openEditor(const httplib::Request& request, httplib::Response& response) const {
  const std::vector<std::string> files = RuleFiles(desk_.input().configDir);
  const std::optional<size_t> file = NumberIn(request, "file");
  const std::optional<size_t> line = NumberIn(request, "line");
  if (!file || *file >= files.size() || !line) return Refuse(response, 404);
  std::vector<std::string> words;
  std::istringstream command(editor_);
  for (std::string word; command >> word;) {
    words.push_back(Replaced(Replaced(word, "{line}", std::to_string(*line)), "{file}", Absolute(files[*file])));
  }
  if (words.empty() || !StartProgram(words)) return Refuse(response, 404);
  response.set_content("{}", kJson);
}

void LiveServer::bind(int port) {
  errno = 0;
  if (port == 0) {
    port_ = server_->bind_to_any_port(kHost);
  } else if (server_->bind_to_port(kHost, port)) {
    port_ = port;
  }
  if (port_ > 0) return;
  const int fault = errno;
  throw InputError("port " + std::to_string(port), fault == EADDRINUSE || fault == 0
                                                       ? "it is in use; without --port a free one is found"
                                                       : std::generic_category().message(fault));
}

void LiveServer::run() { server_->listen_after_bind(); }

void LiveServer::stop() { server_->stop(); }

std::string LiveServer::address() const {
  return "http://" + std::string(kHost) + ":" + std::to_string(port_) + "/" + token_ + "/";
}
