#include "util/file_util.h"
#include "util/trace_cut.h"

void FileUtil::GetTrace(std::stringstream& buffer, int offset, const std::string& frameRegex, std::string& trace,
                        std::string startRegex) {
  ExpressionCache expressions;
  TraceCut cut(expressions, frameRegex, startRegex);
  buffer.seekg(offset, std::ios::beg);
  for (std::string line; std::getline(buffer, line) && cut.take(line, trace);) {
  }
}
