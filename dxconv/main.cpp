#include "dxconv/CError.h"
#include "dxconv/CommandLine.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"

#include <objbase.h>

namespace {

void Run(std::vector<std::string> arguments) {
    const CommandLine commandLine = ParseCommandLine(std::move(arguments));
    switch (commandLine.verb) {
    case Verb::None:
        break;
    case Verb::Convert:
        RunConvert(commandLine.convert);
        break;
    case Verb::Effects:
        RunEffects();
        break;
    case Verb::List:
        RunList();
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
    case Verb::Version:
        RunVersion();
        break;
    }
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    WatchForInterruption();
    const bool com = SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    ExitCode code = ExitCode::Ok;
    try {
        std::vector<std::string> utf8;
        for (int i = 1; i < count; ++i)
            utf8.push_back(Utf8(arguments[i]));
        Run(std::move(utf8));
    } catch (const CError& error) {
        PrintErrorLine(error.what());
        code = error.Code();
    } catch (const std::exception& error) {
        PrintErrorLine(std::string("internal error: ") + error.what() + "; free some memory or report it");
        code = ExitCode::Internal;
    }
    if (com)
        ::CoUninitialize();
    return static_cast<int>(code);
}
