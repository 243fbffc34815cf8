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

std::string JsonList(const std::vector<std::string>& values) {
    std::string json = "[";
    for (const std::string& value : values)
        json.append(json.size() == 1 ? "" : ",").append(value);
    return json + ']';
}

std::string JsonObject(const std::vector<std::pair<std::string, std::string>>& members) {
    std::string json = "{";
    for (const auto& [key, value] : members)
        json.append(json.size() == 1 ? "\"" : ",\"").append(key).append("\":").append(value);
    return json + '}';
}
