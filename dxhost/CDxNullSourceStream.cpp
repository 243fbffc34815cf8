#include "dxhost/CDxNullSourceStream.h"

#include "dxhost/CDxNullSource.h"
#include "dxhost/IDeferZeroFill.h"
#include "support/hresult.h"

#include <intrin.h>
#include <cstdint>
#include <cstring>

namespace {

// Two: an effect may keep the sample of the block before while the next one is filled.
constexpr LONG kBuffers = 2;

// Samples start a page and the converter's frames a cache line: there a processor with a fast string move
// needs two thirds of the run-time library's time with it.
void CopyAudio(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) {
    constexpr std::uintptr_t kLineBytes = 64;
    if (((reinterpret_cast<std::uintptr_t>(to) | reinterpret_cast<std::uintptr_t>(from)) &
            (kLineBytes - 1)) == 0)
        __movsb(to, from, bytes);
    else
        std::memcpy(to, from, bytes);
}

} // namespace

CDxNullSourceStream::CDxNullSourceStream(CDxNullSource& owner, HRESULT* result, const WAVEFORMATEX& format,
    std::uint32_t bufferBytes, CForeignGuardPtr guard)
    : CDynamicOutputPin(owner, L"Plug-in src", std::move(guard)), m_format(format),
      m_bufferBytes(bufferBytes), m_owner(owner) {
    if (format.wBitsPerSample != 32)
        *result = E_INVALIDARG;
}

HRESULT CDxNullSourceStream::CheckMediaType(const AM_MEDIA_TYPE* type) {
    return IsFloatAudio(type) ? S_OK : E_INVALIDARG;
}

HRESULT CDxNullSourceStream::GetMediaType(int position, CMediaType* type) {
    const CAutoLock lock(Filter().Lock());
    if (position < 0)
        return E_INVALIDARG;
    return position == 0 ? type->SetAudio(m_format) : VFW_S_NO_MORE_ITEMS;
}

HRESULT CDxNullSourceStream::DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) {
    const ALLOCATOR_PROPERTIES wishes = Requirements(input);
    IMemAllocator* chosen = nullptr;
    if (FAILED(Foreign([&] { return input->GetAllocator(&chosen); })))
        chosen = nullptr;
    IDeferZeroFillAllocator* ours = nullptr;
    if (chosen != nullptr)
        Foreign([&] {
            return chosen->QueryInterface(IID_IDeferZeroFillAllocator, reinterpret_cast<void**>(&ours));
        });
    if (ours != nullptr)
        ForeignRelease(ours);
    else {
        ForeignRelease(chosen);
        RETURN_IF_FAILED(InitAllocator(&chosen));
    }
    if (chosen == nullptr)
        return VFW_E_NO_ALLOCATOR;
    const HRESULT result = SizeAndNotify(input, chosen, wishes, false);
    if (FAILED(result))
        ForeignRelease(chosen);
    *allocator = chosen;
    return result;
}

HRESULT CDxNullSourceStream::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    const CAutoLock lock(Filter().Lock());
    request->cBuffers = kBuffers;
    request->cbBuffer = static_cast<LONG>(m_bufferBytes);
    ALLOCATOR_PROPERTIES actual{};
    HRESULT result = Foreign([&] { return allocator->SetProperties(request, &actual); });
    // A graph manager may carry a reconnection out only when the buffers are made already: they fit as well
    // then.
    if (result == VFW_E_ALREADY_COMMITTED)
        result = Foreign([&] { return allocator->GetProperties(&actual); });
    RETURN_IF_FAILED(result);
    return actual.cbBuffer < request->cbBuffer ? E_FAIL : S_OK;
}

HRESULT CDxNullSourceStream::InitAllocator(IMemAllocator** allocator) {
    return m_owner.GetAllocator(allocator);
}

HRESULT CDxNullSourceStream::DeliverBlock(REFERENCE_TIME start, std::uint32_t frames, bool discontinuity) {
    const CAutoLock pinLock(m_lock);
    const CAutoLock filterLock(Filter().Lock());
    IMediaSample* sample = nullptr;
    RETURN_IF_FAILED(GetDeliveryBuffer(&sample, nullptr, nullptr, 0));
    HRESULT result = Fill(sample, start, frames, discontinuity);
    if (SUCCEEDED(result))
        result = Deliver(sample);
    sample->Release(); // from the shared allocator, so ours, even when the effect has just faulted
    return result;
}

HRESULT CDxNullSourceStream::Fill(
    IMediaSample* sample, REFERENCE_TIME start, std::uint32_t frames, bool discontinuity) {
    RETURN_IF_FAILED(sample->SetTime(&start, nullptr));
    RETURN_IF_FAILED(sample->SetDiscontinuity(discontinuity));
    const std::size_t bytes = std::size_t{frames} * m_format.nBlockAlign;
    if (bytes > static_cast<std::size_t>(sample->GetSize()))
        return VFW_E_BUFFER_OVERFLOW;
    BYTE* data = nullptr;
    RETURN_IF_FAILED(sample->GetPointer(&data));
    if (const std::uint8_t* const pending = std::exchange(m_pendingData, nullptr))
        CopyAudio(data, pending, bytes);
    else
        RETURN_IF_FAILED(Silence(sample, data, bytes));
    return sample->SetActualDataLength(static_cast<LONG>(bytes));
}

HRESULT CDxNullSourceStream::Silence(IMediaSample* sample, std::uint8_t* data, std::size_t bytes) {
    IDeferZeroFill* deferrer = nullptr;
    if (FAILED(sample->QueryInterface(IID_IDeferZeroFill, reinterpret_cast<void**>(&deferrer)))) {
        std::memset(data, 0, bytes);
        return S_OK;
    }
    deferrer->SetDeferZeroFill(TRUE);
    deferrer->Release();
    return S_OK;
}
