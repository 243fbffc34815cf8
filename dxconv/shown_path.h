#pragma once

#include <string>
#include <string_view>

/// The path as it may be shown to strangers, UTF-8: without the names of users and machines. ".\x.dll" lies
/// beside this program, "%USERPROFILE%\x.dll" below a folder that every system has; of any other path the
/// last name alone is left. path: absolute.
std::string ShownPath(std::wstring_view path);
