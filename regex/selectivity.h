#ifndef REGEX_SELECTIVITY_H
#define REGEX_SELECTIVITY_H

#include <optional>
#include <string>

#include "regex/regex_tree.h"

// The text that the node stands for when it takes one text only, wherever that stands in a line.
std::optional<std::string> AsLiteral(const RegexNode& node);

// How much the node singles out, in bits: 7 for each byte of a fixed text, 0 for a node that takes every line.
double Selectivity(const RegexNode& node);

// The most selective stretch of the node between loops over nearly all bytes, which is a necessary condition too. Many
// expressions that remember what stood before such a loop make an automaton explode.
RegexNode MostSelectiveStretch(const RegexNode& node);

#endif  // REGEX_SELECTIVITY_H
