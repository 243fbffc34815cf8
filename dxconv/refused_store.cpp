#include "dxconv/refused_store.h"

#include "dxconv/find_effect.h"
#include "support/handles.h"

#include <objbase.h>
#include <optional>

namespace {

constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXConv\\Refused";
constexpr wchar_t kSkip[] = L"skip";
constexpr wchar_t kTryAgain[] = L"try again";
constexpr DWORD kLongestValueUnits = 8192;

// REG_MULTI_SZ: texts with a terminator each, and one more at the end. An empty text would end it.
std::wstring Joined(const Refusal& refusal) {
    std::wstring value = refusal.reason + L'\0' + (refusal.skip ? kSkip : kTryAgain) + L'\0';
    if (!refusal.name.empty())
        value += refusal.name + L'\0';
    return value + L'\0';
}

std::optional<Refusal> Split(const wchar_t* clsid, const std::wstring& value) {
    std::vector<std::wstring> texts;
    for (std::size_t at = 0; at < value.size() && value[at] != L'\0';) {
        texts.emplace_back(value.c_str() + at);
        at += texts.back().size() + 1;
    }
    Refusal refusal;
    if (texts.size() < 2 || FAILED(::CLSIDFromString(clsid, &refusal.clsid)))
        return std::nullopt;
    refusal.reason = texts[0];
    refusal.skip = texts[1] == kSkip;
    refusal.name = texts.size() > 2 ? texts[2] : L"";
    return refusal;
}

} // namespace

std::vector<Refusal> ReadRefusals() {
    std::vector<Refusal> refusals;
    CRegHandle key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_QUERY_VALUE, key.Put()) != ERROR_SUCCESS)
        return refusals;
    wchar_t name[64];
    std::wstring value(kLongestValueUnits, L'\0');
    for (DWORD i = 0;; ++i) {
        DWORD nameUnits = ARRAYSIZE(name);
        DWORD type = 0;
        auto bytes = static_cast<DWORD>(kLongestValueUnits * sizeof(wchar_t));
        const LONG read = ::RegEnumValueW(
            key.Get(), i, name, &nameUnits, nullptr, &type, reinterpret_cast<BYTE*>(value.data()), &bytes);
        if (read == ERROR_MORE_DATA)
            continue;
        if (read != ERROR_SUCCESS)
            return refusals;
        if (type != REG_MULTI_SZ)
            continue;
        if (auto refusal = Split(name, value.substr(0, bytes / sizeof(wchar_t))))
            refusals.push_back(std::move(*refusal));
    }
}

void StoreRefusal(const Refusal& refusal) {
    const std::wstring value = Joined(refusal);
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kKey, ClsidText(refusal.clsid).c_str(), REG_MULTI_SZ, value.data(),
        static_cast<DWORD>(value.size()) * DWORD{sizeof(wchar_t)});
}

void ForgetRefusal(const GUID& clsid) {
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, ClsidText(clsid).c_str());
}
