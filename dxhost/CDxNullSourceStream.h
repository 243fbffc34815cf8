#pragma once

#include "dxhost/base/CDynamicOutputPin.h"
#include "support/CCritSec.h"

#include <cstdint>

class CDxNullSource;

/// The output pin of CDxNullSource: delivers one sample each time it is told to, on the caller's thread.
class CDxNullSourceStream : public CDynamicOutputPin {
public:
    /// format: 32-bit samples, else *result becomes E_INVALIDARG. bufferBytes: size of each sample's buffer.
    CDxNullSourceStream(CDxNullSource& owner, HRESULT* result, const WAVEFORMATEX& format,
        std::uint32_t bufferBytes, CForeignGuardPtr guard);

    /// The frames of the next delivery, borrowed until it is done. Null: the next delivery is silent.
    void SetPendingData(const std::uint8_t* data) { m_pendingData = data; }

    /// Sends one sample of `frames` frames, at most what a buffer holds, that starts at `start` (100 ns
    /// units). Returns what the connected filter answers, after it has passed its own output on. Takes the
    /// pin's lock, then the filter's.
    HRESULT DeliverBlock(REFERENCE_TIME start, std::uint32_t frames, bool discontinuity);

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT InitAllocator(IMemAllocator** allocator) override;

private:
    /// Times, discontinuity and data of one delivery.
    HRESULT Fill(IMediaSample* sample, REFERENCE_TIME start, std::uint32_t frames, bool discontinuity);
    HRESULT Silence(IMediaSample* sample, std::uint8_t* data, std::size_t bytes);

    CCritSec m_lock;
    const std::uint8_t* m_pendingData = nullptr;
    const WAVEFORMATEX m_format;
    const std::uint32_t m_bufferBytes;
    CDxNullSource& m_owner;
};
