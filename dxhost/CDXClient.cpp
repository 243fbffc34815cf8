#include "dxhost/CDXClient.h"

#include "dxhost/CDXClient_site.h"
#include "dxhost/CDxFilterGraph.h"
#include "support/hresult.h"
#include "support/module.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace {

// More than any settings text is stored with, and little enough to be encoded in the memory of a 32-bit
// process.
constexpr SIZE_T kMostStateBytes = 64 * 1024 * 1024;
constexpr LONG kMostPagePixels = 4096; // a larger page, or one of no size, is the effect's mistake

// A stream over a copy of the bytes; null when memory is short. The caller holds its one reference.
IStream* StreamOver(const void* bytes, std::uint32_t size) {
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_SHARE, size);
    if (memory == nullptr)
        return nullptr;
    IStream* stream = nullptr;
    if (void* const content = ::GlobalLock(memory)) {
        std::memcpy(content, bytes, size);
        ::GlobalUnlock(memory);
        if (SUCCEEDED(::CreateStreamOnHGlobal(memory, TRUE, &stream)))
            return stream;
    }
    ::GlobalFree(memory);
    return nullptr;
}

} // namespace

CDXClient::CDXClient()
    : m_guard(std::make_shared<CForeignGuard>()), m_site(std::make_unique<XPropertyPageSite>()) {}

CDXClient::~CDXClient() {
    CloseEditor();
    if (m_graph != nullptr) {
        m_graph->SetEffect(nullptr);
        m_graph.reset();
    }
    m_guard->Release(m_effectFilter);
    m_guard->Release(m_page);
    m_guard->Call([this] {
        ::CoTaskMemFree(m_pageInfo.pszTitle);
        ::CoTaskMemFree(m_pageInfo.pszDocString);
        ::CoTaskMemFree(m_pageInfo.pszHelpFile);
    });
    m_guard->Release(m_effect);
    if (m_pageSite != nullptr)
        m_pageSite->Release();
    if (m_siteIdentity != nullptr)
        m_siteIdentity->Release();
    if (m_site->InUse()) {
        // The page outlives its last release by us: what it still points to must stay.
        static_cast<void>(m_site.release());
        PinModule();
    }
    if (!Healthy()) {
        m_com.Keep(); // what was left behind still needs its code
        return;
    }
    for (const HMODULE module : {m_pageModule, m_effectModule})
        if (module != nullptr)
            ::FreeLibrary(module);
}

bool CDXClient::SetDX(const GUID& clsid, const char* name, std::int32_t sampleRate, std::int32_t blockLimit) {
    if (m_siteIdentity != nullptr)
        return false;
    try {
        m_clsid = clsid;
        m_sampleRate = sampleRate;
        m_blockLimit = blockLimit;
        m_name = name == nullptr ? "" : name;
        return SUCCEEDED(m_site->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&m_siteIdentity))) &&
               SUCCEEDED(CreateEffect(clsid)) && SUCCEEDED(CreatePage()) && SUCCEEDED(StartGraph());
    } catch (const std::exception&) {
        return false;
    }
}

HRESULT CDXClient::CreateEffect(const GUID& clsid) {
    RETURN_IF_FAILED(m_guard->Call([&] {
        return ::CoCreateInstance(
            clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, reinterpret_cast<void**>(&m_effect));
    }));
    if (m_effect == nullptr)
        return E_FAIL;
    RETURN_IF_FAILED(HoldModule(m_effect, &m_effectModule));
    RETURN_IF_FAILED(m_guard->Call([&] {
        return m_effect->QueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&m_effectFilter));
    }));
    return m_effectFilter == nullptr ? E_FAIL : S_OK;
}

HRESULT CDXClient::HoldModule(IUnknown* object, HMODULE* module) {
    return m_guard->Call([&] { *module = HoldModuleOf(*reinterpret_cast<void**>(object)); });
}

HRESULT CDXClient::AskForPage(CLSID* page) {
    ISpecifyPropertyPages* pages = nullptr;
    RETURN_IF_FAILED(m_guard->Call([&] {
        return m_effect->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&pages));
    }));
    if (pages == nullptr)
        return E_FAIL;
    CAUUID list{};
    HRESULT result = m_guard->Call([&] { return pages->GetPages(&list); });
    m_guard->Release(pages);
    // The list, too, is the effect's word: reading and freeing it can fault.
    const HRESULT read = m_guard->Call([&] {
        const bool usable = SUCCEEDED(result) && list.cElems == 1 && list.pElems != nullptr;
        if (usable)
            *page = list.pElems[0];
        ::CoTaskMemFree(list.pElems);
        return usable ? S_OK : E_FAIL;
    });
    return FAILED(result) ? result : read;
}

HRESULT CDXClient::CreatePage() {
    CLSID pageClsid{};
    RETURN_IF_FAILED(AskForPage(&pageClsid));
    RETURN_IF_FAILED(m_site->QueryInterface(IID_IPropertyPageSite, reinterpret_cast<void**>(&m_pageSite)));
    RETURN_IF_FAILED(m_guard->Call([&] {
        return ::CoCreateInstance(
            pageClsid, nullptr, CLSCTX_INPROC_SERVER, IID_IPropertyPage, reinterpret_cast<void**>(&m_page));
    }));
    if (m_page == nullptr)
        return E_FAIL;
    RETURN_IF_FAILED(HoldModule(m_page, &m_pageModule));
    RETURN_IF_FAILED(m_guard->Call([&] { return m_page->SetPageSite(m_pageSite); }));
    RETURN_IF_FAILED(m_guard->Call([&] { return m_page->SetObjects(1, &m_effect); }));
    m_pageInfo.cb = sizeof m_pageInfo;
    return m_guard->Call([&] { return m_page->GetPageInfo(&m_pageInfo); });
}

