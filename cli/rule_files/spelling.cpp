#include "cli/rule_files/spelling.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "cli/output/terminal.h"

namespace {

std::string Normalized(std::string_view word) {
  std::string text;
  for (const char c : word) {
    if (c != ' ') text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

}  // namespace

size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> beforeLast(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 1; i <= a.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[b.size()];
}

std::string NearestTo(std::string_view word, const std::vector<std::string>& candidates) {
  const std::string wanted = Normalized(word);
  size_t best = std::max<size_t>(1, wanted.size() / 3) + 1;
  std::string nearest;
  for (const std::string& candidate : candidates) {
    const size_t distance = EditDistance(wanted, Normalized(candidate));
    if (distance >= best || candidate == word) continue;
    best = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string DidYouMean(std::string_view suggestion) {
  return suggestion.empty() ? "" : "; did you mean " + Quoted(suggestion) + "?";
}

std::string Listed(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) list += (list.empty() ? "" : ", ") + word;
  return list;
}

size_t InvisibleAt(std::string_view text) {
  for (const std::string_view bytes :
       {kNoBreakSpace, std::string_view("\xc2\xad"), std::string_view("\xe2\x80\x8b"), std::string_view("\xe2\x80\x8c"),
        std::string_view("\xe2\x80\x8d"), std::string_view("\xe2\x81\xa0"), std::string_view("\xef\xbb\xbf")}) {
    if (text.starts_with(bytes)) return bytes.size();
  }
  return 0;
}

std::string WithoutInvisible(const std::string& text) {
  std::string visible;
  for (size_t pos = 0; pos < text.size();) {
    const size_t size = InvisibleAt(std::string_view(text).substr(pos));
    if (size == 0) visible += text[pos];
    pos += size == 0 ? 1 : size;
  }
  return visible;
}
