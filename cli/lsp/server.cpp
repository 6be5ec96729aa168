#include "cli/lsp/server.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "cli/fleet/log_list.h"
#include "cli/lsp/diagnostics.h"
#include "cli/lsp/features.h"
#include "cli/lsp/log_survey.h"
#include "cli/lsp/transport.h"
#include "cli/output/json_text.h"
#include "cli/output/output_file.h"
#include "rules/rule_syntax.h"

// One loop waits for the client and for the survey of the logs. Messages are answered in their order; the findings of a
// text are made when no message is waiting, so that of several keystrokes only the last one is checked, and the survey
// begins anew when there was no keystroke for a while.

namespace {

constexpr std::chrono::milliseconds kQuietTime(300);  // before the logs are tried again
constexpr size_t kMaxLogs = 1000;
constexpr char kSettings[] = "kestrix.json";

// Codes of errors, by the protocol's numbers.
enum ErrorCode {
  kParseError = -32700,
  kInvalidRequest = -32600,
  kMethodNotFound = -32601,
  kInvalidParams = -32602,
  kNotInitialized = -32002,
  kRequestCancelled = -32800,
  kRequestFailed = -32803,
};

struct ResponseError {
  ErrorCode code;
  std::string message;
};

using Clock = std::chrono::steady_clock;

std::string Text(const Json::Value& value) { return value.isString() ? value.asString() : ""; }

const Json::Value& Member(const Json::Value& object, const char* name) {
  return object.isObject() ? object[name] : Json::Value::nullSingleton();
}

size_t NumberOf(const Json::Value& value) {
  if (!value.isUInt64()) throw ResponseError{kInvalidParams, "a number is missing"};
  return value.asUInt64();
}

Position PositionIn(const Json::Value& position) {
  return {NumberOf(Member(position, "line")), NumberOf(Member(position, "character"))};
}

int VersionIn(const Json::Value& document) {
  const Json::Value& version = Member(document, "version");
  return version.isInt() ? version.asInt() : 0;
}

std::optional<FileKind> KindOf(const std::string& name) {
  if (name == kMatchFileName) return FileKind::kMatch;
  if (name == kAssembleFileName) return FileKind::kAssemble;
  return std::nullopt;
}

// The files that the paths name, those in folders included.
std::vector<std::string> LogsAt(const Json::Value& paths, const std::string& folder) {
  std::vector<std::string> absolute;
  for (const Json::Value& path : paths.isArray() ? paths : Json::Value(Json::arrayValue)) {
    if (!Text(path).empty()) absolute.push_back((std::filesystem::path(folder) / Text(path)).lexically_normal());
  }
  LogList list({.paths = absolute, .event = "any"});
  std::vector<std::string> logs;
  LogEntry entry;
  while (logs.size() < kMaxLogs && list.next(entry) == LogList::Next::kEntry) {
    if (entry.error.empty()) logs.push_back(entry.path);
  }
  return logs;
}

class Server {
 public:
  int serve() {
    while (!isOver_) {
      receiveWaiting();  // first, since a message may cancel one before it
      const bool hasMore = takeMessages();
      if (isOver_ || (isAtEnd_ && !hasMore)) break;
      if (hasMore) continue;
      publishFindings();
      waitForEvents();
    }
    return isShutDown_ && isOver_ ? 0 : 1;
  }

 private:
  // --- Messages ---

  // True when one was handled.
  bool takeMessages() {
    std::string text;
    while (true) {
      const MessageReader::Next next = reader_.next(text);
      if (next == MessageReader::Next::kNone) break;
      if (next == MessageReader::Next::kDamaged) {
        answerError(Json::nullValue, {kParseError, text});
      } else {
        queue(text);
      }
    }
    if (waiting_.empty()) {
      cancelled_.clear();
      return false;
    }
    const Json::Value message = waiting_.front();
    waiting_.pop_front();
    handle(message);
    return true;
  }

  void queue(const std::string& text) {
    Json::Value message;
    if (!ReadJson(text, message)) {
      answerError(Json::nullValue, {kParseError, "the message is not JSON"});
    } else if (!message.isObject() || (message.isMember("method") && !message["method"].isString())) {
      answerError(Json::nullValue, {kInvalidRequest, "the message is no request"});
    } else if (Text(message["method"]) == "$/cancelRequest") {
      cancelled_.insert(JsonLine(Member(message["params"], "id")));
    } else {
      waiting_.push_back(std::move(message));
    }
  }

