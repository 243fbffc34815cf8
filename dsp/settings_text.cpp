// The settings text: effect name, "=X", then the payload (class identifier, state length, state) in
// hexadecimal.

#include "dsp/CMemBuff.h"

#include <windows.h>
#include <cstring>

namespace {

constexpr int kMostNameUnits = 1022;
constexpr int kMostNameBytes = 1024;

// The digit's value, or -1. Lower case is no digit here: the writer never makes it.
int HexValue(wchar_t unit) {
    if (unit >= L'0' && unit <= L'9')
        return unit - L'0';
    if (unit >= L'A' && unit <= L'F')
        return unit - L'A' + 10;
    return -1;
}

} // namespace

bool CMemBuff::WriteHex(const void* bytes, std::int32_t count) {
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    static constexpr std::int32_t kTextBytes = 2 * sizeof(wchar_t); // of each byte
    if (count < 1)
        return true;
    const std::int32_t before = m_size;
    if (count > (INT32_MAX - before) / kTextBytes || !SetSize(before + count * kTextBytes))
        return false;
    const auto* const source = static_cast<const std::uint8_t*>(bytes);
    for (std::int32_t i = 0; i < count; ++i) {
        const wchar_t pair[2] = {kDigits[source[i] >> 4], kDigits[source[i] & 15]};
        std::memcpy(m_data + before + i * kTextBytes, pair, sizeof pair);
    }
    return true;
}

bool CMemBuff::FromSettingsString(const wchar_t* text) {
    Clear();
    if (text == nullptr || *text == L'\0')
        return false;
    wchar_t name[1024];
    int units = 0;
    for (; !(text[0] == L'=' && text[1] == L'X'); ++text) {
        if (*text == L'\0' || units == kMostNameUnits)
            return false;
        name[units++] = *text;
    }
    name[units] = L'\0';
    text += 2;
    char ansi[kMostNameBytes];
    const int converted = ::WideCharToMultiByte(CP_ACP, 0, name, -1, ansi, kMostNameBytes, nullptr, nullptr);
    if (converted < 1)
        return false;
    const std::int32_t length = converted - 1;
    if (!Append(&length, sizeof length) || !Append(ansi, length))
        return false;
    if (*text == L'\0')
        return false;
    for (; *text != L'\0'; text += 2) {
        const int high = HexValue(text[0]);
        const int low = high < 0 ? -1 : HexValue(text[1]);
        if (low < 0)
            return false;
        const auto byte = static_cast<std::uint8_t>(high << 4 | low);
        if (!Append(&byte, 1))
            return false;
    }
    return true;
}
