#include "config/candidates.h"

#include "support/handles.h"

#include <dshow.h>
#include <wrl/client.h>
#include <cstring>
#include <new>
#include <optional>

using Microsoft::WRL::ComPtr;

namespace {

constexpr ULONG kMaxFilters = 1024;
constexpr DWORD kMinimumMerit = 0x200000;
constexpr int kMaxNameBytes = 1024; // with the terminator

// Empty when the bag has no such text.
std::wstring ReadText(IPropertyBag* bag, const wchar_t* property) {
    VARIANT value;
    ::VariantInit(&value);
    value.vt = VT_BSTR;
    std::wstring text;
    if (SUCCEEDED(bag->Read(property, &value, nullptr)) && value.vt == VT_BSTR && value.bstrVal != nullptr)
        text = value.bstrVal;
    ::VariantClear(&value);
    return text;
}

bool IsSoftSynth(const std::wstring& clsidText) {
    CRegHandle key;
    return ::RegOpenKeyW(HKEY_CLASSES_ROOT, (L"MfxSoftSynths\\" + clsidText).c_str(), key.Put()) ==
           ERROR_SUCCESS;
}

std::optional<Candidate> ReadCandidate(IMoniker* moniker) {
    ComPtr<IPropertyBag> bag;
    if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag))))
        return std::nullopt;
    Candidate candidate;
    const std::wstring clsidText = ReadText(bag.Get(), L"CLSID");
    if (FAILED(::CLSIDFromString(clsidText.c_str(), &candidate.clsid)) || IsSoftSynth(clsidText))
        return std::nullopt;
    char name[kMaxNameBytes];
    const std::wstring friendlyName = ReadText(bag.Get(), L"FriendlyName");
    if (::WideCharToMultiByte(CP_ACP, 0, friendlyName.c_str(), -1, name, kMaxNameBytes, nullptr, nullptr) ==
        0)
        return std::nullopt;
    if (std::strncmp(name, "VST ", 4) == 0)
        return std::nullopt;
    candidate.name = name;
    return candidate;
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

std::vector<Candidate> EnumCandidates() {
    std::vector<Candidate> candidates;
    try {
        std::vector<ComPtr<IMoniker>> monikers(kMaxFilters);
        static_assert(sizeof(ComPtr<IMoniker>) == sizeof(IMoniker*));
        const ComPtr<IEnumMoniker> filters = FindFilters();
        ULONG fetched = 0;
        if (!filters || FAILED(filters->Next(kMaxFilters, monikers.front().GetAddressOf(), &fetched)))
            return candidates;
        for (ULONG i = 0; i < fetched; ++i)
            if (auto candidate = ReadCandidate(monikers[i].Get()))
                candidates.push_back(std::move(*candidate));
    } catch (const std::bad_alloc&) {
        // What was found so far serves.
    }
    return candidates;
}
