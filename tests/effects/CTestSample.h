#pragma once

#include "dxhost/CDxAllocator.h"
#include "tests/effects/faults.h"

#include <wrl/client.h>

/// A sample of the effect's own over the memory of one of its allocator's. What the receiver asks of it can
/// break.
class CTestSample : public CMediaSample {
public:
    CTestSample(IMediaSample& inner, BYTE* data)
        : CMediaSample(Allocator(), data, inner.GetSize()), m_inner(&inner) {
        SetActualDataLength(inner.GetActualDataLength());
    }

    STDMETHODIMP_(ULONG) AddRef() override { return At(Place::SampleAddRef), m_count.Add(); }
    STDMETHODIMP_(ULONG) Release() override {
        At(Place::SampleRelease);
        const ULONG left = m_count.Drop();
        if (left == 0)
            delete this;
        return left;
    }
    STDMETHODIMP GetPointer(BYTE** data) override {
        return Enter(
            Place::SamplePointer, [&] { return CMediaSample::GetPointer(data); }, data);
    }
    STDMETHODIMP_(LONG) GetSize() override { return Figure(Place::SampleSize, CMediaSample::GetSize()); }
    STDMETHODIMP_(LONG) GetActualDataLength() override {
        return Figure(Place::SampleLength, CMediaSample::GetActualDataLength());
    }

private:
    // The base wants one; it is never called, as the base's own count is not used.
    static CBaseAllocator& Allocator() {
        static CDxAllocator* const allocator = [] {
            CDxAllocator* made = nullptr;
            return CDxAllocator::Create(&made), made;
        }();
        return *allocator;
    }
    static LONG Figure(Place place, LONG figure) {
        return Enter(
                   place, [] { return S_OK; }, &figure),
               figure;
    }

    CRefCount m_count;
    const Microsoft::WRL::ComPtr<IMediaSample> m_inner;
};
