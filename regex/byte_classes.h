#ifndef REGEX_BYTE_CLASSES_H
#define REGEX_BYTE_CLASSES_H

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <unordered_set>

using ByteSet = std::bitset<256>;

// Gives bytes that no set tells apart one class, and returns the number of classes.
inline size_t ChooseByteClasses(const std::unordered_set<ByteSet>& sets, std::array<uint8_t, 256>& classOf) {
  size_t count = 1;
  classOf.fill(0);
  for (const ByteSet& set : sets) {
    std::array<std::array<uint16_t, 2>, 256> split{};  // per class the classes of its two parts, from 1
    count = 0;
    for (size_t b = 0; b < set.size(); ++b) {
      uint16_t& part = split[classOf[b]][set[b] ? 1 : 0];
      if (part == 0) part = static_cast<uint16_t>(++count);
      classOf[b] = static_cast<uint8_t>(part - 1);
    }
  }
  return count;
}

#endif  // REGEX_BYTE_CLASSES_H
