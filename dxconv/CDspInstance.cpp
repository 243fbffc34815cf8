#include "dxconv/CDspInstance.h"

#include "dxconv/CError.h"
#include "dxconv/installed_class.h"
#include "dxconv/settings_text.h"
#include "dxconv/worker.h"

namespace {

constexpr DWORD kPumpEveryMs = 10;

// Effects make hidden windows and COM calls on this thread; both need its messages to be taken.
void PumpMessages() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

// The module sees no more than COM's answer.
std::string WhyNot(const std::wstring& settings) {
    const std::string problem = InstallationProblem(SettingsClsid(settings));
    return problem.empty() ? "" : ": it " + problem;
}

} // namespace

CDspInstance::CDspInstance(const CDspModule& module, const CHostLogs& logs, std::string subject)
    : m_module(module), m_logs(logs), m_subject(std::move(subject)) {
    const DSPHostContext context = logs.Context();
    {
        const CInsideCall inside(WorkerCall::Begin);
        m_instance = module.Create(&context);
    }
    if (m_instance == nullptr)
        Fail("the module made no instance", "close other programs to free memory");
}

CDspInstance::~CDspInstance() {
    const CInsideCall inside(WorkerCall::Release);
    m_module.Destroy(m_instance);
}

void CDspInstance::Fail(const std::string& what, const std::string& advice) const {
    const std::string logged = m_logs.LastError();
    throw CError(
        ExitCode::Conversion, m_subject, what + (logged.empty() ? "" : " (" + logged + ")") + "; " + advice);
}

void CDspInstance::Begin(const DSPBlockFormat& format, const std::wstring& settings) {
    if (m_module.Get(m_instance, L"IsLive", nullptr) != 1)
        Fail("the module does not process audio block by block", "use another module");
    const DSPConversionInfo info{{}, &format.ex};
    const CInsideCall inside(WorkerCall::Begin);
    if (m_module.BeginConversion(m_instance, &info, settings.c_str()) != 1)
        Fail("the effect could not be started" + WhyNot(settings),
            "'dxconv check' and 'dxconv doctor' say more");
}

void CDspInstance::Pass(DSPAudioBlock& block) {
    const CInsideCall inside(WorkerCall::Block);
    if (const DWORD now = ::GetTickCount();
        now - m_pumpedAt >= kPumpEveryMs) { // a look costs more than a block
        PumpMessages();
        m_pumpedAt = now;
    }
    const BYTE* const given = block.pData;
    const INT32 givenBytes = block.nBytes;
    if (m_module.PassAudioBlock(m_instance, &block) != 1)
        Fail("the effect failed while it was running", "try another effect or other settings");
    if (block.nBytes < 0 || (block.nBytes > 0 && block.pData == nullptr))
        Fail("the module gave back a block without audio", "use another module");
    if (block.bLastBlock == 0 && (block.pData != given || block.nBytes != givenBytes))
        Fail("the module gave back another block than it got", "use another module");
}

void CDspInstance::End() {
    const CInsideCall inside(WorkerCall::End);
    m_module.EndConversion(m_instance, 0);
}

void CDspInstance::After() {
    const CInsideCall inside(WorkerCall::End);
    m_module.AfterConversion(m_instance, 0);
}

HWND CDspInstance::ShowPanel(HWND parent, int x, int y, const std::wstring& settings) {
    const HWND panel = m_module.ShowConfigBit(m_instance, parent, x, y, settings.c_str());
    if (panel == nullptr)
        Fail("the module shows no panel", "use another module");
    return panel;
}

std::wstring CDspInstance::RemovePanel() {
    const wchar_t* const settings = m_module.RemoveConfigBit(m_instance, 0);
    if (settings == nullptr)
        Fail("the module gave no settings", "use another module");
    return settings;
}
