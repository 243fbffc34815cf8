#include "dxconv/CDspInstance.h"
#include "dxconv/CError.h"
#include "dxconv/COutputFile.h"
#include "dxconv/CPanelWindow.h"
#include "dxconv/files.h"
#include "dxconv/given_settings.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "dxconv/worker.h"

#include <optional>

namespace {

bool IsMissing(const std::string& file) {
    return ::GetFileAttributesW(FullPath(file).c_str()) == INVALID_FILE_ATTRIBUTES &&
           ::GetLastError() == ERROR_FILE_NOT_FOUND;
}

// The settings as they are when the user has closed the window. The panel goes first, then the window around
// it, then the instance.
std::wstring LetUserChoose(const CDspModule& module, const CHostLogs& logs, const std::wstring& settings) {
    CDspInstance dsp(module, logs, "panel");
    CPanelWindow window(L"dxconv: effect settings");
    window.Fit(dsp.ShowPanel(window.Window(), window.Margin(), window.Margin(), settings));
    window.RunUntilClosed();
    return dsp.RemovePanel();
}

} // namespace

std::string PanelFile(const PanelOptions& options) {
    return options.settingsFile == "-" ? ".\\-" : options.settingsFile;
}

void RunPanel(const PanelOptions& options) {
    const std::string& name = options.settingsFile;
    const std::wstring given = GivenSettings(options.settings, name.empty() || IsMissing(name) ? "" : name);
    const CDspModule module(options.module);
    const CHostLogs logs({});
    std::optional<COutputFile> file; // from the start, so that one that can't be written is no late surprise
    if (!name.empty())
        file.emplace(PanelFile(options), PresetTemporary());
    const std::wstring chosen = LetUserChoose(module, logs, given);
    ThrowIfCancelled(name);
    const std::string line = Utf8(chosen) + "\n";
    Print(STD_OUTPUT_HANDLE, line);
    if (!file)
        return;
    if (chosen.empty() && !given.empty()) { // an effect that is not installed here must not cost its settings
        const std::string logged = logs.LastError();
        throw CError(ExitCode::Effect, name,
            "was not changed: the panel has no effect" + (logged.empty() ? "" : " (" + logged + ")") +
                "; install the effect, or choose one");
    }
    file->Write(line.data(), line.size());
    file->Commit();
}
