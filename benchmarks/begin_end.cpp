// What beginning and ending a conversion costs, and how much of it is the platform's and the effect's.

#include "benchmarks/CModuleHost.h"
#include "benchmarks/measure.h"
#include "benchmarks/report.h"
#include "dxhost/CDxAllocator.h"
#include "dxhost/CDxBufRenderer.h"
#include "dxhost/CDxNullSource.h"
#include "effects/echo/guids.h"
#include "support/com.h"

#include <wrl/client.h>
#include <olectl.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>

using Microsoft::WRL::ComPtr;

namespace {

constexpr std::int32_t kBufferBytes = 4096;
constexpr double kMicro = 1e-6;
constexpr unsigned kRounds = 101;

constexpr const char* kSteps[] = {"effect created", "its page created",
    "the page's size asked for (it makes a window to measure)", "graph manager created",
    "filters added and connected, twice", "`Pause` and `Run`", "`Stop`, pins disconnected, filters removed",
    "graph manager released", "effect and page released"};

// Everything that a conversion makes the platform and the effect do, and nothing else: the calls of a
// connection and of its end, one after the other. The filters at both ends are the module's own.
class CBareConnection {
public:
    void Run() {
        m_last = std::chrono::steady_clock::now();
        m_step = 0;
        {
            const CComApartment com;
            CreateEffect();
            Must(::CoCreateInstance(
                CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_builder)));
            Must(m_builder.As(&m_control));
            Mark();
            // At the frames per block that a graph starts with, and again at the conversion's.
            AddFilters();
            Connect();
            Disconnect();
            AddFilters();
            Connect();
            Mark();
            Must(m_control->Pause());
            Must(m_control->Run());
            Mark();
            Disconnect();
            Mark();
            m_control.Reset();
            m_builder.Reset();
            Mark();
            m_page->SetPageSite(nullptr);
            m_page.Reset();
            m_filter.Reset();
            m_effect.Reset();
        }
        Mark();
    }

    /// Microseconds of each step, the middle of all runs.
    std::vector<Part> Steps() {
        std::vector<Part> steps{{"all of it", 0}};
        for (std::size_t n = 0; n != std::size(kSteps); ++n) {
            steps.push_back({kSteps[n], Median(m_seconds[n]) / kMicro});
            steps.front().value += steps.back().value;
        }
        return steps;
    }

private:
    void Mark() {
        const auto now = std::chrono::steady_clock::now();
        m_seconds[m_step++].push_back(std::chrono::duration<double>(now - m_last).count());
        m_last = now;
    }

    void CreateEffect() {
        Must(::CoCreateInstance(kEchoFilterClsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_effect)));
        Must(m_effect.As(&m_filter));
        Mark();
        ComPtr<ISpecifyPropertyPages> pages;
        Must(m_effect.As(&pages));
        CAUUID ids{};
        Must(pages->GetPages(&ids));
        Must(::CoCreateInstance(ids.pElems[0], nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_page)));
        ::CoTaskMemFree(ids.pElems);
        IUnknown* const effect = m_effect.Get();
        Must(m_page->SetObjects(1, const_cast<IUnknown**>(&effect)));
        Mark();
        PROPPAGEINFO info{};
        info.cb = sizeof info;
        Must(m_page->GetPageInfo(&info));
        ::CoTaskMemFree(info.pszTitle);
        ::CoTaskMemFree(info.pszDocString);
        ::CoTaskMemFree(info.pszHelpFile);
        Mark();
    }

    void AddFilters() {
        const auto guard = std::make_shared<CForeignGuard>();
        HRESULT result = S_OK;
        Must(CDxAllocator::Create(&m_allocator, guard));
        m_renderer = new CDxBufRenderer(&result, guard);
        m_source = new CDxNullSource(&result, HostFormat(WAVE_FORMAT_IEEE_FLOAT, 32), kBufferBytes, guard);
        Must(result);
        m_source->SetAllocator(m_allocator.Get());
        m_renderer->InputPin().SetAllocator(m_allocator.Get());
        Must(m_builder->AddFilter(m_source.Get(), L"Source"));
        Must(m_builder->AddFilter(m_filter.Get(), L"Effect"));
        Must(m_builder->AddFilter(m_renderer.Get(), L"Renderer"));
    }

    void Connect() {
        ComPtr<IEnumPins> pins;
        Must(m_filter->EnumPins(&pins));
        Must(pins->Next(1, &m_in, nullptr));
        Must(pins->Next(1, &m_out, nullptr));
        CMediaType type;
        Must(type.SetAudio(HostFormat(WAVE_FORMAT_IEEE_FLOAT, 32)));
        Must(m_builder->ConnectDirect(m_source->GetPin(0), m_in.Get(), &type));
        Must(m_builder->ConnectDirect(m_out.Get(), m_renderer->GetPin(0), &type));
        Must(m_allocator->Alloc());
    }

    void Disconnect() {
        m_control->Stop();
        for (IPin* const pin :
            std::initializer_list<IPin*>{m_source->GetPin(0), m_in.Get(), m_out.Get(), m_renderer->GetPin(0)})
            m_builder->Disconnect(pin);
        for (IBaseFilter* const filter :
            std::initializer_list<IBaseFilter*>{m_source.Get(), m_filter.Get(), m_renderer.Get()})
            m_builder->RemoveFilter(filter);
        m_in.Reset();
        m_out.Reset();
        m_source.Reset();
        m_renderer.Reset();
        m_allocator->Free();
        m_allocator.Reset();
    }

    ComPtr<IUnknown> m_effect;
    ComPtr<IBaseFilter> m_filter;
    ComPtr<IPropertyPage> m_page;
    ComPtr<IGraphBuilder> m_builder;
    ComPtr<IMediaControl> m_control;
    ComPtr<CDxAllocator> m_allocator;
    ComPtr<CDxNullSource> m_source;
    ComPtr<CDxBufRenderer> m_renderer;
    ComPtr<IPin> m_in;
    ComPtr<IPin> m_out;
    std::chrono::steady_clock::time_point m_last;
    std::size_t m_step = 0;
    std::array<std::vector<double>, std::size(kSteps)> m_seconds;
};

void Report() {
    PrintSection("Beginning and ending a conversion",
        "Warm, with Echo: `DSP_BeginConversion`, `DSP_EndConversion`, `DSP_AfterConversion`, and the effect "
        "let go. "
        "Against the same calls into the platform and the effect made bare, in the same rounds.");
    PrintTableHead("µs");
    CModuleHost host;
    CBareConnection bare;
    const WAVEFORMATEX format = HostFormat(WAVE_FORMAT_PCM, 16);
    const std::vector<double> seconds =
        MedianSeconds({[&] {
                           host.Begin(format);
                           host.End();
                           host.Drop(); // the bare connection must not find a graph manager alive
                       },
                          [&] { bare.Run(); }},
            kRounds);
    PrintRow({"begin and end", seconds[0] / kMicro, "platform and effect", seconds[1] / kMicro, 1.0 / 0.9});
    PrintParts("platform and effect", "µs", bare.Steps());
}

} // namespace

int main() {
    try {
        const CComApartment com;
        Report();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return 1;
    }
}
