#include "config/candidates.h"

#include "config/PlugInElem.h"
#include "support/handles.h"

#include <dshow.h>
#include <wrl/client.h>
#include <cstring>
#include <new>
#include <string>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

constexpr ULONG kMaxFilters = 1024;
constexpr DWORD kMinimumMerit = 0x200000;
constexpr int kMaxNameBytes = 1024; // with the terminator

bool ReadText(IPropertyBag* bag, const wchar_t* property, std::wstring& text) {
    VARIANT value;
    ::VariantInit(&value);
    value.vt = VT_BSTR;
    const bool read = SUCCEEDED(bag->Read(property, &value, nullptr)) && value.vt == VT_BSTR;
    text = read && value.bstrVal != nullptr ? value.bstrVal : L"";
    ::VariantClear(&value);
    return read;
}

bool IsSoftSynth(const std::wstring& clsidText) {
    CRegHandle key;
    return ::RegOpenKeyW(HKEY_CLASSES_ROOT, (L"MfxSoftSynths\\" + clsidText).c_str(), key.Put()) ==
           ERROR_SUCCESS;
}

// Null name: this filter is not offered. Throws std::bad_alloc.
void ReadCandidate(IMoniker* moniker, PlugInElem& candidate) {
    ComPtr<IPropertyBag> bag;
    if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag))))
        return;
    std::wstring clsidText;
    if (!ReadText(bag.Get(), L"CLSID", clsidText) ||
        FAILED(::CLSIDFromString(clsidText.c_str(), &candidate.clsid)) || IsSoftSynth(clsidText))
        return;
    char name[kMaxNameBytes];
    std::wstring friendlyName;
    if (!ReadText(bag.Get(), L"FriendlyName", friendlyName) ||
        ::WideCharToMultiByte(CP_ACP, 0, friendlyName.c_str(), -1, name, kMaxNameBytes, nullptr, nullptr) ==
            0)
        return;
    if (std::strncmp(name, "VST ", 4) == 0)
        return;
    candidate.name = CopyName(name);
    if (candidate.name == nullptr)
        throw std::bad_alloc();
}

ComPtr<IEnumMoniker> FindFilters() {
    ComPtr<IFilterMapper2> mapper;
    ComPtr<IEnumMoniker> found;
    if (FAILED(::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper))))
        return nullptr;
    const GUID pcmAudio[] = {MEDIATYPE_Audio, MEDIASUBTYPE_PCM};
    const HRESULT result = mapper->EnumMatchingFilters(&found, 0, FALSE, kMinimumMerit, TRUE, 1, pcmAudio,
        nullptr, nullptr, FALSE, TRUE, 1, pcmAudio, nullptr, nullptr);
    return SUCCEEDED(result) ? found : nullptr;
}

} // namespace

void EnumCandidates(CStructArray& candidates) {
    candidates.Clear();
    try {
        std::vector<ComPtr<IMoniker>> monikers(kMaxFilters);
        static_assert(sizeof(ComPtr<IMoniker>) == sizeof(IMoniker*));
        const ComPtr<IEnumMoniker> filters = FindFilters();
        ULONG fetched = 0;
        if (!filters || FAILED(filters->Next(kMaxFilters, monikers.front().GetAddressOf(), &fetched)))
            return;
        for (ULONG i = 0; i < fetched; ++i) {
            PlugInElem candidate;
            ReadCandidate(monikers[i].Get(), candidate);
            if (candidate.name != nullptr && !candidates.Append(candidate))
                return;
        }
    } catch (const std::bad_alloc&) {
        // What was found so far serves.
    }
}
