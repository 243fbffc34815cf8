#include "config/test_candidate.h"

#include "dxhost/CDxFilterGraph.h"
#include "support/hresult.h"
#include "support/module.h"

#include <ocidl.h>
#include <exception>

namespace {

// One test run. The order of the members' end is the order in which the candidate is taken down.
class CTestRun {
public:
    explicit CTestRun(CandidateVerdict& verdict)
        : m_verdict(verdict), m_guard(std::make_shared<CForeignGuard>()) {}
    ~CTestRun() {
        m_verdict.leaving = true;
        if (m_running)
            m_graph->Pause();
        if (m_graph != nullptr)
            m_graph->SetEffect(nullptr);
        m_graph.reset();
        m_guard->Release(m_filter);
        if (m_module != nullptr && !m_guard->HasFaulted()) // what was left behind still needs its code
            ::FreeLibrary(m_module);
    }
    CTestRun(const CTestRun&) = delete;
    CTestRun& operator=(const CTestRun&) = delete;

    HRESULT Run(const GUID& clsid) {
        RETURN_IF_FAILED(Create(clsid));
        m_verdict.step = CandidateStep::Pages;
        RETURN_IF_FAILED(CountPages());
        m_verdict.step = CandidateStep::Graph;
        HRESULT made = S_OK;
        m_graph = std::make_unique<CDxFilterGraph>(&made, m_guard);
        RETURN_IF_FAILED(made);
        m_verdict.step = CandidateStep::Join;
        RETURN_IF_FAILED(Connect());
        m_verdict.step = CandidateStep::Run;
        RETURN_IF_FAILED(m_graph->Pause());
        RETURN_IF_FAILED(m_graph->Run());
        m_running = true;
        m_verdict.step = CandidateStep::Process;
        RETURN_IF_FAILED(Process());
        m_verdict.step = CandidateStep::Passed;
        return S_OK;
    }
    DWORD Fault() const { return m_guard->HasFaulted() ? m_guard->Fault().code : 0; }

private:
    HRESULT Create(const GUID& clsid) {
        RETURN_IF_FAILED(m_guard->Call([&] {
            return ::CoCreateInstance(
                clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, reinterpret_cast<void**>(&m_filter));
        }));
        if (m_filter == nullptr)
            return E_NOINTERFACE;
        return m_guard->Call([this] { m_module = HoldModuleOf(*reinterpret_cast<void**>(m_filter)); });
    }

    HRESULT CountPages() {
        ISpecifyPropertyPages* pages = nullptr;
        RETURN_IF_FAILED(m_guard->Call([&] {
            return m_filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&pages));
        }));
        if (pages == nullptr)
            return E_NOINTERFACE;
        CAUUID list{};
        const HRESULT asked = m_guard->Call([&] { return pages->GetPages(&list); });
        m_guard->Release(pages);
        m_guard->Call([&] { ::CoTaskMemFree(list.pElems); });
        m_verdict.pages = SUCCEEDED(asked) ? list.cElems : 0;
        return FAILED(asked) ? asked : m_verdict.pages == 1 ? S_OK : E_FAIL;
    }

    HRESULT Connect() {
        HRESULT result = m_graph->SetEffect(m_filter);
        if (SUCCEEDED(result))
            result = m_graph->SetSampleRate(kTestSampleRate);
        if (SUCCEEDED(result))
            result = m_graph->SetBlockLimit(kTestFrames);
        m_verdict.outputChannels = m_graph->OutputChannels();
        if (FAILED(result) && m_graph->Built() == CDxFilterGraph::Stage::Joined)
            m_verdict.step = CandidateStep::Input;
        else if (FAILED(result) && m_graph->Built() == CDxFilterGraph::Stage::InputConnected)
            m_verdict.step = CandidateStep::Output;
        return result;
    }

    HRESULT Process() {
        static constexpr float kSilence[kTestFrames * 2] = {};
        const float* data = kSilence;
        const HRESULT result = m_graph->Process(&data, kTestFrames);
        m_verdict.framesGiven = m_graph->FramesGiven();
        return SUCCEEDED(result) && data == nullptr ? E_POINTER : result;
    }

    CandidateVerdict& m_verdict;
    const CForeignGuardPtr m_guard;
    IBaseFilter* m_filter = nullptr;
    HMODULE m_module = nullptr;
    std::unique_ptr<CDxFilterGraph> m_graph;
    bool m_running = false;
};

} // namespace

void TryCandidate(const GUID& clsid, CandidateVerdict& verdict) {
    try {
        CTestRun run(verdict);
        verdict.result = run.Run(clsid);
        verdict.fault = run.Fault();
    } catch (const std::exception&) {
        verdict.result = E_OUTOFMEMORY;
    }
}
