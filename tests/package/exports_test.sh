#!/usr/bin/env bash
# usage: tests/package/exports_test.sh LIBRARY NM
# Fails when the library exports anything but what exports.txt lists, or less. Types are written as callers write them,
# whichever standard library spells them out.
set -euo pipefail

list=$(dirname "$0")/exports.txt
"$2" --dynamic --defined-only --demangle --format=posix "$1" |
  sed -E '
    s/ [A-Za-z] [0-9a-f]+( [0-9a-f]+)?$//
    s/\[abi:[a-z0-9]+\]//g
    s/std::__[a-z0-9]+::/std::/g
    s/ >/>/g
    s/std::basic_(string|stringstream)<char, std::char_traits<char>, std::allocator<char>>/std::\1/g
    s/, std::less<[a-z:]+>, std::allocator<std::pair<[a-z:]+ const, [a-z:]+>>//g
    s/, std::allocator<[a-z:]+>//g
    s/, std::deque<[a-z:]+>//g' |
  LC_ALL=C sort |
  diff -u "$list" - || {
  echo "What libKestrix.so exports (+) differs from tests/package/exports.txt (-)." >&2
  exit 1
}