  void handle(const Json::Value& message) {
    if (!message.isMember("method")) return;  // the client's answer to a request of ours
    const std::string method = message["method"].asString();
    const bool isRequest = message.isMember("id");
    try {
      if (isRequest && cancelled_.erase(JsonLine(message["id"])) > 0) {
        throw ResponseError{kRequestCancelled, "cancelled"};
      }
      checkState(method);
      if (isRequest) {
        const Json::Value result = request(method, message["params"]);
        answer(message["id"], result);
      } else {
        notify(method, message["params"]);
      }
    } catch (const ResponseError& error) {
      if (isRequest) answerError(message["id"], error);
    } catch (const std::exception& error) {
      if (isRequest) answerError(message["id"], {kRequestFailed, error.what()});
    }
  }

  void checkState(const std::string& method) const {
    if (method == "exit") return;
    if (!isInitialized_ && method != "initialize") throw ResponseError{kNotInitialized, "\"initialize\" comes first"};
    if (isInitialized_ && method == "initialize") throw ResponseError{kInvalidRequest, "initialized already"};
    if (isShutDown_) throw ResponseError{kInvalidRequest, "the server is shut down"};
  }

  Json::Value request(const std::string& method, const Json::Value& params) {
    using Handler = Json::Value (Server::*)(const Json::Value&);
    static const std::map<std::string, Handler> kHandlers = {
        {"initialize", &Server::initialize},
        {"shutdown", &Server::shutDown},
        {"textDocument/completion", &Server::complete},
        {"textDocument/hover", &Server::hover},
        {"textDocument/definition", &Server::define},
        {"textDocument/references", &Server::refer},
        {"textDocument/documentHighlight", &Server::highlight},
        {"textDocument/prepareRename", &Server::prepareRename},
        {"textDocument/rename", &Server::rename},
        {"textDocument/documentSymbol", &Server::symbols},
        {"textDocument/codeAction", &Server::actions},
        {"textDocument/codeLens", &Server::lenses},
        {"textDocument/inlayHint", &Server::hints},
        {"workspace/executeCommand", &Server::execute},
    };
    const auto handler = kHandlers.find(method);
    if (handler == kHandlers.end()) throw ResponseError{kMethodNotFound, "unknown method " + method};
    return (this->*handler->second)(params);
  }

  void notify(const std::string& method, const Json::Value& params) {
    if (method == "exit") {
      isOver_ = true;
    } else if (method == "textDocument/didOpen") {
      didOpen(params);
    } else if (method == "textDocument/didChange") {
      didChange(params);
    } else if (method == "textDocument/didClose") {
      didClose(params);
    } else if (method == "textDocument/didSave" || method == "workspace/didChangeWatchedFiles") {
      for (auto& [folder, project] : projects_) touch(*project);
    } else if (method == "window/workDoneProgress/cancel") {
      endSurvey();
    }
  }

  void send(Json::Value message) {
    message["jsonrpc"] = "2.0";
    if (!WriteAll(STDOUT_FILENO, Framed(message))) isOver_ = true;
  }

  void answer(const Json::Value& id, const Json::Value& result) {
    Json::Value message;
    message["id"] = id;
    message["result"] = result;
    send(message);
  }

  void answerError(const Json::Value& id, const ResponseError& error) {
    Json::Value message;
    message["id"] = id;
    message["error"]["code"] = error.code;
    message["error"]["message"] = error.message;
    send(message);
  }

  void sendNotification(const char* method, const Json::Value& params) {
    Json::Value message;
    message["method"] = method;
    message["params"] = params;
    send(message);
  }

  void sendRequest(const char* method, const Json::Value& params) {
    Json::Value message;
    message["id"] = "kestrix-" + std::to_string(++lastRequest_);
    message["method"] = method;
    if (!params.isNull()) message["params"] = params;
    send(message);
  }

  // --- Life ---

