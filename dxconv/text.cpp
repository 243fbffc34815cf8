#include "dxconv/text.h"

#include "dxconv/files.h"
#include "dxconv/standard_output.h"

#include <algorithm>

std::wstring Wide(std::string_view utf8) {
    const int bytes = static_cast<int>(utf8.size());
    const int units = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), units);
    return wide;
}

std::string Utf8(std::wstring_view wide) {
    const int units = static_cast<int>(wide.size());
    const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(bytes), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
}

std::string SystemErrorText(DWORD error) {
    wchar_t text[512];
    const DWORD units = ::FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr,
        error, 0, text, ARRAYSIZE(text), nullptr);
    std::string line = Utf8({text, units});
    line.erase(line.find_last_not_of(" .\r\n") + 1);
    return line.empty() ? "system error " + std::to_string(error) : line;
}

bool IsConsole(DWORD standardHandle) {
    DWORD mode = 0;
    return ::GetConsoleMode(StandardHandle(standardHandle), &mode) != FALSE;
}

bool Print(DWORD standardHandle, std::string_view utf8) {
    const HANDLE handle = StandardHandle(standardHandle);
    if (!IsConsole(standardHandle))
        return WriteFully(handle, utf8.data(), utf8.size());
    const std::wstring wide = Wide(utf8);
    DWORD written = 0;
    return ::WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) &&
           written == wide.size();
}

void PrintErrorLine(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    Print(STD_ERROR_HANDLE, "dxconv: " + line + "\n");
}
