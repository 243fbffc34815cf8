#pragma once

#include "dxconv/find_effect.h"
#include "dxconv/text.h"

#include <optional>

/// Where a class says that its code lies, per view of the registry. No text: the class is not registered
/// there with an in-process server. On a 32-bit system both views are the same.
struct ClassServers {
    std::optional<std::wstring> in32; ///< absolute path, as this process would load it
    std::optional<std::wstring> in64; ///< as registered
};

ClassServers FindClassServers(const GUID& clsid);

/// Why this program cannot get an object of the class, as the end of a sentence about it ("is installed as a
/// 64-bit class only; ..."). Empty when nothing is wrong with how it is installed, or it isn't at all.
/// showPath: how to write the path of a file with which something is wrong.
std::string InstallationProblem(
    const ClassServers& servers, std::string (*showPath)(std::wstring_view path) = Utf8);

inline std::string InstallationProblem(const GUID& clsid) {
    return InstallationProblem(FindClassServers(clsid));
}

/// A filter of that name (case does not matter) which only 64-bit programs can create.
std::optional<FoundEffect> Find64BitFilter(const std::wstring& name);
