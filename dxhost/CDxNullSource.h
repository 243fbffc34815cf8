#pragma once

#include "dxhost/CDxNullSourceStream.h"
#include "dxhost/base/CBaseFilter.h"

#include <memory>

/// The filter that feeds the host's audio into a graph: no thread, no clock, one output pin that delivers on
/// demand. Made by CDxFilterGraph, never registered.
class CDxNullSource : public CBaseFilter {
public:
    /// *result: E_OUTOFMEMORY or E_INVALIDARG on failure, else as it was. See CDxNullSourceStream.
    CDxNullSource(
        HRESULT* result, const WAVEFORMATEX& format, std::uint32_t bufferBytes, CForeignGuardPtr guard);
    ~CDxNullSource() override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;

    /// Keeps the allocator that the stream falls back on. S_FALSE, and nothing kept, when it does not answer
    /// IDeferZeroFillAllocator.
    HRESULT SetAllocator(IMemAllocator* allocator);
    /// *allocator gets the held allocator with a reference, or null. E_POINTER.
    HRESULT GetAllocator(IMemAllocator** allocator);

    CDxNullSourceStream& Stream() { return *m_stream; }

private:
    std::unique_ptr<CDxNullSourceStream> m_stream;
    IMemAllocator* m_allocator = nullptr;
};
