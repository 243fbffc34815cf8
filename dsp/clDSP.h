#pragma once

#include "config/CEditDlg.h"
#include "config/frmDSPSettings.h"
#include "dsp/CFmtConverter.h"
#include "dsp/CLockObj.h"
#include "dsp/CMemBuff.h"
#include "dsp/dsp_api.h"
#include "support/CAudioFormat.h"

#include <atomic>
#include <memory>
#include <string>

class CDXClient;

/// One instance of the module: the effect that was chosen, the panel and editor that show it, and the
/// conversion that runs audio through it. The methods are the exports' (dsp_api.h says what each does for the
/// host); they return 1 for success and 0 for failure, log, and throw nothing.
///
/// Threads: any. ConnectDX, BeginConversion and PassAudioBlock hold the instance lock for their whole run;
/// panel and editor belong to the host's window thread, and ShowConfigBit and RemoveConfigBit take turns.
class clDSP final : private ISettingsOwner {
public:
    /// context: copied; null switches the logs off. May throw std::bad_alloc.
    explicit clDSP(const DSPHostContext* context);
    ~clDSP();
    clDSP(const clDSP&) = delete;
    clDSP& operator=(const clDSP&) = delete;
    /// Ends and deletes the instance, made with `new`. Called back from within one of the panel's calls the
    /// panel goes now and the instance when that call ends; from within the effect the instance stays for
    /// good. Null: nothing happens.
    static void Destroy(clDSP* instance);

    DWORD Set(const wchar_t* key, const wchar_t* value);
    DWORD Get(const wchar_t* key, void* value);
    HWND ShowConfigBit(HWND parent, int x, int y, const wchar_t* settings);
    const wchar_t* RemoveConfigBit(int code);
    DWORD BeginConversion(const DSPConversionInfo* info, const wchar_t* settings);
    DWORD PassAudioBlock(DSPAudioBlock* given);
    DWORD PassNonLive();
    DWORD EndConversion();
    DWORD AfterConversion();

    /// Replaces the effect: an all-zero clsid takes it away. name: ANSI, may be null. sampleRate: frames per
    /// second. openEditor: also shows its page, and fails when that can't be shown.
    DWORD ConnectDX(GUID clsid, const char* name, DWORD sampleRate, DWORD openEditor) override;
    /// Shows the connected effect's page; a failure keeps the effect. 0 without an effect.
    DWORD OpenEditor() override;
    /// Takes the page down, if there is an effect.
    void CloseEditor() override;

    const DSPHostContext& HostContext() const { return m_context; }
    /// Is the calling thread inside the effect, called back from there?
    bool InEffect() const override { return m_effectThread.load() == ::GetCurrentThreadId(); }

private:
    /// Marks, for a scope, that this thread is inside the effect, which may take the thread's messages there
    /// and so let the host call again: such calls are refused.
    class CInEffect;
    static constexpr std::int32_t kSettingsGrowBytes = 1024;
    static constexpr wchar_t kCalledFromEffect[] = L"Error: Called from within the effect";

    GUID ConnectedEffect() override;
    void BeginPanelCall() override { ++m_panelCalls; }
    void EndPanelCall() override;

    bool ShowPage();
    void TakeEditorDown();
    /// Steps that ShowConfigBit and BeginConversion share once the text is decoded: connects the effect it
    /// names and gives it its state. Nothing happens for a payload that ends early.
    void ConnectDecoded(CMemBuff& decoded, DWORD sampleRate);
    bool EncodeSettings();

    bool ProcessFrames(BYTE* data, std::uint32_t frames);
    bool Convert(FmtRoutine routine, std::uint8_t** cursor, std::uint32_t frames, float* stereo);
    bool FlushTail(const CAudioFormat& format, CMemBuff& tail);
    bool AppendTail(DSPAudioBlock* block, const CAudioFormat& format, const CMemBuff& tail);
    DWORD Fail(const wchar_t* message, const char* function);

    DSPHostContext m_context{};
    frmDSPSettings m_form;
    std::wstring m_settingsText;
    CMemBuff m_output;
    std::unique_ptr<CDXClient> m_client;
    CFmtConverter m_converter;
    CEditDlg m_editor;
    std::atomic<DWORD> m_effectThread = 0;
    std::atomic<int> m_panelCalls = 0;   ///< under way, one within the other
    std::atomic<bool> m_retired = false; ///< destroyed by the host during a panel call
    CLockObj m_lock;
    CLockObj m_panelLock; ///< around ShowConfigBit and RemoveConfigBit; taken before m_lock
};
