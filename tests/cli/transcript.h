#ifndef TESTS_CLI_TRANSCRIPT_H
#define TESTS_CLI_TRANSCRIPT_H

#include <string>

// The content of a file; a failure when it cannot be read.
std::string ReadFile(const std::string& path);

// Runs a command line, in which "kestrix" is the program, in a folder. Returns all its output and, as "-> 1", its
// status.
std::string OutputOf(const std::string& folder, const std::string& commandLine);

// Expects that each block of the file expected.txt in `folder`, a command line behind "$ ", what it prints and its
// status, is what the program does there. Returns the number of blocks.
int ExpectTranscript(const std::string& folder);

#endif  // TESTS_CLI_TRANSCRIPT_H
