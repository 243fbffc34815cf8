#pragma once

#include <windows.h>
#include <dshow.h>

/// A media type that owns its format block. Copies are deep.
/// Members are AM_MEDIA_TYPE's own; format blocks come from CoTaskMemAlloc. Throws nothing.
class CMediaType : public AM_MEDIA_TYPE {
public:
    CMediaType() : AM_MEDIA_TYPE{} {}
    ~CMediaType() { Clear(); }
    CMediaType(const CMediaType&) = delete;
    CMediaType& operator=(const CMediaType&) = delete;

    /// Frees the format block and makes the type empty.
    void Clear();

    /// Becomes a copy of `source`. E_OUTOFMEMORY leaves it empty.
    HRESULT Set(const AM_MEDIA_TYPE& source);

    /// Becomes fixed-size, uncompressed audio of subtype PCM in the given format, whose cbSize bytes must
    /// follow it.
    HRESULT SetAudio(const WAVEFORMATEX& format);

    /// The format block as a WAVEFORMATEX, or null when the type holds none. `type` may be null.
    static const WAVEFORMATEX* Audio(const AM_MEDIA_TYPE* type);

    /// Deep copy into a record that the caller frees with FreeRecord.
    static HRESULT CopyRecord(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE& source);
    static void FreeRecord(AM_MEDIA_TYPE& type);
};

/// 32-bit IEEE float audio of one or two channels with fixed sample size, whatever subtype and format type it
/// claims: what this system's own pins accept.
bool IsFloatAudio(const AM_MEDIA_TYPE* type);
