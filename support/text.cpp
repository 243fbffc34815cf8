#include "support/text.h"

#include <windows.h>

std::wstring AnsiToWide(const char* ansi) {
    if (ansi == nullptr || *ansi == '\0')
        return {};
    const int units = ::MultiByteToWideChar(CP_ACP, 0, ansi, -1, nullptr, 0);
    if (units <= 1)
        return {};
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, ansi, -1, wide.data(), units);
    wide.resize(wide.size() - 1);
    return wide;
}

std::string WideToAnsi(const wchar_t* wide) {
    if (wide == nullptr || *wide == L'\0')
        return {};
    const int bytes = ::WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 1)
        return {};
    std::string ansi(static_cast<std::size_t>(bytes), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, wide, -1, ansi.data(), bytes, nullptr, nullptr);
    ansi.resize(ansi.size() - 1);
    return ansi;
}
