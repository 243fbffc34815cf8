#include "config/plugin_store.h"

#include "config/plugin_blob.h"
#include "dsp/CMemBuff.h"
#include "support/handles.h"

namespace {

constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXWrapper";
constexpr wchar_t kLength[] = L"DXListLen";
constexpr wchar_t kBlob[] = L"DXList";
constexpr std::int32_t kGrowBytes = 1024;
// Far more than 1024 effects with the longest names take: a larger length is damage, not a list.
constexpr DWORD kLongestBlobBytes = 16 * 1024 * 1024;

// A value that is not there, or of another type, is none.
bool ReadValue(HKEY key, const wchar_t* name, DWORD type, void* out, DWORD* bytes) {
    DWORD stored = 0;
    return ::RegQueryValueExW(key, name, nullptr, &stored, static_cast<BYTE*>(out), bytes) == ERROR_SUCCESS &&
           stored == type;
}

} // namespace

StoredList ReadStoredPlugIns(CStructArray& list) {
    CRegHandle key;
    DWORD length = 0;
    DWORD bytes = sizeof length;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_QUERY_VALUE, key.Put()) != ERROR_SUCCESS ||
        !ReadValue(key.Get(), kLength, REG_DWORD, &length, &bytes) || length == 0 ||
        length > kLongestBlobBytes)
        return StoredList::Missing;
    CMemBuff blob(kGrowBytes);
    if (!blob.SetSize(static_cast<std::int32_t>(length)))
        return StoredList::NoMemory;
    bytes = length;
    if (!ReadValue(key.Get(), kBlob, REG_BINARY, blob.Data(), &bytes))
        return StoredList::Missing;
    blob.SetSize(static_cast<std::int32_t>(bytes)); // what is there, should it be less than was promised
    return DecodePlugIns(blob, list) ? StoredList::Complete : StoredList::Damaged;
}

void StorePlugIns(const CStructArray& list) {
    CMemBuff blob(kGrowBytes);
    const bool encoded = EncodePlugIns(list, blob);
    const auto length = encoded ? static_cast<DWORD>(blob.Size()) : 0;
    CRegHandle key;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.Put(),
            nullptr) != ERROR_SUCCESS)
        return;
    ::RegSetValueExW(key.Get(), kLength, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&length), sizeof length);
    if (encoded && blob.Data() != nullptr)
        ::RegSetValueExW(key.Get(), kBlob, 0, REG_BINARY, blob.Data(), length);
}
