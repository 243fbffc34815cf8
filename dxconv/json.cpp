#include "dxconv/json.h"

#include "dxconv/text.h"

#include <cstdio>

std::string JsonText(std::string_view utf8) {
    std::string json = "\"";
    for (const char c : Utf8(Wide(utf8))) { // there and back puts U+FFFD in the place of what is not valid
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            json += escape;
            continue;
        }
        if (c == '"' || c == '\\')
            json += '\\';
        json += c;
    }
    return json + '"';
}
