#include "support/text.h"

#include <doctest/doctest.h>

TEST_CASE("text of the ANSI code page survives the way to UTF-16 and back") {
    for (const std::string& text : {std::string(), std::string("a \xE9\xC0\xDF~"), std::string(5000, 'e')}) {
        CHECK(AnsiToWide(text.c_str()).size() == text.size());
        CHECK(WideToAnsi(AnsiToWide(text.c_str()).c_str()) == text);
    }
    CHECK((AnsiToWide(nullptr).empty() && WideToAnsi(nullptr).empty()));
    CHECK(WideToAnsi(L"a\u4E2Db") == "a?b"); // what the code page lacks
}
