#include "dxconv/CError.h"
#include "dxconv/CProgress.h"
#include "dxconv/CommandLine.h"
#include "dxconv/interruption.h"
#include "dxconv/supervision.h"
#include "dxconv/text.h"
#include "dxconv/trial.h"
#include "dxconv/worker.h"
#include "support/com.h"

#include <optional>

namespace {

// The verbs that run an effect in a worker; all others, the worker itself included, do their own work.
ExitCode Supervise(const CommandLine& commandLine) {
    switch (commandLine.verb) {
    case Verb::Convert:
        return SuperviseConvert(commandLine.convert);
    case Verb::Panel:
        return RunSupervised({"panel", PanelFile(commandLine.panel), 0});
    case Verb::Doctor:
        return RunSupervised({"doctor", {}, commandLine.doctor.timeoutSeconds});
    default:
        return RunSupervised({"scan", {}, 0});
    }
}

bool NeedsWorker(const CommandLine& commandLine) {
    const Verb verb = commandLine.verb;
    return verb == Verb::Convert || verb == Verb::Panel || verb == Verb::Doctor ||
           (verb == Verb::Scan && !commandLine.scan.headless);
}

void RunVerb(const CommandLine& commandLine) {
    switch (commandLine.verb) {
    case Verb::None:
        break;
    case Verb::Convert:
        RunConvert(commandLine.convert);
        break;
    case Verb::Effects:
        RunEffects(commandLine.effects);
        break;
    case Verb::List:
        RunList(commandLine.list);
        break;
    case Verb::Scan:
        RunScan(commandLine.scan);
        break;
    case Verb::Check:
        RunCheck(commandLine.check);
        break;
    case Verb::Panel:
        RunPanel(commandLine.panel);
        break;
    case Verb::Doctor:
        RunDoctor(commandLine.doctor);
        break;
    case Verb::Version:
        RunVersion();
        break;
    }
}

ExitCode Run(int count, wchar_t** arguments, std::optional<CComApartment>& com) {
    if (OwnPage() != nullptr && OwnPage()->task != WorkerTask::CommandLine) {
        com.emplace();
        RunTrial();
        return ExitCode::Ok;
    }
    std::vector<std::string> utf8;
    for (int i = 1; i < count; ++i)
        utf8.push_back(Utf8(arguments[i]));
    const CommandLine commandLine = ParseCommandLine(std::move(utf8));
    if (OwnPage() == nullptr && NeedsWorker(commandLine))
        return Supervise(commandLine);
    com.emplace();
    RunVerb(commandLine);
    return ExitCode::Ok;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    if (!BecomeWorker())
        WatchForInterruption();
    std::optional<CComApartment> com; // goes last: what the effect does then is no result any more
    ExitCode code = ExitCode::Ok;
    try {
        code = Run(count, arguments, com);
    } catch (const CError& error) {
        CProgress::Wipe(); // one that another process draws
        PrintErrorLine(error.what());
        MarkReason(error.what());
        code = error.Code();
    } catch (const std::exception& error) {
        const std::string line = std::string("internal error: ") + error.what();
        PrintErrorLine(line + "; free some memory or report it");
        MarkReason(line);
        code = ExitCode::Internal;
    }
    MarkFinished(static_cast<std::uint32_t>(code));
    return static_cast<int>(code);
}
