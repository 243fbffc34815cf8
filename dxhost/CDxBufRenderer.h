#pragma once

#include "dxhost/CDxBufRendererInputPin.h"
#include "dxhost/base/CBaseFilter.h"

#include <cstdint>
#include <memory>

/// The last filter of a graph: keeps a reference to the sample that the effect delivered last, so that the
/// caller can read the processed frames where they are. No copy, no queue, no clock. Made by CDxFilterGraph.
///
/// Samples may come from the effect's own allocator: they are foreign, and touched through the guard.
class CDxBufRenderer : public CBaseFilter {
public:
    /// *result becomes E_OUTOFMEMORY on failure, else it stays.
    CDxBufRenderer(HRESULT* result, CForeignGuardPtr guard);
    ~CDxBufRenderer() override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;
    CDxBufRendererInputPin& InputPin() { return *m_pin; }

    /// The format of the connection: the head, and cbSize where the block has one.
    void SetFormat(const WAVEFORMATEX& format, std::size_t formatBytes);
    const WAVEFORMATEX& Format() const { return m_format; }

    /// Holds `sample`, with a reference, in place of the one before; the same one is held once.
    void SetSample(IMediaSample* sample);
    /// Where the held sample's frames are, how many, and how many bytes may be read there. The pointer is
    /// good while the sample is held. E_FAIL without a sample, or when the sample's figures make no sense.
    HRESULT GetOutput(std::uint8_t** data, std::uint32_t* frames, std::uint32_t* readableBytes);
    /// Drops the held sample: 0 when there was one, else 1.
    int ReleaseSample();

private:
    const CForeignGuardPtr m_guard;
    WAVEFORMATEX m_format{};
    IMediaSample* m_sample = nullptr;
    std::unique_ptr<CDxBufRendererInputPin> m_pin;
};
