#pragma once

#include "dxhost/CDxAllocator.h"
#include "dxhost/base/CMediaType.h"
#include "support/CCritSec.h"
#include "support/CForeignGuard.h"

#include <dshow.h>
#include <cstdint>
#include <vector>

class CDxBufRenderer;
class CDxNullSource;

/// Runs audio through one effect filter, block by block, on the caller's thread:
///
///     caller's frames -> CDxNullSource -> effect -> CDxBufRenderer -> the same number of frames
///
/// in a private graph of the platform's filter graph manager. The wire carries interleaved 32-bit float, two
/// channels into the effect; out of it two, or one when the effect's output connects no other way.
/// Threads: any one at a time; operations take the graph's lock. Nothing throws.
class CDxFilterGraph {
public:
    /// *result: S_OK, or why the graph can't be used. guard: the door to the effect, one of its own when
    /// null.
    explicit CDxFilterGraph(HRESULT* result, CForeignGuardPtr guard = nullptr);
    ~CDxFilterGraph();
    CDxFilterGraph(const CDxFilterGraph&) = delete;
    CDxFilterGraph& operator=(const CDxFilterGraph&) = delete;

    /// Puts `effect` (kept with a reference; null for none) between source and renderer. A failed build
    /// gives its code; the effect stays the graph's, unconnected, until another one or null is set.
    HRESULT SetEffect(IBaseFilter* effect);
    /// Frames per second, and the most frames of one block. E_INVALIDARG below 1; a change rebuilds the
    /// graph.
    HRESULT SetSampleRate(std::int32_t rate);
    HRESULT SetBlockLimit(std::int32_t frames);

    HRESULT Pause();
    /// The next block is then marked as a discontinuity.
    HRESULT Run();
    HRESULT Stop();

    /// Start times count from here, in frames; the next block is marked as a discontinuity. Always S_OK.
    HRESULT SetPosition(std::int64_t frames);

    /// Sends `frames` frames (1 .. block limit) from *data, or silence when *data is null; *data then points
    /// to the processed frames, inside the sample that the renderer holds until the next call. For an effect
    /// with mono output they are `frames` floats, followed by as many readable ones of no meaning. E_FAIL
    /// without an effect, when it gave nothing, or another number of frames; E_INVALIDARG for the count.
    HRESULT Process(const float** data, std::int32_t frames);

    /// Drops the sample behind the last result. Always S_OK.
    HRESULT ReleaseOutput();

    /// How far the last build came.
    enum class Stage { None, Joined, InputConnected, OutputConnected };
    Stage Built() const { return m_stage; }
    /// Channels of the effect's output in the last build; 0 when it was not connected.
    int OutputChannels() const { return m_outputChannels; }
    /// Frames that the effect gave for the last block; 0 for none.
    std::uint32_t FramesGiven() const { return m_framesGiven; }

private:
    HRESULT Rebuild();
    HRESULT Build();
    HRESULT MakeFilters();
    HRESULT AddFilters();
    HRESULT FindPin(PIN_DIRECTION direction, IPin** pin);
    HRESULT Connect();
    void Teardown();
    void DisconnectAll();
    HRESULT Control(HRESULT (STDMETHODCALLTYPE IMediaControl::*operation)());
    HRESULT TakeOutput(const float** data, std::uint32_t frames);

    CCritSec m_lock;
    const CForeignGuardPtr m_guard;
    bool m_connected = false;
    IBaseFilter* m_effect = nullptr;
    IGraphBuilder* m_builder = nullptr;
    IMediaControl* m_control = nullptr;
    std::int32_t m_blockLimit = 441;
    std::int32_t m_sampleRate = 44100;
    CDxNullSource* m_source = nullptr;
    CDxBufRenderer* m_renderer = nullptr;
    CDxAllocator* m_allocator = nullptr;
    IPin* m_effectInput = nullptr;
    IPin* m_effectOutput = nullptr;
    Stage m_stage = Stage::None;
    int m_outputChannels = 0;
    std::uint32_t m_framesGiven = 0;
    std::int64_t m_position = 0;
    bool m_discontinuity = false;
    std::vector<float> m_padded; // stands in for an output sample too short to be read as stereo
};
