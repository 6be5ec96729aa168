#ifndef CLI_LIBRARY_NO_FINGERPRINT_H
#define CLI_LIBRARY_NO_FINGERPRINT_H

// What the library gives as "FINGERPRINT" when nothing is left of a stack: not one by which failures are alike.
inline constexpr char kNoFingerprint[] = "0";

#endif  // CLI_LIBRARY_NO_FINGERPRINT_H
