#include "dxconv/conversion_list.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/text.h"

#include <algorithm>
#include <map>

namespace {

using CFindHandle = CHandle<HANDLE, ::FindClose>;

std::size_t NameStart(const std::string& path) {
    return path.find_last_of("\\/:") + 1; // 0 when there is none
}

// Windows shells leave wildcards to the program.
std::vector<std::string> ExpandWildcards(const std::string& pattern) {
    const std::string folder = pattern.substr(0, NameStart(pattern));
    if (pattern.find_first_of("*?", folder.size()) == pattern.npos)
        return {pattern};
    std::vector<std::string> found;
    WIN32_FIND_DATAW entry;
    const HANDLE first = ::FindFirstFileW(FullPath(pattern).c_str(), &entry);
    const CFindHandle search(first == INVALID_HANDLE_VALUE ? nullptr : first);
    for (BOOL more = static_cast<bool>(search); more; more = ::FindNextFileW(search.Get(), &entry))
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            found.push_back(folder + Utf8(entry.cFileName));
    const DWORD error = ::GetLastError();
    if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND)
        throw CError(ExitCode::Input, pattern,
            "its folder cannot be read: " + SystemErrorText(error) + "; check the folder");
    if (found.empty())
        throw CError(ExitCode::Input, pattern, "no file has such a name; check the folder");
    std::sort(found.begin(), found.end());
    return found;
}

// Of two spellings of one path the same.
std::wstring Key(const std::string& name) {
    std::wstring path = FullPath(name);
    ::CharUpperBuffW(path.data(), static_cast<DWORD>(path.size()));
    return path;
}

// A folder, or a file without a byte, is no conversion that was done.
bool IsDone(const std::string& name) {
    WIN32_FILE_ATTRIBUTE_DATA found{};
    return ::GetFileAttributesExW(FullPath(name).c_str(), GetFileExInfoStandard, &found) != FALSE &&
           (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
           (found.nFileSizeHigh != 0 || found.nFileSizeLow != 0);
}

// A file may also be given by its short name.
std::string LongName(const std::string& name) {
    const std::wstring path = FullPath(name);
    const DWORD units = ::GetLongPathNameW(path.c_str(), nullptr, 0);
    std::wstring whole(units, L'\0');
    whole.resize(::GetLongPathNameW(path.c_str(), whole.data(), units));
    const std::string found = units == 0 ? name : Utf8(whole);
    return found.substr(NameStart(found));
}

// Also by another path that leads to it.
bool IsSameFile(const std::string& a, const std::string& b) {
    BY_HANDLE_FILE_INFORMATION files[2];
    const std::string* const names[] = {&a, &b};
    for (int i = 0; i < 2; ++i) {
        const auto file = OpenHandle(
            FullPath(*names[i]), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
        if (!file || !::GetFileInformationByHandle(file.Get(), &files[i]))
            return Key(a) == Key(b);
    }
    return files[0].dwVolumeSerialNumber == files[1].dwVolumeSerialNumber &&
           files[0].nFileIndexLow == files[1].nFileIndexLow &&
           files[0].nFileIndexHigh == files[1].nFileIndexHigh;
}

void CheckNames(const std::vector<Conversion>& list) {
    std::map<std::wstring, const Conversion*> outs;
    for (const Conversion& file : list) {
        const auto [other, isNew] = outs.emplace(Key(file.out), &file);
        if (!isNew)
            throw CError(ExitCode::Usage, file.out,
                other->second->in + " and " + file.in + " would both be written to it; convert them apart");
        if (IsSameFile(file.in, file.out))
            throw CError(ExitCode::Usage, file.in, "would be its own output; choose another --out-dir");
    }
}

std::vector<Conversion> ListInto(const std::string& folder, const std::vector<std::string>& names) {
    std::vector<Conversion> list;
    for (const std::string& name : names) {
        if (name == "-")
            throw CError(ExitCode::Usage, "--out-dir", "the standard input has no name; give files");
        for (const std::string& in : ExpandWildcards(name))
            list.push_back({.in = in, .out = folder + "\\" + LongName(in)});
    }
    CheckNames(list);
    MakeFolder(folder);
    return list;
}

} // namespace

std::vector<Conversion> ListConversions(const ConvertOptions& options) {
    std::vector<Conversion> list;
    if (options.outDir.empty())
        list.push_back({.in = options.names.front(), .out = options.names.back()});
    else
        list = ListInto(options.outDir, options.names);
    for (Conversion& file : list)
        if (options.skipExisting && file.out != "-" && IsDone(file.out))
            file.result = ConversionResult::Skipped;
    return list;
}
