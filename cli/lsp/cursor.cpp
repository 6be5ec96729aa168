#include "cli/lsp/cursor.h"

#include <algorithm>

namespace {

struct Level {
  bool isObject;
  ObjectKind object;
  std::string key;  // that leads to it
  std::string member = "";
  bool isValue = false;  // behind the colon
};

ObjectKind InnerOf(const Level& outer) {
  if (!outer.isObject) return outer.object;  // what an array holds
  const MemberRow* row = FindMemberRow(outer.object, outer.member);
  return row != nullptr ? row->inner : ObjectKind::kNone;
}

class CursorReader {
 public:
  CursorReader(std::string_view text, size_t offset, FileKind kind)
      : text_(text.substr(0, offset)),
        root_(kind == FileKind::kMatch ? ObjectKind::kMatchRoot : ObjectKind::kAssembleRoot) {}

  Cursor read() {
    while (pos_ < text_.size() && !isOpenText_) step();
    Cursor cursor;
    for (const Level& level : levels_) cursor.keys.push_back(level.key);
    if (!cursor.keys.empty()) cursor.keys.erase(cursor.keys.begin());  // of the root
    const Level* inner = levels_.empty() ? nullptr : &levels_.back();
    if (inner != nullptr) cursor.object = inner->object;
    cursor.isInText = isOpenText_;
    cursor.isKey = inner != nullptr && inner->isObject && !inner->isValue;
    if (inner != nullptr && inner->isObject && inner->isValue) cursor.member = inner->member;
    cursor.textBegin = isOpenText_ ? textBegin_ : text_.size();
    cursor.before = std::string(text_.substr(cursor.textBegin));
    return cursor;
  }

 private:
  void step() {
    const char c = text_[pos_++];
    Level* inner = levels_.empty() ? nullptr : &levels_.back();
    if (c == '"') {
      readText();
    } else if (c == '{' || c == '[') {
      open(c == '{');
    } else if ((c == '}' || c == ']') && inner != nullptr) {
      levels_.pop_back();
    } else if (c == ':' && inner != nullptr) {
      inner->isValue = true;
    } else if (c == ',' && inner != nullptr) {
      inner->isValue = false;
      inner->member.clear();
    }
  }

  void open(bool isObject) {
    if (levels_.empty()) {
      levels_.push_back({isObject, root_, ""});
      return;
    }
    const Level& outer = levels_.back();
    levels_.push_back({isObject, InnerOf(outer), outer.isObject ? outer.member : ""});
  }

  void readText() {
    textBegin_ = pos_;
    while (pos_ < text_.size() && text_[pos_] != '"' && text_[pos_] != '\n') pos_ += text_[pos_] == '\\' ? 2 : 1;
    pos_ = std::min(pos_, text_.size());
    if (pos_ == text_.size()) {
      isOpenText_ = true;
      return;
    }
    if (!levels_.empty() && levels_.back().isObject && !levels_.back().isValue) {
      levels_.back().member = std::string(text_.substr(textBegin_, pos_ - textBegin_));
    }
    ++pos_;  // the quote, or the line's end where one is missing
  }

  std::string_view text_;
  ObjectKind root_;
  size_t pos_ = 0;
  size_t textBegin_ = 0;
  bool isOpenText_ = false;
  std::vector<Level> levels_;
};

}  // namespace

Cursor CursorAt(std::string_view text, size_t offset, FileKind kind) { return CursorReader(text, offset, kind).read(); }
