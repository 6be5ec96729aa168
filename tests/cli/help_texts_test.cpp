#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string OutputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  for (char buffer[4096]; fgets(buffer, sizeof buffer, pipe) != nullptr;) output += buffer;
  pclose(pipe);
  return output;
}

TEST(Completion, CompletesInBash) {
  const struct {
    const char* words;  // of the command line; the last one is completed
    const char* candidates;
  } kCases[] = {
      {"kestrix ana", "analyze "},
      {"kestrix --vers", "--version "},
      {"kestrix check --s", "--strict "},
      {"kestrix check --format s", "sarif "},
      {"kestrix check rules --print m", "match-schema "},
      {"kestrix analyze --config /us", "/usr "},
      {"kestrix analyze log --event cra", ""},
      {"kestrix analyze --config " KESTRIX_SOURCE_DIR "/examples/rules log --event a", "app_not_responding "},
      {"kestrix diff --old none --new " KESTRIX_SOURCE_DIR "/examples/rules --event java", "java_crash "},
      {"kestrix explain --config " KESTRIX_SOURCE_DIR "/tests/data-explain/rules --rule gr", "greedy "},
      {"kestrix explain --config " KESTRIX_SOURCE_DIR "/tests/data-explain/rules --key S", "SEC_FRAME STACK "},
      {"kestrix explain --config none --key S", ""},
      {"kestrix check --why path-never", "path-never-fits "},
      {"kestrix check " KESTRIX_SOURCE_DIR "/CMakeLis", KESTRIX_SOURCE_DIR "/CMakeLists.txt "},
  };
  for (const auto& [words, candidates] : kCases) {
    const std::string script = std::string("source <(" KESTRIX_PROGRAM " completion); kestrix() { " KESTRIX_PROGRAM
                                           " \"$@\"; }; COMP_WORDS=(") +
                               words +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]}-1)); _kestrix; printf \"%s \" \"${COMPREPLY[@]}\"";
    const std::string expected = *candidates == '\0' ? " " : candidates;  // printf prints once without arguments
    EXPECT_EQ(expected, OutputOf("bash -c \"$(cat <<'END'\n" + script + "\nEND\n)\"")) << words;
  }
}

TEST(ManPage, HoldsTheTextsOfTheHelp) {
  const std::string page = OutputOf(KESTRIX_PROGRAM " man");
  for (const char* part : {".TH KESTRIX 1 ", ".SS kestrix analyze [OPTIONS] LOG\n",
                           "\\fB\\-\\-format\\fR \\fIFORMAT=text|json|sarif\\fR\n", "Let warnings count like errors\n",
                           ".nf\nkestrix check rules\n.fi\n"}) {
    EXPECT_NE(std::string::npos, page.find(part)) << part;
  }
}

}  // namespace
