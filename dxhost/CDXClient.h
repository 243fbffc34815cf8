#pragma once

#include "support/CForeignGuard.h"
#include "support/com.h"

#include <dshow.h>
#include <ocidl.h>
#include <cstdint>
#include <memory>
#include <string>

class CDxFilterGraph;

/// The bridge between one instance and one DirectX audio effect: creates the effect from its class
/// identifier, hosts its one property page, runs audio through it, saves and restores its state.
///
/// All work is done on the caller's thread. No lock of its own: one caller at a time. Nothing throws:
/// failures are false or null. A fault of the effect fails the call, and every later one; the effect is then
/// left behind in memory instead of being taken down. Keeps COM initialised on the thread that made it for
/// its whole life: destroy it there, else COM stays initialised on that thread.
class CDXClient {
public:
    CDXClient();
    virtual ~CDXClient();
    CDXClient(const CDXClient&) = delete;
    CDXClient& operator=(const CDXClient&) = delete;

    /// Creates and starts everything; once per client. Refuses an effect that has not exactly one property
    /// page. name: display name in the ANSI code page, copied; may be null. sampleRate: frames per second.
    /// blockLimit: most frames of one FillBuffer call.
    bool SetDX(const GUID& clsid, const char* name, std::int32_t sampleRate, std::int32_t blockLimit);

    /// Hands a saved state of `size` bytes to the effect.
    bool SetState(const void* bytes, std::uint32_t size);
    /// The effect's state, from malloc: the caller frees it. Null and 0 when there is none, or one of more
    /// than 64 MB.
    bool GetState(void** bytes, std::uint32_t* size);

    /// Size of the effect's page in pixels, 0 .. 4096.
    void GetPageSize(std::int32_t* cx, std::int32_t* cy) const;
    /// Shows the page inside `parent`, which should have a client area of that size. Thread: parent's.
    void OpenEditor(HWND parent);
    void CloseEditor();
    /// The page's window has faulted on its way out: the effect counts as faulted.
    void Condemn(const ForeignFault& fault) { m_guard->Condemn(fault); }
    bool Healthy() const { return !m_guard->HasFaulted(); }

    /// Runs one block of stereo audio through the effect.
    /// buffer: frames * 2 floats, interleaved; frames: 1 .. block limit.
    /// Returns as many processed frames, valid until the next call; null on failure. (An effect with mono
    /// output gives `frames` floats; the rest of the frames * 2 may be read but means nothing.)
    const float* FillBuffer(const float* buffer, std::uint32_t frames);

    /// Rebuilds the graph for another rate or limit; true at once when neither differs. After a failure
    /// FillBuffer refuses work.
    bool Reconfigure(std::int32_t sampleRate, std::int32_t blockLimit);

    const GUID& Clsid() const { return m_clsid; }
    /// ANSI code page; empty for none.
    const char* Name() const { return m_name.c_str(); }

private:
    class XPropertyPageSite;

    HRESULT CreateEffect(const GUID& clsid);
    HRESULT CreatePage();
    HRESULT AskForPage(CLSID* page);
    HRESULT StartGraph();
    void LetGo(IStream* stream);
    bool CopyState(IStream* stream, void** bytes, std::uint32_t* size);
    HRESULT PersistStream(IPersistStream** persist);
    HRESULT HoldModule(IUnknown* object, HMODULE* module);

    CComApartment m_com;
    const CForeignGuardPtr m_guard;
    HMODULE m_effectModule = nullptr; // held as long as there is something of it
    HMODULE m_pageModule = nullptr;
    IUnknown* m_siteIdentity = nullptr; // set once SetDX has run
    GUID m_clsid{};
    std::string m_name;
    IUnknown* m_effect = nullptr;
    IPropertyPageSite* m_pageSite = nullptr;
    IPropertyPage* m_page = nullptr;
    PROPPAGEINFO m_pageInfo{};
    std::unique_ptr<CDxFilterGraph> m_graph;
    IBaseFilter* m_effectFilter = nullptr;
    bool m_ready = false; // the graph is built and running
    std::int32_t m_sampleRate = 0;
    std::int32_t m_blockLimit = 0;
    std::unique_ptr<XPropertyPageSite> m_site;
};