  Json::Value initialize(const Json::Value& params) {
    isInitialized_ = true;
    const Json::Value& capabilities = Member(params, "capabilities");
    const Json::Value& encodings = Member(Member(capabilities, "general"), "positionEncodings");
    const bool isUtf8 =
        encodings.isArray() && std::find(encodings.begin(), encodings.end(), "utf-8") != encodings.end();
    encoding_ = isUtf8 ? PositionEncoding::kUtf8 : PositionEncoding::kUtf16;
    const auto allows = [](const Json::Value& value) { return value.isBool() && value.asBool(); };
    const Json::Value& workspace = Member(capabilities, "workspace");
    hasProgress_ = allows(Member(Member(capabilities, "window"), "workDoneProgress"));
    refreshesLenses_ = allows(Member(Member(workspace, "codeLens"), "refreshSupport"));
    refreshesHints_ = allows(Member(Member(workspace, "inlayHint"), "refreshSupport"));
    options_ = Member(params, "initializationOptions");
    rootFolder_ = PathOf(Text(Member(params, "rootUri")));

    Json::Value result;
    result["serverInfo"]["name"] = "kestrix";
    result["serverInfo"]["version"] = KESTRIX_VERSION;
    Json::Value& can = result["capabilities"];
    can["positionEncoding"] = isUtf8 ? "utf-8" : "utf-16";
    can["textDocumentSync"]["openClose"] = true;
    can["textDocumentSync"]["change"] = 2;  // incremental
    can["textDocumentSync"]["save"] = true;
    can["completionProvider"]["triggerCharacters"] = JsonTexts({"\"", "{", "@", ":", "+", "."});
    for (const char* provider : {"hoverProvider", "definitionProvider", "referencesProvider",
                                 "documentHighlightProvider", "documentSymbolProvider", "inlayHintProvider"}) {
      can[provider] = true;
    }
    can["renameProvider"]["prepareProvider"] = true;
    can["codeActionProvider"]["codeActionKinds"] = JsonTexts({"quickfix"});
    can["codeLensProvider"]["resolveProvider"] = false;
    can["executeCommandProvider"]["commands"] = JsonTexts({"kestrix.explain", "kestrix.live"});
    return result;
  }

  Json::Value shutDown(const Json::Value& /*params*/) {
    isShutDown_ = true;
    survey_.stop();
    return Json::nullValue;
  }

  // --- Documents ---

  struct Document {
    Project* project;
    FileKind file;
  };

  Document documentOf(const Json::Value& params) {
    const std::string uri = Text(Member(Member(params, "textDocument"), "uri"));
    const std::filesystem::path path(PathOf(uri));
    const std::optional<FileKind> kind = KindOf(path.filename());
    const auto project = projects_.find(path.parent_path());
    if (!kind || project == projects_.end()) throw ResponseError{kInvalidParams, "no open rule file: " + uri};
    return {project->second.get(), *kind};
  }

  Spot spotOf(const Json::Value& params) {
    const Document document = documentOf(params);
    const size_t offset = document.project->document(document.file).offsetOf(PositionIn(Member(params, "position")));
    return {*document.project, document.file, offset};
  }

  Span rangeOf(const Document& document, const Json::Value& params) {
    const TextDocument& text = document.project->document(document.file);
    const Json::Value& range = Member(params, "range");
    return {text.offsetOf(PositionIn(Member(range, "start"))), text.offsetOf(PositionIn(Member(range, "end")))};
  }

  void didOpen(const Json::Value& params) {
    const Json::Value& item = Member(params, "textDocument");
    const std::string uri = Text(Member(item, "uri"));
    const std::filesystem::path path(PathOf(uri));
    const std::optional<FileKind> kind = KindOf(path.filename());
    if (!kind) return;
    std::unique_ptr<Project>& project = projects_[path.parent_path()];
    if (!project) project = std::make_unique<Project>(path.parent_path(), encoding_);
    project->open(*kind, uri, VersionIn(item), Text(Member(item, "text")));
    touch(*project);
  }

  void didChange(const Json::Value& params) {
    const Document document = documentOf(params);
    if (!document.project->isOpen(document.file)) return;
    TextDocument& text = document.project->document(document.file);
    const Json::Value& changes = Member(params, "contentChanges");
    for (const Json::Value& change : changes.isArray() ? changes : Json::Value(Json::arrayValue)) {
      const Json::Value& range = Member(change, "range");
      if (range.isObject()) {
        text.replace(PositionIn(Member(range, "start")), PositionIn(Member(range, "end")),
                     Text(Member(change, "text")));
      } else {
        text = TextDocument(Text(Member(change, "text")), encoding_);
      }
    }
    document.project->change(document.file, VersionIn(Member(params, "textDocument")));
    unchecked_.insert(document.project);
  }

  void didClose(const Json::Value& params) {
    const Document document = documentOf(params);
    document.project->close(document.file);
    if (document.project->hasOpenFile()) {
      touch(*document.project);
      return;
    }
    for (const FileKind kind : {FileKind::kMatch, FileKind::kAssemble}) publish(*document.project, kind, {});
    if (surveyed_ == document.project) {
      endSurvey();
      surveyTime_.reset();
      surveyed_ = nullptr;
    }
    problems_.erase(document.project);
    unchecked_.erase(document.project);
    projects_.erase(document.project->folder());
  }

