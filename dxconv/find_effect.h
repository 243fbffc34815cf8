#pragma once

#include <windows.h>
#include <string>

struct FoundEffect {
    GUID clsid{};
    std::wstring name;
};

/// The installed effect that has the name (case does not matter) or the class id "{...}" (one that is not
/// listed is taken as it is). Throws CError with ExitCode::Effect when there is none, or more than one of
/// that name.
FoundEffect FindEffect(const std::string& nameOrClsid);

/// "{...}" in upper case.
std::wstring ClsidText(const GUID& clsid);
