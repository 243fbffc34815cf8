#include "dxhost/base/CMediaType.h"

#include "support/hresult.h"

#include <mmreg.h>
#include <cstring>

void CMediaType::Clear() {
    FreeRecord(*this);
    static_cast<AM_MEDIA_TYPE&>(*this) = {};
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& source) {
    if (&source == this)
        return S_OK;
    Clear();
    return CopyRecord(this, source);
}

HRESULT CMediaType::SetAudio(const WAVEFORMATEX& format) {
    WAVEFORMATEX& block =
        const_cast<WAVEFORMATEX&>(format); // AM_MEDIA_TYPE has no pointer to const; copied below
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = format.nBlockAlign;
    type.formattype = FORMAT_WaveFormatEx;
    type.cbFormat = sizeof(WAVEFORMATEX) + format.cbSize;
    type.pbFormat = reinterpret_cast<BYTE*>(&block);
    return Set(type);
}

const WAVEFORMATEX* CMediaType::Audio(const AM_MEDIA_TYPE* type) {
    if (type == nullptr || type->pbFormat == nullptr || type->cbFormat < sizeof(PCMWAVEFORMAT))
        return nullptr;
    return reinterpret_cast<const WAVEFORMATEX*>(type->pbFormat);
}

HRESULT CMediaType::CopyRecord(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE& source) {
    *target = source;
    target->pbFormat = nullptr;
    target->cbFormat = 0;
    if (source.pbFormat != nullptr && source.cbFormat != 0) {
        target->pbFormat = static_cast<BYTE*>(::CoTaskMemAlloc(source.cbFormat));
        if (target->pbFormat == nullptr) {
            *target = {};
            return E_OUTOFMEMORY;
        }
        target->cbFormat = source.cbFormat;
        std::memcpy(target->pbFormat, source.pbFormat, source.cbFormat);
    }
    if (target->pUnk != nullptr)
        target->pUnk->AddRef();
    return S_OK;
}

void CMediaType::FreeRecord(AM_MEDIA_TYPE& type) {
    ::CoTaskMemFree(type.pbFormat);
    type.pbFormat = nullptr;
    type.cbFormat = 0;
    if (type.pUnk != nullptr)
        type.pUnk->Release();
    type.pUnk = nullptr;
}

bool IsFloatAudio(const AM_MEDIA_TYPE* type) {
    const WAVEFORMATEX* const format = CMediaType::Audio(type);
    return format != nullptr && type->majortype == MEDIATYPE_Audio && !type->bTemporalCompression &&
           type->bFixedSizeSamples && format->wFormatTag == WAVE_FORMAT_IEEE_FLOAT &&
           format->wBitsPerSample == 32 && (format->nChannels == 1 || format->nChannels == 2);
}
