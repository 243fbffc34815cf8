#pragma once

#include <windows.h>
#include <string>

struct FoundEffect {
    GUID clsid{};
    std::wstring name;
};

/// The installed effect that has the name (case does not matter) or the class id "{...}" (one that is not
/// listed is taken as it is), even one that only 64-bit programs can create. Throws CError with
/// ExitCode::Effect when there is none, with the nearest name, or more than one of that name.
FoundEffect FindInstalled(const std::string& nameOrClsid);

/// The same for an effect that is to be used: throws also when InstallationProblem knows why it can't be.
FoundEffect FindEffect(const std::string& nameOrClsid);

/// "{...}" in upper case.
std::wstring ClsidText(const GUID& clsid);