  void touch(Project& project) {
    project.touch();
    unchecked_.insert(&project);
  }

  // --- Findings ---

  void publishFindings() {
    for (Project* project : unchecked_) {
      problems_[project] = checker_.check(*project);
      for (const FileKind kind : {FileKind::kMatch, FileKind::kAssemble}) publish(*project, kind, problems_[project]);
      project->now();  // to be remembered if it can be read, for when it no longer can
      planSurvey(*project);
    }
    unchecked_.clear();
  }

  void publish(Project& project, FileKind file, const std::vector<Problem>& problems) {
    Json::Value params;
    params["uri"] = project.uri(file);
    if (project.isOpen(file)) params["version"] = project.version(file);
    params["diagnostics"] = DiagnosticsOf(project, file, problems);
    sendNotification("textDocument/publishDiagnostics", params);
  }

  // The client may ask before the findings were made.
  const std::vector<Problem>& problemsOf(Project* project) {
    if (unchecked_.count(project) > 0) publishFindings();
    return problems_[project];
  }

  // --- Answers ---

  Json::Value complete(const Json::Value& params) { return CompletionsAt(spotOf(params)); }
  Json::Value define(const Json::Value& params) { return DefinitionAt(spotOf(params)); }
  Json::Value highlight(const Json::Value& params) { return HighlightsAt(spotOf(params)); }
  Json::Value prepareRename(const Json::Value& params) { return RenamableAt(spotOf(params)); }

  Json::Value hover(const Json::Value& params) {
    const Spot spot = spotOf(params);
    return HoverAt(spot, surveyOf(&spot.project), problemsOf(&spot.project));
  }

  Json::Value refer(const Json::Value& params) {
    const Json::Value& isWanted = Member(Member(params, "context"), "includeDeclaration");
    return ReferencesAt(spotOf(params), isWanted.isBool() && isWanted.asBool());
  }

  Json::Value rename(const Json::Value& params) {
    std::string fault;
    const Json::Value edit = RenameAt(spotOf(params), Text(Member(params, "newName")), fault);
    if (!fault.empty()) throw ResponseError{kRequestFailed, fault};
    return edit;
  }

  Json::Value symbols(const Json::Value& params) {
    const Document document = documentOf(params);
    return SymbolsOf(*document.project, document.file);
  }

  Json::Value actions(const Json::Value& params) {
    const Document document = documentOf(params);
    const std::vector<Problem>& problems = problemsOf(document.project);
    return ActionsOf(*document.project, document.file, rangeOf(document, params), problems);
  }

  Json::Value lenses(const Json::Value& params) {
    const Document document = documentOf(params);
    return LensesOf(*document.project, document.file, surveyOf(document.project));
  }

  Json::Value hints(const Json::Value& params) {
    const Document document = documentOf(params);
    return HintsOf(*document.project, document.file, rangeOf(document, params), surveyOf(document.project));
  }

  // For clients that have no terminal to run it in: the command line that does it.
  Json::Value execute(const Json::Value& params) {
    const std::string command = Text(Member(params, "command"));
    const Json::Value& arguments = Member(params, "arguments");
    const Json::Value about = arguments.isArray() && !arguments.empty() ? arguments[0] : Json::Value();
    if (command != "kestrix.explain" && command != "kestrix.live") {
      throw ResponseError{kInvalidParams, "unknown command " + command};
    }
    Json::Value words = JsonTexts({"kestrix", command.substr(command.find('.') + 1), Text(Member(about, "log")),
                                   "--config", Text(Member(about, "folder")), "--event", Text(Member(about, "event"))});
    if (command == "kestrix.explain") {
      words.append("--rule");
      words.append(Text(Member(about, "rule")));
    }
    return words;
  }

  // --- The logs ---

  // kestrix.json beside the rules, else what the client gave at the start.
  SurveyLogs logsOf(const Project& project) const {
    Json::Value settings = options_;
    std::string folder = rootFolder_;
    std::ifstream stream(project.folder() + "/" + kSettings, std::ios::binary);
    Json::Value read;
    if (stream.is_open() && ReadJson({std::istreambuf_iterator<char>(stream), {}}, read) && read.isObject()) {
      settings = read;
      folder = project.folder();
    }
    SurveyLogs logs{LogsAt(Member(settings, "logs"), folder), Text(Member(settings, "pinnedLog"))};
    if (logs.pinned.empty()) return logs;
    logs.pinned = (std::filesystem::path(folder) / logs.pinned).lexically_normal();
    const bool isAmong = std::find(logs.paths.begin(), logs.paths.end(), logs.pinned) != logs.paths.end();
    if (!isAmong) logs.paths.push_back(logs.pinned);
    return logs;
  }

