#include "dxhost/base/CBaseAllocator.h"

#include <utility>

CBaseAllocator::CBaseAllocator(CForeignGuardPtr guard)
    : m_guard(guard != nullptr ? std::move(guard) : std::make_shared<CForeignGuard>()) {}

CBaseAllocator::~CBaseAllocator() {
    DeleteFree();
    m_guard->Release(m_notify);
}

STDMETHODIMP CBaseAllocator::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IMemAllocator || iid == IID_IMemAllocatorCallbackTemp)
        return HandOut<IMemAllocatorCallbackTemp>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CBaseAllocator::Release() {
    return DeleteWithout(m_references.Drop());
}

ULONG CBaseAllocator::DeleteWithout(LONG references) {
    if (references == 0)
        delete this;
    return COwnedCount::Shown(references);
}

STDMETHODIMP CBaseAllocator::SetNotify(IMemAllocatorNotifyCallbackTemp* notify) {
    if (notify != nullptr)
        notify->AddRef();
    {
        const CAutoLock lock(m_lock);
        std::swap(notify, m_notify);
    }
    m_guard->Release(notify);
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetFreeCount(LONG* count) {
    if (count == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_lock);
    *count = m_count - m_allocated + m_freeCount;
    return S_OK;
}

CMediaSample* CBaseAllocator::TakeFree() {
    // Others only add at the front while one takes: the front that was read keeps its place and its
    // successor.
    CMediaSample* sample = m_free.load();
    while (sample != nullptr && !m_free.compare_exchange_weak(sample, sample->m_nextFree)) {
    }
    if (sample == nullptr)
        return nullptr;
    sample->m_nextFree = nullptr;
    --m_freeCount;
    sample->Renew();
    return sample;
}

void CBaseAllocator::PutFree(CMediaSample* sample) {
    sample->m_nextFree = m_free.load();
    while (!m_free.compare_exchange_weak(sample->m_nextFree, sample)) {
    }
    ++m_freeCount;
}

void CBaseAllocator::DeleteFree() {
    CMediaSample* sample = m_free.exchange(nullptr);
    while (sample != nullptr) {
        CMediaSample* const next = sample->m_nextFree;
        delete sample;
        sample = next;
        --m_freeCount;
    }
}

void CBaseAllocator::NotifyReturned() {
    if (m_notify != nullptr)
        m_guard->Call([this] { return m_notify->NotifyRelease(); });
}
