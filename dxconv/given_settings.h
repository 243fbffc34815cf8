#pragma once

#include <string>

/// The settings text that the user gave: the text itself, or the content of the file (both UTF-8 names; empty
/// = not given, at most one is). Empty when neither is. Throws CError with ExitCode::Effect when the file
/// cannot be read or what it holds is no settings text.
std::wstring GivenSettings(const std::string& text, const std::string& file);
