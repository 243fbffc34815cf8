#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A JSON string with its quotation marks; both UTF-8. What is not valid UTF-8 becomes U+FFFD.
std::string JsonText(std::string_view utf8);

/// An array of values that are JSON already.
std::string JsonList(const std::vector<std::string>& values);

/// An object; the values are JSON already, the keys are names without anything to escape.
std::string JsonObject(const std::vector<std::pair<std::string, std::string>>& members);
