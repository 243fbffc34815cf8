#pragma once

#include <string>
#include <string_view>

/// A JSON string with its quotation marks; both UTF-8. What is not valid UTF-8 becomes U+FFFD.
std::string JsonText(std::string_view utf8);
