#ifndef CLI_OUTPUT_EXIT_STATUS_H
#define CLI_OUTPUT_EXIT_STATUS_H

// Exit statuses that all commands share: kNegative is an answer too (nothing was found, a case failed, a rule never
// fired), kBadInput none.
enum ExitStatus { kSuccess = 0, kNegative = 1, kBadInput = 2 };

#endif  // CLI_OUTPUT_EXIT_STATUS_H
