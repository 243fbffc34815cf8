#include "dxconv/nearest_name.h"

#include <windows.h>
#include <algorithm>

namespace {

constexpr std::size_t kLettersPerSlip =
    3; // one slip in a name of three letters is near, in one of two it isn't
constexpr std::size_t kLongestName = 256; // units that are compared

std::wstring Folded(const std::wstring& name) {
    std::wstring folded = name.substr(0, kLongestName);
    ::CharUpperBuffW(folded.data(), static_cast<DWORD>(folded.size()));
    return folded;
}

// How many slips lie between the two. No letter takes part in more than one.
std::size_t Slips(const std::wstring& left, const std::wstring& right) {
    std::vector<std::size_t> before, above, row(right.size() + 1); // two rows up, one row up
    for (std::size_t j = 0; j <= right.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= left.size(); ++i) {
        before.swap(above);
        above = row;
        row[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const std::size_t changed = above[j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, changed});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row.back();
}

} // namespace

std::wstring NearestName(const std::wstring& wanted, const std::vector<std::wstring>& names) {
    const std::wstring folded = Folded(wanted);
    std::wstring nearest;
    std::size_t fewest = SIZE_MAX;
    for (const std::wstring& name : names) {
        const std::size_t slips = Slips(folded, Folded(name));
        if (slips < fewest && slips * kLettersPerSlip <= std::max(wanted.size(), name.size())) {
            fewest = slips;
            nearest = name;
        }
    }
    return nearest;
}
