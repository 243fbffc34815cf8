#pragma once

#include <string>
#include <vector>

/// The one of `names` that `wanted` is most likely a slip of the keyboard of: fewest letters left out, added,
/// changed or swapped with their neighbour, without regard to case. Empty when none is near.
std::wstring NearestName(const std::wstring& wanted, const std::vector<std::wstring>& names);
