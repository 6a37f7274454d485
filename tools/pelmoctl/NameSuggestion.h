// The nearest known name to a misspelt one, for "did you mean" hints.
#pragma once

#include <string>
#include <vector>

// Levenshtein distance over bytes (insert, delete, substitute; each costs 1).
size_t EditDistance(const std::string& sFrom, const std::string& sTo);

// The known name closest to sName, or "" when none is close enough to be a plausible
// misspelling. A name that only lacks a known prefix common to the candidates (for example
// "title" for "tile_title") counts as close. Ties go to the earlier candidate.
std::string SuggestName(const std::string& sName, const std::vector<std::string>& vecKnown,
                        const std::string& sCommonPrefix = std::string());
