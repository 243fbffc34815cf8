#include "dxconv/files.h"

#include "dxconv/CError.h"
#include "dxconv/text.h"

#include <algorithm>

namespace {

constexpr std::size_t kLongestPlainPath = 240; // folders end at 248, files at 260
constexpr std::size_t kLongestPath = 32768;
constexpr std::size_t kTransferBytes = 16 * 1024 * 1024;
constexpr std::size_t kLargestSmallFile = 64 * 1024 * 1024;

} // namespace

std::wstring FullPath(const std::wstring& name) {
    const DWORD units = ::GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    std::wstring path(units, L'\0');
    path.resize(::GetFullPathNameW(name.c_str(), units, path.data(), nullptr));
    if (path.size() < kLongestPlainPath || path.starts_with(LR"(\\?\)") || path.starts_with(LR"(\\.\)"))
        return path;
    return path.starts_with(LR"(\\)") ? LR"(\\?\UNC)" + path.substr(1) : LR"(\\?\)" + path;
}

std::wstring FullPath(const std::string& name) {
    return FullPath(Wide(name));
}

std::wstring OwnPath() {
    std::wstring path(kLongestPath, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

std::wstring OwnFolder() {
    const std::wstring path = OwnPath();
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

CKernelHandle OpenHandle(
    const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    const HANDLE file = ::CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
    return file == INVALID_HANDLE_VALUE ? CKernelHandle() : CKernelHandle(file);
}

void MakeFolder(const std::string& name) {
    const std::wstring path = FullPath(name);
    for (std::size_t end = path.find(L'\\');
         end != path.npos;) { // what can't be made so is there, or shows below
        end = path.find(L'\\', end + 1);
        ::CreateDirectoryW(path.substr(0, end).c_str(), nullptr);
    }
    const DWORD error = ::GetLastError();
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        throw CError(ExitCode::Output, name,
            "cannot be made a folder: " + SystemErrorText(error) + "; choose another place");
}

std::wstring TemporaryFolder() {
    wchar_t folder[MAX_PATH + 1];
    const DWORD units = ::GetTempPathW(ARRAYSIZE(folder), folder);
    return {folder, units};
}

std::wstring TemporaryName(const std::wstring& folder) {
    static unsigned given = 0;
    return FullPath(folder + L"dxconv-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
                    std::to_wstring(::GetTickCount()) + L"-" + std::to_wstring(given++) + L".tmp");
}

bool ReadFully(HANDLE file, void* buffer, std::size_t bytes, std::size_t& got) {
    for (got = 0; got < bytes;) {
        const auto wanted = static_cast<DWORD>(std::min(bytes - got, kTransferBytes));
        DWORD read = 0;
        if (!::ReadFile(file, static_cast<char*>(buffer) + got, wanted, &read, nullptr))
            return ::GetLastError() == ERROR_BROKEN_PIPE;
        if (read == 0)
            break;
        got += read;
    }
    return true;
}

bool WriteFully(HANDLE file, const void* bytes, std::size_t count) {
    for (std::size_t done = 0; done < count;) {
        const auto wanted = static_cast<DWORD>(std::min(count - done, kTransferBytes));
        DWORD written = 0;
        if (!::WriteFile(file, static_cast<const char*>(bytes) + done, wanted, &written, nullptr))
            return false;
        if (written == 0) {
            ::SetLastError(ERROR_DISK_FULL);
            return false;
        }
        done += written;
    }
    return true;
}

std::vector<unsigned char> ReadSmallFile(const std::string& name, const char* option) {
    const CKernelHandle file =
        OpenHandle(FullPath(name), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    LARGE_INTEGER size{};
    std::size_t got = 0;
    if (!file || !::GetFileSizeEx(file.Get(), &size))
        throw CError(ExitCode::Effect, name, "cannot be read: " + SystemErrorText() + "; check " + option);
    if (static_cast<ULONGLONG>(size.QuadPart) > kLargestSmallFile)
        throw CError(ExitCode::Effect, name, std::string("is too large for an effect; check ") + option);
    std::vector<unsigned char> content(static_cast<std::size_t>(size.QuadPart));
    if (!ReadFully(file.Get(), content.data(), content.size(), got))
        throw CError(ExitCode::Effect, name, "cannot be read: " + SystemErrorText() + "; check " + option);
    content.resize(got);
    return content;
}
