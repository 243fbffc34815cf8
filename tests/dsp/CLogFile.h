#pragma once

#include "support/handles.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <string>

namespace doctest {
template <>
struct StringMaker<std::wstring> {
    static String convert(const std::wstring& text) {
        std::string narrow;
        for (const wchar_t unit : text)
            narrow += unit < 128 ? static_cast<char>(unit) : '?';
        return narrow.c_str();
    }
};
} // namespace doctest

/// A log file that is read back while the module may still write to it.
class CLogFile {
public:
    CLogFile() {
        wchar_t folder[MAX_PATH] = L"";
        wchar_t path[MAX_PATH] = L"";
        ::GetTempPathW(MAX_PATH, folder);
        ::GetTempFileNameW(folder, L"dxw", 0, path);
        m_file.Reset(::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
            FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    }
    HANDLE Get() const { return m_file.Get(); }
    /// What was written since the last call.
    std::wstring Take() {
        LARGE_INTEGER size{};
        LARGE_INTEGER from{};
        ::GetFileSizeEx(m_file.Get(), &size);
        from.QuadPart = m_read;
        ::SetFilePointerEx(m_file.Get(), from, nullptr, FILE_BEGIN);
        std::wstring text(static_cast<std::size_t>(size.QuadPart - m_read + 1) / sizeof(wchar_t), L'\xFFFF');
        DWORD read = 0;
        ::ReadFile(
            m_file.Get(), text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &read, nullptr);
        m_read = size.QuadPart;
        return text;
    }
    /// The same, less the indentation that the first line has (failed calls leave theirs behind).
    std::wstring TakeUnindented() {
        std::wstring text = Take();
        const std::size_t indentation = std::min(text.find_first_not_of(L' '), text.size());
        for (std::size_t at = 0; at < text.size(); at = text.find(L'\n', at) + 1)
            text.erase(at, indentation);
        return text;
    }

private:
    CKernelHandle m_file;
    LONGLONG m_read = 0;
};
