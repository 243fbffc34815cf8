#include "dxconv/settings_text.h"

#include "dxconv/text.h"
#include "dxconv/wav_format.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::wstring_view kSeparator = L"=X";
constexpr std::size_t kLongestName = 1022;
constexpr std::size_t kFixedBytes = sizeof(GUID) + sizeof(std::uint32_t);
constexpr std::wstring_view kDigits = L"0123456789ABCDEF";

// The bytes from position `first` on, for two digits each.
template <typename T>
T HexValue(std::wstring_view hex, std::size_t first) {
    std::uint8_t bytes[sizeof(T)];
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        const std::size_t at = 2 * (first + i);
        bytes[i] = static_cast<std::uint8_t>(kDigits.find(hex[at]) * 16 + kDigits.find(hex[at + 1]));
    }
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

std::wstring_view HexPart(const std::wstring& settings) {
    return std::wstring_view(settings).substr(settings.find(kSeparator) + kSeparator.size());
}

} // namespace

std::wstring MakeSettings(
    const std::wstring& name, const GUID& clsid, const std::vector<unsigned char>& state) {
    std::vector<unsigned char> payload(kFixedBytes);
    std::memcpy(payload.data(), &clsid, sizeof clsid);
    StoreLe(payload.data() + sizeof clsid, static_cast<std::uint32_t>(state.size()));
    payload.insert(payload.end(), state.begin(), state.end());

    std::wstring text = name.substr(0, std::min(name.find(kSeparator), kLongestName));
    text += kSeparator;
    text.reserve(text.size() + 2 * payload.size());
    for (const unsigned char byte : payload) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

bool IsSettings(const std::wstring& settings) {
    const std::size_t separator = settings.find(kSeparator);
    if (separator > kLongestName)
        return false;
    const std::wstring_view hex = HexPart(settings);
    if (hex.find_first_not_of(kDigits) != hex.npos || hex.size() % 2 != 0 || hex.size() / 2 < kFixedBytes)
        return false;
    return hex.size() / 2 - kFixedBytes >= HexValue<std::uint32_t>(hex, sizeof(GUID));
}

GUID SettingsClsid(const std::wstring& settings) {
    return IsSettings(settings) ? HexValue<GUID>(HexPart(settings), 0) : GUID{};
}

bool DecodeTextFile(const std::vector<unsigned char>& content, std::wstring& text) {
    const bool little = content.size() >= 2 && content[0] == 0xFF && content[1] == 0xFE;
    const bool big = content.size() >= 2 && content[0] == 0xFE && content[1] == 0xFF;
    text.clear();
    if (little || big) {
        for (std::size_t i = 2; i + 1 < content.size(); i += 2)
            text += static_cast<wchar_t>(content[i + (big ? 1 : 0)] | content[i + (big ? 0 : 1)] << 8);
    } else if (!content.empty()) {
        const auto* bytes = reinterpret_cast<const char*>(content.data());
        const int size = static_cast<int>(content.size());
        if (::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, size, nullptr, 0) == 0)
            return false;
        text = Wide({bytes, content.size()});
        text.erase(0, text.starts_with(L'\xFEFF') ? 1 : 0);
    }
    text.erase(text.find_last_not_of(L"\r\n") + 1);
    return true;
}
