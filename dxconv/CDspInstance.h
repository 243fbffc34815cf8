#pragma once

#include "dxconv/CDspModule.h"
#include "dxconv/CHostLogs.h"

#include <string>

/// One instance of the module, driven as a host does: Begin, Pass per block, End, and After once the host's
/// file is finished; or ShowPanel and RemovePanel. What the module hands back is checked. Thread: one, the
/// one that made it. Errors: CError with ExitCode::Conversion.
class CDspInstance {
public:
    /// subject: the file that error lines name. Module and logs are borrowed.
    CDspInstance(const CDspModule& module, const CHostLogs& logs, std::string subject);
    ~CDspInstance();
    CDspInstance(const CDspInstance&) = delete;
    CDspInstance& operator=(const CDspInstance&) = delete;

    void Begin(const DSPBlockFormat& format, const std::wstring& settings);
    /// Processes the block. On the last one pData and nBytes may come back changed (an appended tail).
    void Pass(DSPAudioBlock& block);
    void End();
    void After();

    /// Shows the panel in `parent`, its upper left corner at (x, y) in client pixels, with the effect that
    /// the settings name. Returns its window, which stays the module's. Thread: the one that runs `parent`.
    HWND ShowPanel(HWND parent, int x, int y, const std::wstring& settings);
    /// Takes the panel down and returns the settings as they are now; empty without an effect.
    std::wstring RemovePanel();

private:
    [[noreturn]] void Fail(const std::string& what, const std::string& advice) const;

    const CDspModule& m_module;
    const CHostLogs& m_logs;
    std::string m_subject;
    void* m_instance = nullptr;
    DWORD m_pumpedAt = 0; // tick
};
