#include "dsp/clDSP.h"

#include "dsp/CInEffect.h"
#include "dsp/trace_log.h"
#include "dxhost/CDXClient.h"
#include "resources/resource.h"
#include "support/host_memory.h"
#include "support/module.h"
#include "support/text.h"

#include <cstdlib>
#include <cwchar>
#include <exception>

namespace {

constexpr DWORD kPanelSampleRate = 44100;

struct FreeMalloc {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using CMalloced = std::unique_ptr<T, FreeMalloc>;

} // namespace

clDSP::clDSP(const DSPHostContext* context) : m_output(kSettingsGrowBytes) {
    if (!ReadRecord(&m_context, context))
        m_context = {};
    m_form.SetOwner(this);
    m_editor.SetOnClose(
        [](void* instance) {
            const CPanelCall call(*static_cast<clDSP*>(instance));
            static_cast<clDSP*>(instance)->CloseEditor();
        },
        this);
    m_lock.Create();
    m_panelLock.Create();
}

clDSP::~clDSP() {
    const CLockObj lock(&m_lock); // a call on another thread finishes first
    m_editor.SetOnClose(nullptr, nullptr);
    const CInEffect inside(*this);
    TakeEditorDown();
    m_client.reset();
}

void clDSP::Destroy(clDSP* instance) {
    if (instance == nullptr)
        return;
    if (instance->InEffect() || instance->m_panelCalls > 0)
        PinModule(); // the host may unload this library next, and there are calls of it under way
    if (instance->InEffect())
        return;
    const CPanelCall call(*instance);
    instance->m_retired = true;
    if (instance->m_panelCalls > 1)
        instance->m_form.Close();
}

void clDSP::EndPanelCall() {
    if (--m_panelCalls == 0 && m_retired && !InEffect())
        delete this;
}

DWORD clDSP::Fail(const wchar_t* message, const char* function) {
    LogError(message, this, function);
    return 0;
}

DWORD clDSP::Set(const wchar_t* key, const wchar_t*) {
    Trace(key, this, "clDSP::Set", true, nullptr);
    return 0;
}

DWORD clDSP::Get(const wchar_t* key, void*) {
    Trace(key, this, "clDSP::Get", true, nullptr);
    return key != nullptr && std::wcscmp(key, L"IsLive") == 0 ? 1 : 0;
}

DWORD clDSP::PassNonLive() {
    TraceEntry(this, "clDSP::PassNonLive");
    TraceExit(this, "clDSP::PassNonLive");
    return 1;
}

DWORD clDSP::EndConversion() {
    TraceEntry(this, "clDSP::EndConversion");
    TraceExit(this, "clDSP::EndConversion");
    return 1;
}

DWORD clDSP::AfterConversion() {
    TraceEntry(this, "clDSP::AfterConversion");
    TraceExit(this, "clDSP::AfterConversion");
    return 1;
}

HWND clDSP::ShowConfigBit(HWND parent, int x, int y, const wchar_t* settings) {
    const CPanelCall call(*this);
    const CLockObj turn(&m_panelLock);
    TraceEntry(this, "clDSP::ShowConfigBit");
    CMemBuff decoded(kSettingsGrowBytes);
    if (decoded.FromSettingsString(settings)) {
        ConnectDecoded(decoded, kPanelSampleRate);
        if (m_client == nullptr)
            LogError(L"Error: Connect to DirectX PlugIn", this, "clDSP::ShowConfigBit");
    }
    const HWND panel = m_form.Create(parent, x, y);
    TraceExit(this, "clDSP::ShowConfigBit");
    return panel;
}

// The text is the instance's: a host that destroys that meanwhile has no more use for it.
// NOLINTBEGIN(clang-analyzer-cplusplus.InnerPointer)
const wchar_t* clDSP::RemoveConfigBit(int code) {
    if (code == DSP_CODE_STORED_SETTINGS)
        return m_settingsText.c_str();
    const CPanelCall call(*this);
    const CLockObj turn(&m_panelLock);
    TraceEntry(this, "clDSP::RemoveConfigBit");
    if (InEffect()) { // its page may be in use, and its state can't be asked for: the last text holds
        LogError(kCalledFromEffect, this, "clDSP::RemoveConfigBit");
        return m_settingsText.c_str();
    }
    m_form.Close();
    m_settingsText.clear();
    {
        const CLockObj lock(&m_lock); // a conversion elsewhere must not take the client away meanwhile
        if (m_client != nullptr && !EncodeSettings())
            m_settingsText.clear();
    }
    TraceExit(this, "clDSP::RemoveConfigBit");
    return m_settingsText.c_str();
}
// NOLINTEND(clang-analyzer-cplusplus.InnerPointer)

bool clDSP::EncodeSettings() {
    void* state = nullptr;
    std::uint32_t size = 0;
    const CInEffect inside(*this);
    m_client->GetState(&state, &size); // without a state the text carries none
    const CMalloced<void> owner(state);
    const wchar_t terminator = L'\0';
    CMemBuff hex(kSettingsGrowBytes);
    if (size > INT32_MAX || !hex.WriteHex(&m_client->Clsid(), sizeof(GUID)) ||
        !hex.WriteHex(&size, sizeof size) || !hex.WriteHex(state, static_cast<std::int32_t>(size)) ||
        !hex.Append(&terminator, sizeof terminator))
        return false;
    try {
        m_settingsText = AnsiToWide(m_client->Name()) + L"=X" + reinterpret_cast<const wchar_t*>(hex.Data());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void clDSP::ConnectDecoded(CMemBuff& decoded, DWORD sampleRate) {
    char* text = nullptr;
    if (!decoded.ReadString(&text))
        return;
    const CMalloced<char> name(text);
    GUID clsid{};
    std::uint32_t size = 0;
    if (!decoded.Read(&clsid, sizeof clsid) || !decoded.Read(&size, sizeof size) ||
        size > static_cast<std::uint32_t>(decoded.BytesLeft()))
        return;
    const CMalloced<void> state(size == 0 ? nullptr : std::malloc(size));
    if (size != 0 && (state == nullptr || !decoded.Read(state.get(), static_cast<std::int32_t>(size))))
        return;
    const CLockObj lock(&m_lock); // no other call between the effect and its state
    if (ConnectDX(clsid, name.get(), sampleRate, 0) != 1 || size == 0 || m_client == nullptr)
        return;
    const CInEffect inside(*this);
    m_client->SetState(state.get(), size);
}

DWORD clDSP::OpenEditor() {
    const CLockObj lock(&m_lock);
    if (m_client == nullptr || InEffect())
        return 0;
    const CInEffect inside(*this);
    if (ShowPage())
        return 1;
    TakeEditorDown();
    return 0;
}

GUID clDSP::ConnectedEffect() {
    const CLockObj lock(&m_lock);
    return m_client != nullptr ? m_client->Clsid() : GUID{};
}

bool clDSP::ShowPage() {
    std::int32_t cx = 0;
    std::int32_t cy = 0;
    m_client->GetPageSize(&cx, &cy);
    const HWND window = m_editor.Create(m_form.Window(), IDD_EDITOR, cx, cy, m_client->Name());
    if (window == nullptr)
        return false;
    m_client->OpenEditor(window);
    return true;
}

void clDSP::CloseEditor() {
    const CLockObj lock(&m_lock);
    if (InEffect())
        return;
    const CInEffect inside(*this);
    TakeEditorDown();
}

void clDSP::TakeEditorDown() {
    if (m_client == nullptr)
        return;
    m_client->CloseEditor();
    ForeignFault fault;
    if (!m_client->Healthy())
        m_editor.Abandon();
    else if (!m_editor.Destroy(&fault))
        m_client->Condemn(fault);
    m_form.UncheckEditorButton();
}
