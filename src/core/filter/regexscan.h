#pragma once
// What a regular expression tells a search of whole text, read from the
// pattern's own text. Both readings are conservative: a construct they do
// not follow makes them answer nothing rather than guess. Pure functions;
// any thread.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vf::filter {

// Whether a group of `pattern` may turn on the option `flag` ('i', 'x' ...).
bool mayTurnOn(std::string_view pattern, char flag);

// Words one of which (in lower-case ASCII, matched in any ASCII case)
// every match of `pattern` holds: for each top-level alternative, its
// longest run of literal ASCII characters outside groups and classes.
// Empty when an alternative has none, or the pattern uses \Q or extended
// mode, or a class holding '['.
std::vector<std::string> requiredWords(std::string_view pattern);

// `pattern` with its anchors and word boundaries (^ $ \A \z \Z \G \b \B)
// dropped: every match it has inside a field is then a match inside any
// text around the field. Nullopt when the pattern holds other things whose
// matches depend on the text around them (lookaround, atomic groups,
// possessive quantifiers, verbs, conditions, recursion, \K, \g, \k, \Q,
// extended mode, a quantified anchor).
std::optional<std::string> wholeTextPattern(std::string_view pattern);

}  // namespace vf::filter
