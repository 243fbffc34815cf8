#pragma once

#include "config/CEditDlg.h"
#include "config/ISettingsForm.h"
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
/// panel and editor belong to the host's window thread.
class clDSP {
public:
    /// context: copied; null switches the logs off. form: the panel, none when null. May throw
    /// std::bad_alloc.
    explicit clDSP(const DSPHostContext* context, std::unique_ptr<ISettingsForm> form = nullptr);
    ~clDSP();
    clDSP(const clDSP&) = delete;
    clDSP& operator=(const clDSP&) = delete;

    DWORD Set(const wchar_t* key, const wchar_t* value);
    DWORD Get(const wchar_t* key, void* value);
    HWND ShowConfigBit(HWND parent, int x, int y, const wchar_t* settings);
    const wchar_t* RemoveConfigBit(int code);
    DWORD BeginConversion(const DSPConversionInfo* info, const wchar_t* settings);
    DWORD PassAudioBlock(DSPAudioBlock* block);
    DWORD PassNonLive();
    DWORD EndConversion();
    DWORD AfterConversion();

    /// Replaces the effect: an all-zero clsid takes it away. name: ANSI, may be null. sampleRate: frames per
    /// second. openEditor: also shows its page, and fails when that can't be shown.
    DWORD ConnectDX(GUID clsid, const char* name, DWORD sampleRate, DWORD openEditor);
    /// Shows the connected effect's page; a failure keeps the effect. 0 without an effect.
    DWORD OpenEditor();
    /// Takes the page down, if there is an effect.
    void CloseEditor();

    const DSPHostContext& HostContext() const { return m_context; }
    /// Is the calling thread inside the effect, called back from there? The instance must not be deleted
    /// then.
    bool InEffect() const { return m_effectThread.load() == ::GetCurrentThreadId(); }

private:
    /// Marks, for a scope, that this thread is inside the effect, which may take the thread's messages there
    /// and so let the host call again: such calls are refused.
    class CInEffect;
    static constexpr std::int32_t kSettingsGrowBytes = 1024;

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
    std::unique_ptr<ISettingsForm> m_form;
    std::wstring m_settingsText;
    CMemBuff m_output;
    std::unique_ptr<CDXClient> m_client;
    CFmtConverter m_converter;
    CEditDlg m_editor;
    std::atomic<DWORD> m_effectThread = 0;
    CLockObj m_lock;
};
