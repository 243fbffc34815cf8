#include "dxconv/CBatch.h"

#include "dxconv/CError.h"
#include "dxconv/CProgress.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace {

std::size_t JobCount(unsigned wanted) {
    if (wanted != 0)
        return wanted;
    SYSTEM_INFO system;
    ::GetSystemInfo(&system);
    return std::clamp<std::size_t>(system.dwNumberOfProcessors, 1, ConvertOptions::kMostJobs);
}

void Fail(Conversion& file, const CError& error) {
    CProgress::Wipe();
    PrintErrorLine(error.what());
    file.code = error.Code();
    file.reason = error.what();
}

void Settle(Conversion& file, CSupervisedRun& run) {
    const WorkerPage& page = run.Page();
    try {
        file.code = run.Settle();
        file.figures = page.figures;
        file.reason.assign(page.reason, ::strnlen(page.reason, sizeof page.reason));
    } catch (const CError& error) {
        Fail(file, error);
    }
    file.result = file.code == ExitCode::Ok          ? ConversionResult::Converted
                  : file.code == ExitCode::Cancelled ? ConversionResult::Cancelled
                                                     : ConversionResult::Failed;
}

void PutPath(wchar_t (&path)[WorkerPage::kLongestPath], const std::string& name) {
    const std::wstring wide = Wide(name);
    if (wide.size() >= WorkerPage::kLongestPath)
        throw CError(ExitCode::Usage, name.substr(0, 100), "is too long a name; give a shorter one");
    std::wcscpy(path, wide.c_str());
}

} // namespace

CBatch::CBatch(const ConvertOptions& options, std::vector<Conversion>& files)
    : m_options(options), m_files(files), m_next(files.begin()), m_jobs(JobCount(options.jobs)) {
    SuperviseInterruptions();
}

void CBatch::Run() {
    for (StartMore(); !m_running.empty(); StartMore()) {
        ShowProgress();
        WaitForAny();
        TakeEnded();
    }
    CProgress::Wipe();
}

void CBatch::StartMore() {
    for (; m_next != m_files.end() && m_running.size() < m_jobs && !IsCancelled(); ++m_next)
        if (m_next->result == ConversionResult::NotStarted)
            Start(*m_next);
}

void CBatch::Start(Conversion& file) {
    try {
        auto run = std::make_unique<CSupervisedRun>(Supervision{file.in, file.out, m_options.timeoutSeconds});
        PutPath(run->Page().input, file.in);
        PutPath(run->Page().output, file.out);
        run->Start();
        m_running.push_back({&file, std::move(run)});
    } catch (const CError& error) {
        Fail(file, error);
        file.result = ConversionResult::Failed;
    }
}

void CBatch::WaitForAny() const {
    std::vector<HANDLE> handles{InterruptionEvent()};
    for (const Running& running : m_running)
        handles.push_back(running.run->Process());
    ::WaitForMultipleObjects(
        static_cast<DWORD>(handles.size()), handles.data(), FALSE, CChildProcess::kPollMs);
}

void CBatch::TakeEnded() {
    std::erase_if(m_running, [](Running& running) {
        if (!running.run->Look())
            return false;
        Settle(*running.file, *running.run);
        return true;
    });
}

void CBatch::ShowProgress() const {
    if (m_options.quiet || m_options.outDir.empty())
        return;
    std::size_t done = 0;
    std::size_t failed = 0;
    for (const Conversion& file : m_files) {
        done += file.result != ConversionResult::NotStarted ? 1 : 0;
        failed += file.result == ConversionResult::Failed ? 1 : 0;
    }
    CProgress::Show(std::to_string(done) + " of " + std::to_string(m_files.size()) + " files done, " +
                    std::to_string(failed) + " failed");
}
