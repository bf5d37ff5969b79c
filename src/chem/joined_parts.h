#pragma once

#include <utility>
#include <vector>

#include "model/document.h"

namespace marvik {

// Pairs of parts whose atoms bond to each other as if they were of one: BIND m n.
using JoinedParts = std::vector<std::pair<int, int>>;
JoinedParts JoinedPartsOf(const Document& document);
bool AreJoined(const JoinedParts& joined, int a, int b);

}  // namespace marvik