HRESULT CDXClient::StartGraph() {
    HRESULT made = S_OK;
    m_graph = std::make_unique<CDxFilterGraph>(&made, m_guard);
    RETURN_IF_FAILED(made);
    RETURN_IF_FAILED(m_graph->SetEffect(m_effectFilter));
    RETURN_IF_FAILED(m_graph->SetSampleRate(m_sampleRate));
    RETURN_IF_FAILED(m_graph->SetBlockLimit(m_blockLimit));
    RETURN_IF_FAILED(m_graph->Pause());
    RETURN_IF_FAILED(m_graph->Run());
    RETURN_IF_FAILED(m_graph->SetPosition(0));
    m_ready = true;
    return S_OK;
}

bool CDXClient::Reconfigure(std::int32_t sampleRate, std::int32_t blockLimit) {
    if (m_siteIdentity == nullptr || m_graph == nullptr)
        return false;
    if (sampleRate == m_sampleRate && blockLimit == m_blockLimit)
        return true;
    m_ready = false;
    m_graph->Stop();
    m_graph->SetEffect(nullptr);
    m_sampleRate = sampleRate;
    m_blockLimit = blockLimit;
    m_ready = SUCCEEDED(m_graph->SetEffect(m_effectFilter)) &&
              SUCCEEDED(m_graph->SetSampleRate(sampleRate)) &&
              SUCCEEDED(m_graph->SetBlockLimit(blockLimit)) && SUCCEEDED(m_graph->Pause()) &&
              SUCCEEDED(m_graph->Run()) && SUCCEEDED(m_graph->SetPosition(0));
    return m_ready;
}

const float* CDXClient::FillBuffer(const float* buffer, std::uint32_t frames) {
    if (!m_ready || frames > static_cast<std::uint32_t>(m_blockLimit))
        return nullptr;
    const float* data = buffer;
    return SUCCEEDED(m_graph->Process(&data, static_cast<std::int32_t>(frames))) ? data : nullptr;
}

HRESULT CDXClient::PersistStream(IPersistStream** persist) {
    if (m_effect == nullptr)
        return E_FAIL;
    RETURN_IF_FAILED(m_guard->Call(
        [&] { return m_effect->QueryInterface(IID_IPersistStream, reinterpret_cast<void**>(persist)); }));
    return *persist == nullptr ? E_NOINTERFACE : S_OK;
}

bool CDXClient::GetState(void** bytes, std::uint32_t* size) {
    *bytes = nullptr;
    *size = 0;
    IPersistStream* persist = nullptr;
    if (FAILED(PersistStream(&persist)))
        return false;
    IStream* stream = nullptr;
    bool saved = SUCCEEDED(::CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    if (saved) {
        HoldReserve(stream);
        saved = SUCCEEDED(m_guard->Call([&] { return persist->Save(stream, TRUE); })) &&
                CopyState(stream, bytes, size);
        LetGo(stream);
    }
    m_guard->Release(persist);
    return saved;
}

void CDXClient::LetGo(IStream* stream) {
    m_guard->Call([stream] {
        if (ReleaseReserve(stream))
            stream->Release();
    });
}

bool CDXClient::CopyState(IStream* stream, void** bytes, std::uint32_t* size) {
    HGLOBAL memory = nullptr;
    if (FAILED(::GetHGlobalFromStream(stream, &memory)))
        return false;
    const SIZE_T length = ::GlobalSize(memory);
    const void* const content = length == 0 || length > kMostStateBytes ? nullptr : ::GlobalLock(memory);
    if (content == nullptr)
        return false;
    *bytes = std::malloc(length);
    if (*bytes != nullptr) {
        std::memcpy(*bytes, content, length);
        *size = static_cast<std::uint32_t>(length);
    }
    ::GlobalUnlock(memory);
    return *bytes != nullptr;
}

bool CDXClient::SetState(const void* bytes, std::uint32_t size) {
    IPersistStream* persist = nullptr;
    if (bytes == nullptr || size == 0 || FAILED(PersistStream(&persist)))
        return false;
    IStream* stream = StreamOver(bytes, size);
    bool loaded = false;
    if (stream != nullptr) {
        HoldReserve(stream);
        loaded = SUCCEEDED(m_guard->Call([&] { return persist->Load(stream); }));
        LetGo(stream);
    }
    m_guard->Release(persist);
    return loaded;
}

void CDXClient::GetPageSize(std::int32_t* cx, std::int32_t* cy) const {
    *cx = std::clamp(m_pageInfo.size.cx, 0L, kMostPagePixels);
    *cy = std::clamp(m_pageInfo.size.cy, 0L, kMostPagePixels);
}

void CDXClient::OpenEditor(HWND parent) {
    if (m_page == nullptr)
        return;
    std::int32_t cx = 0;
    std::int32_t cy = 0;
    GetPageSize(&cx, &cy);
    const RECT area{0, 0, cx, cy};
    m_guard->Call([&] { return m_page->Activate(parent, &area, FALSE); });
    m_guard->Call([&] { return m_page->Show(SW_SHOW); });
    RestoreStackGuard();
    ::InvalidateRect(parent, nullptr, FALSE);
}

void CDXClient::CloseEditor() {
    if (m_page != nullptr)
        m_guard->Call([&] { return m_page->Deactivate(); });
    RestoreStackGuard();
}
