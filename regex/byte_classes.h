#ifndef REGEX_BYTE_CLASSES_H
#define REGEX_BYTE_CLASSES_H

#include <array>
#include <bit>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_set>

using ByteSet = std::bitset<256>;

// The one byte of a set; nothing when there are none or several. Asked of each byte of an expression: the standard
// libraries keep a set in words, lowest bits first.
inline std::optional<char> OnlyByte(const ByteSet& bytes) {
  const auto words = std::bit_cast<std::array<uint64_t, 4>>(bytes);
  std::optional<char> only;
  for (size_t i = 0; i < words.size(); ++i) {
    const uint64_t word = words[i];
    if (word == 0) continue;
    if (only || (word & (word - 1)) != 0) return std::nullopt;
    only = static_cast<char>(64 * i + static_cast<size_t>(std::countr_zero(word)));
  }
  return only;
}

// Gives bytes that no set tells apart one class, and returns the number of classes. Most sets are of one byte, which
// has a class of its own.
template <typename ByteSets>
size_t ChooseByteClasses(const ByteSets& sets, std::array<uint8_t, 256>& classOf) {
  ByteSet alone;
  std::unordered_set<ByteSet> others;
  for (const ByteSet& set : sets) {
    if (OnlyByte(set)) {
      alone |= set;
    } else if (set.any()) {
      others.insert(set);
    }
  }
  size_t count = 1;
  classOf.fill(0);
  for (const ByteSet& set : others) {
    std::array<std::array<uint16_t, 2>, 256> split{};  // per class the classes of its two parts, from 1
    count = 0;
    for (size_t b = 0; b < set.size(); ++b) {
      uint16_t& part = split[classOf[b]][set[b] ? 1 : 0];
      if (part == 0) part = static_cast<uint16_t>(++count);
      classOf[b] = static_cast<uint8_t>(part - 1);
    }
  }
  std::array<uint16_t, 256> members{};
  for (const uint8_t byteClass : classOf) ++members[byteClass];
  for (size_t b = 0; b < alone.size(); ++b) {
    if (!alone[b] || members[classOf[b]] == 1) continue;
    --members[classOf[b]];
    classOf[b] = static_cast<uint8_t>(count);
    members[count++] = 1;
  }
  return count;
}

#endif  // REGEX_BYTE_CLASSES_H