  void planSurvey(Project& project) {
    surveyed_ = &project;
    surveyTime_ = Clock::now() + kQuietTime;
  }

  void beginSurvey() {
    surveyTime_.reset();
    endSurvey();
    const RuleSnapshot& rules = surveyed_->now();
    if (!rules.matchFile.isUsable() || !rules.assembleFile.isUsable()) return;
    std::set<std::string> eventTypes;
    for (const PlacedEntry& entry : rules.model.entries) {
      for (const PlacedId& id : entry.ids) eventTypes.insert(id.eventType);
    }
    survey_.start(rules.matchFile.text, rules.assembleFile.text, eventTypes, logsOf(*surveyed_));
    if (survey_.isRunning()) reportProgress("begin");
  }

  void endSurvey() {
    if (!survey_.isRunning()) return;
    survey_.stop();
    reportProgress("end");
  }

  void receiveSurvey() {
    if (survey_.receive()) {
      reportProgress("report");
      return;
    }
    reportProgress("end");
    if (refreshesLenses_) sendRequest("workspace/codeLens/refresh", Json::nullValue);
    if (refreshesHints_) sendRequest("workspace/inlayHint/refresh", Json::nullValue);
  }

  void reportProgress(const std::string& kind) {
    if (!hasProgress_) return;
    Json::Value params;
    if (kind == "begin") {
      token_ = "kestrix-logs-" + std::to_string(++lastToken_);
      params["token"] = token_;
      sendRequest("window/workDoneProgress/create", params);
    }
    const Survey& survey = survey_.coming();
    params["token"] = token_;
    params["value"]["kind"] = kind;
    if (kind == "begin") {
      params["value"]["title"] = "Trying the rules on " + std::to_string(survey.total) + " logs";
      params["value"]["cancellable"] = true;
    } else if (kind == "report" && survey.total > 0) {
      params["value"]["percentage"] = JsonNumber(survey.logs * 100 / survey.total);
    }
    sendNotification("$/progress", params);
  }

  const Survey& surveyOf(const Project* project) const {
    static const Survey kNone;
    return project == surveyed_ ? survey_.result() : kNone;
  }

  // --- Waiting ---

  void waitForEvents() {
    pollfd events[] = {{STDIN_FILENO, POLLIN, 0}, {survey_.descriptor(), POLLIN, 0}};  // poll passes over a -1
    int timeout = -1;
    if (surveyTime_) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*surveyTime_ - Clock::now());
      timeout = static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }
    const int ready = poll(events, std::size(events), timeout);
    if (ready == 0 && surveyTime_) beginSurvey();
    if (ready <= 0) return;
    if (events[0].revents != 0) receiveInput();
    if (events[1].revents != 0) receiveSurvey();
  }

  void receiveWaiting() {
    pollfd event = {STDIN_FILENO, POLLIN, 0};
    while (!isAtEnd_ && poll(&event, 1, 0) > 0) receiveInput();
  }

  void receiveInput() {
    char buffer[64 * 1024];
    const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
    if (size < 0 && errno == EINTR) return;
    if (size <= 0) {
      isAtEnd_ = true;
    } else {
      reader_.append({buffer, static_cast<size_t>(size)});
    }
  }

  MessageReader reader_;
  std::deque<Json::Value> waiting_;
  std::set<std::string> cancelled_;  // ids of requests, as JSON
  bool isInitialized_ = false;
  bool isShutDown_ = false;
  bool isOver_ = false;
  bool isAtEnd_ = false;  // of standard input
  PositionEncoding encoding_ = PositionEncoding::kUtf16;
  bool hasProgress_ = false;
  bool refreshesLenses_ = false;
  bool refreshesHints_ = false;
  Json::Value options_;
  std::string rootFolder_;
  int lastRequest_ = 0;

  std::map<std::string, std::unique_ptr<Project>> projects_;  // by folder
  Checker checker_;
  std::set<Project*> unchecked_;
  std::map<Project*, std::vector<Problem>> problems_;

  LogSurvey survey_;
  Project* surveyed_ = nullptr;
  std::optional<Clock::time_point> surveyTime_;
  std::string token_;
  int lastToken_ = 0;
};

}  // namespace

int ServeLanguage() { return Server().serve(); }
