#include "dxconv/shown_path.h"

#include "dxconv/files.h"
#include "dxconv/text.h"

namespace {

constexpr std::size_t kDriveUnits = 3; // "C:\": a folder that holds everything hides nothing

// Short names ("KIMBER~1") written out, as far as the path exists; no backslash at the end.
std::wstring LongPath(std::wstring path) {
    const DWORD units = ::GetLongPathNameW(path.c_str(), nullptr, 0);
    if (units != 0) {
        std::wstring longer(units, L'\0');
        longer.resize(::GetLongPathNameW(path.c_str(), longer.data(), units));
        path = longer;
    }
    path.erase(path.find_last_not_of(L'\\') + 1);
    return path;
}

bool IsBelow(const std::wstring& path, const std::wstring& folder) {
    return folder.size() > kDriveUnits && path.size() > folder.size() && path[folder.size()] == L'\\' &&
           ::CompareStringOrdinal(path.c_str(), static_cast<int>(folder.size()), folder.c_str(), -1, TRUE) ==
               CSTR_EQUAL;
}

} // namespace

std::string ShownPath(std::wstring_view path) {
    const std::wstring whole = LongPath(std::wstring(path));
    const std::size_t last = whole.find_last_of(L'\\');
    const std::wstring name = last == whole.npos ? whole : whole.substr(last);
    const std::wstring own = LongPath(OwnFolder());
    if (last == own.size() && IsBelow(whole, own))
        return Utf8(L"." + name);
    for (const wchar_t* const variable : {L"ProgramFiles", L"SystemRoot", L"USERPROFILE"}) {
        wchar_t value[MAX_PATH] = {};
        ::GetEnvironmentVariableW(variable, value, ARRAYSIZE(value));
        const std::wstring folder = LongPath(value);
        if (IsBelow(whole, folder))
            return Utf8(std::wstring(L"%") + variable + L"%" + whole.substr(folder.size()));
    }
    return "..." + Utf8(name);
}
