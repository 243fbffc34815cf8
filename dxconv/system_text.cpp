#include "dxconv/system_text.h"

#include <windows.h>

namespace {

// By way of void*: the cast between unlike function types is the point.
template <typename Function>
Function NtFunction(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), name)));
}

std::string WindowsVersion() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    const auto getVersion = NtFunction<LONG(WINAPI*)(OSVERSIONINFOW*)>("RtlGetVersion");
    if (getVersion == nullptr || getVersion(&version) != 0)
        return "of an unknown version";
    return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) + "." +
           std::to_string(version.dwBuildNumber);
}

} // namespace

std::string SystemText() {
    const auto wineVersion = NtFunction<const char*(CDECL*)()>("wine_get_version");
    BOOL emulated = FALSE;
    ::IsWow64Process(::GetCurrentProcess(), &emulated);
    return (wineVersion != nullptr ? std::string("Wine ") + wineVersion() + " as " : "") + "Windows " +
           WindowsVersion() + (emulated ? ", 64-bit" : ", 32-bit");
}
