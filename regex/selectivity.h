#ifndef REGEX_SELECTIVITY_H
#define REGEX_SELECTIVITY_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "regex/regex_tree.h"

// The text that the node stands for when it takes one text only, wherever that stands in a line.
std::optional<std::string> AsLiteral(const RegexNode& node);

// The longest text that every match of the node holds, as far as the tree shows it; it may be empty.
std::string LongestText(const RegexNode& node);

// How much the node singles out, in bits: 7 for each byte of a fixed text, 0 for a node that takes every line.
double Selectivity(const RegexNode& node);

// The most selective of the nodes; with none, a node that takes every line.
RegexNode MostSelective(std::vector<RegexNode> nodes);

// The stretches of the node between loops over more than `widest` of the ASCII characters. A line that the node takes
// holds all of them, but in which order is lost: many expressions that remember what stood before such a loop make an
// automaton explode.
inline constexpr size_t kNearlyAllCharacters = 95;
std::vector<RegexNode> Stretches(const RegexNode& node, size_t widest);

#endif  // REGEX_SELECTIVITY_H
