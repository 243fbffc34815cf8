#include "dxconv/CHostLogs.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/text.h"

#include <algorithm>

namespace {

// Append access alone, so that programs that share a folder do not overwrite each other's lines.
CKernelHandle OpenLog(const std::wstring& path, const std::string& name, DWORD flags) {
    CKernelHandle log = OpenHandle(
        path, GENERIC_READ | FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS, flags);
    if (!log)
        throw CError(
            ExitCode::Output, name, "cannot be written: " + SystemErrorText() + "; choose another --log-dir");
    return log;
}

CKernelHandle OpenLogIn(const std::string& folder, const char* file) {
    const std::string name = folder + "\\" + file;
    return OpenLog(FullPath(name), name, FILE_ATTRIBUTE_NORMAL);
}

} // namespace

CHostLogs::CHostLogs(const std::string& folder) {
    if (folder.empty()) {
        m_error = OpenLog(TemporaryName(TemporaryFolder()), "temporary error log",
            FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE);
        return;
    }
    MakeFolder(folder);
    m_error = OpenLogIn(folder, "error.log");
    m_info = OpenLogIn(folder, "info.log");
    m_trace = OpenLogIn(folder, "trace.log");
    ::GetFileSizeEx(m_error.Get(), &m_start);
}

std::string CHostLogs::LastError() const {
    constexpr LONGLONG kLongestTailBytes = 4096;
    LARGE_INTEGER from{};
    if (!::GetFileSizeEx(m_error.Get(), &from))
        return {};
    from.QuadPart = std::max(m_start.QuadPart, from.QuadPart - kLongestTailBytes);
    std::wstring text(kLongestTailBytes / sizeof(wchar_t), L'\0');
    std::size_t got = 0;
    ::SetFilePointerEx(m_error.Get(), from, nullptr, FILE_BEGIN);
    ReadFully(m_error.Get(), text.data(), static_cast<std::size_t>(kLongestTailBytes), got);
    text.resize(got / sizeof(wchar_t));
    text.erase(text.find_last_not_of(L"\r\n") + 1);
    return Utf8(text.substr(text.find_last_of(L'\n') + 1));
}
