#pragma once

#include "dxhost/base/CBaseFilter.h"
#include "effects/echo/CEchoInputPin.h"
#include "effects/echo/CEchoLine.h"
#include "effects/echo/CEchoOutputPin.h"
#include "effects/echo/CModuleUse.h"
#include "effects/echo/EchoFormat.h"
#include "effects/echo/IEcho.h"
#include "support/CCritSec.h"

#include <ocidl.h>
#include <array>
#include <atomic>

/// An echo as a transform filter: 32-bit float, mono or stereo, any rate. Every sample that comes in goes out
/// within the same call, with as many frames; nothing is held back. The line is silent when streaming starts
/// and after a flush.
///
/// Locks: the filter lock (connections, states), then the receive lock (a sample, a flush or an end under
/// way). The audio path takes the receive lock alone and allocates nothing of its own.
class CEcho final : public CBaseFilter, public ISpecifyPropertyPages, public IPersistStream, public IEcho {
public:
    CEcho();

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override;
    CEchoInputPin& Input() { return m_input; }
    CEchoOutputPin& Output() { return m_output; }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        return CBaseFilter::QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return CBaseFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return CBaseFilter::Release(); }

    // IBaseFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;

    // ISpecifyPropertyPages
    STDMETHODIMP GetPages(CAUUID* pages) override;

    // IPersistStream: 20 bytes, see CEcho.cpp. Load reads no further, so a longer stream will do.
    // Load fails, and keeps the values, with STG_E_READFAULT (too short), STG_E_INVALIDHEADER (not this
    // format or version) or STG_E_DOCFILECORRUPT (a value outside its range).
    STDMETHODIMP GetClassID(CLSID* clsid) override { return CBaseFilter::GetClassID(clsid); }
    STDMETHODIMP IsDirty() override { return m_dirty ? S_OK : S_FALSE; }
    STDMETHODIMP Load(IStream* stream) override;
    STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* bytes) override;

    // IEcho
    STDMETHODIMP GetParameter(DWORD parameter, LONG* value) override;
    STDMETHODIMP SetParameter(DWORD parameter, LONG value) override;

    CCritSec& ReceiveLock() { return m_receiveLock; }
    /// Processes the sample, or a copy where it may not be written to, and delivers it. Under the receive
    /// lock.
    HRESULT Transform(IMediaSample& sample);
    /// Under the receive lock.
    void ClearLine() { m_line.Clear(); }

protected:
    HRESULT QueryFurther(REFIID iid, void** out) override;

private:
    LONG Value(EchoParameter parameter) const { return m_values[parameter].load(std::memory_order_relaxed); }
    HRESULT StartLine();
    HRESULT NewOutputSample(IMediaSample& source, IMediaSample** target);

    const CModuleUse m_use;
    CCritSec m_receiveLock;
    CEchoInputPin m_input;
    CEchoOutputPin m_output;
    std::array<std::atomic<LONG>, kEchoParameters> m_values;
    std::atomic<bool> m_dirty = false;
    CEchoLine m_line;
    EchoFormat m_format; // the input's, from the start of streaming on
};
