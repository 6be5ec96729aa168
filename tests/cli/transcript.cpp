#include "tests/cli/transcript.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string OutputOf(const std::string& folder, const std::string& commandLine) {
  const std::string script =
      "exec 2>&1; cd '" + folder + "' && kestrix() { " KESTRIX_PROGRAM " \"$@\"; } && " + commandLine;
  FILE* pipe = popen(script.c_str(), "r");
  std::string output;
  for (char buffer[4096]; fgets(buffer, sizeof buffer, pipe) != nullptr;) output += buffer;
  return output + "-> " + std::to_string(WEXITSTATUS(pclose(pipe))) + "\n";
}

int ExpectTranscript(const std::string& folder) {
  std::istringstream transcript(ReadFile(folder + "/expected.txt"));
  std::string commandLine;
  std::string expected;
  int count = 0;
  for (std::string line; std::getline(transcript, line);) {
    if (line.starts_with("$ ")) {
      commandLine = line.substr(2);
      expected.clear();
      continue;
    }
    expected += line + "\n";
    if (!line.starts_with("-> ")) continue;
    EXPECT_EQ(expected, OutputOf(folder, commandLine)) << commandLine;
    ++count;
  }
  return count;
}
