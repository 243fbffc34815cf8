#include "dxconv/installed_class.h"

#include "dxconv/code_file.h"
#include "dxconv/files.h"
#include "support/handles.h"

#include <objbase.h>

namespace {

// Where the filter mapper keeps its filters: a key each, with their names.
constexpr wchar_t kFilters[] = L"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance";
constexpr DWORD kLongestTextUnits = 4096;

CRegHandle OpenKey(HKEY root, const std::wstring& path, REGSAM view) {
    CRegHandle key;
    ::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, key.Put());
    return key;
}

// Of a text with variables of the environment too, which are then expanded.
std::optional<std::wstring> ReadText(HKEY key, const wchar_t* value) {
    std::wstring text(kLongestTextUnits, L'\0');
    auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (key == nullptr ||
        ::RegGetValueW(key, nullptr, value, RRF_RT_REG_SZ, nullptr, text.data(), &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    text.resize(wcslen(text.c_str()));
    return text;
}

std::optional<std::wstring> RegisteredServer(const GUID& clsid, REGSAM view) {
    const CRegHandle key =
        OpenKey(HKEY_CLASSES_ROOT, L"CLSID\\" + ClsidText(clsid) + L"\\InprocServer32", view);
    std::optional<std::wstring> path = ReadText(key.Get(), nullptr);
    if (path && path->size() > 1 && path->front() == L'"')
        path = path->substr(1, path->find(L'"', 1) - 1);
    return path && !path->empty() ? path : std::nullopt;
}

// A name without a folder is looked for in the places that code is loaded from.
std::wstring Located(const std::wstring& server) {
    if (server.find_first_of(L"\\/") != server.npos)
        return FullPath(server);
    std::wstring path(kLongestTextUnits, L'\0');
    const DWORD units = ::SearchPathW(
        nullptr, server.c_str(), L".dll", static_cast<DWORD>(path.size()), path.data(), nullptr);
    return units != 0 && units < path.size() ? path.substr(0, units) : server;
}

} // namespace

ClassServers FindClassServers(const GUID& clsid) {
    ClassServers servers{RegisteredServer(clsid, KEY_WOW64_32KEY), RegisteredServer(clsid, KEY_WOW64_64KEY)};
    if (servers.in32)
        servers.in32 = Located(*servers.in32);
    return servers;
}

std::string InstallationProblem(
    const ClassServers& servers, std::string (*showPath)(std::wstring_view path)) {
    if (!servers.in32)
        return servers.in64 ? "is installed as a 64-bit class only; this program and its module are 32-bit"
                            : "";
    const std::string what = CodeFileText(InspectCodeFile(*servers.in32));
    return what.empty() ? "" : "is registered with " + what + ": " + showPath(*servers.in32);
}

std::optional<FoundEffect> Find64BitFilter(const std::wstring& name) {
    const CRegHandle filters = OpenKey(HKEY_CLASSES_ROOT, kFilters, KEY_WOW64_64KEY);
    wchar_t key[256];
    for (DWORD i = 0; ::RegEnumKeyW(filters.Get(), i, key, ARRAYSIZE(key)) == ERROR_SUCCESS; ++i) {
        const CRegHandle filter = OpenKey(filters.Get(), key, KEY_WOW64_64KEY);
        const auto called = ReadText(filter.Get(), L"FriendlyName");
        const auto clsid = ReadText(filter.Get(), L"CLSID");
        FoundEffect found;
        if (!called || ::CompareStringOrdinal(called->c_str(), -1, name.c_str(), -1, TRUE) != CSTR_EQUAL ||
            !clsid || FAILED(::CLSIDFromString(clsid->c_str(), &found.clsid)))
            continue;
        found.name = *called;
        const ClassServers servers = FindClassServers(found.clsid);
        if (servers.in64 && !servers.in32)
            return found;
    }
    return std::nullopt;
}
