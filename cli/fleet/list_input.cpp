#include "cli/fleet/list_input.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "cli/library/input.h"

namespace {

constexpr std::string_view kUtf8Mark = "\xef\xbb\xbf";
constexpr std::string_view kUtf16Marks[] = {"\xff\xfe", "\xfe\xff"};
constexpr char kName[] = "standard input";

}  // namespace

ListInput::ListInput(bool endsInZero) : end_(endsInZero ? '\0' : '\n'), knowsKind_(endsInZero) {}

ListInput::Next ListInput::next(std::string& item) {
  if (const Next kind = findKind(); kind != Next::kItem) return kind;
  size_t end = input_.find(end_, begin_);
  if (end == std::string::npos) {
    input_.erase(0, begin_);
    begin_ = 0;
  }
  while (end == std::string::npos) {
    const size_t searched = input_.size();
    const Next more = readMore();
    if (more == Next::kWait || (more == Next::kEnd && input_.empty())) return more;
    end = more == Next::kEnd ? input_.size() : input_.find(end_, searched);
    // Of an item that is too long the beginning is enough to name it.
    if (end == std::string::npos && input_.size() > 2 * kMaxItem) input_.erase(kMaxItem + 1, kMaxItem);
  }
  ++number_;
  item = input_.substr(begin_, end - begin_);
  begin_ = std::min(end + 1, input_.size());
  if (end_ == '\n' && item.ends_with('\r')) item.pop_back();
  return Next::kItem;
}

// kWait when reading would block.
ListInput::Next ListInput::readMore() {
  pollfd event = {STDIN_FILENO, POLLIN, 0};
  if (poll(&event, 1, 0) == 0) return Next::kWait;
  char buffer[64 * 1024];
  const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
  if (size < 0 && errno == EINTR) return Next::kWait;
  if (size < 0) throw InputError(kName, std::generic_category().message(errno));
  if (size == 0) return Next::kEnd;
  input_.append(buffer, static_cast<size_t>(size));
  return Next::kItem;
}

// Looks at the beginning of the list until it is clear how its items end.
ListInput::Next ListInput::findKind() {
  while (!knowsKind_) {
    const size_t firstEnd = input_.find_first_of(std::string_view("\n\0", 2));
    const bool isClear = firstEnd != std::string::npos && (input_[firstEnd] == '\n' || input_.size() >= 4);
    const Next more = isClear || input_.size() > kMaxItem ? Next::kItem : readMore();
    if (more == Next::kWait) return more;
    knowsKind_ = isClear || more == Next::kEnd || input_.size() > kMaxItem;
    if (!knowsKind_) continue;
    if (isUtf16(firstEnd)) throw InputError(kName, "the list is UTF-16; it has to be UTF-8");
    if (firstEnd != std::string::npos) end_ = input_[firstEnd];
    if (input_.starts_with(kUtf8Mark)) begin_ = kUtf8Mark.size();
  }
  return Next::kItem;
}

// With or without its mark. No path is empty, and two of one byte in a row are less likely.
bool ListInput::isUtf16(size_t firstEnd) const {
  const auto isZero = [this](size_t at) { return at < input_.size() && input_[at] == '\0'; };
  return std::any_of(std::begin(kUtf16Marks), std::end(kUtf16Marks),
                     [this](std::string_view mark) { return input_.starts_with(mark); }) ||
         (firstEnd == 0 && isZero(0)) || (firstEnd == 1 && isZero(1) && isZero(3));
}
