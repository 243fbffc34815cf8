#pragma once

#include "dxhost/base/CMediaSample.h"
#include "support/CCritSec.h"
#include "support/CForeignGuard.h"
#include "support/com.h"

#include <dshow.h>
#include <atomic>

/// What an allocator of media samples needs besides its policy: identity, the figures, the list of free
/// samples and the callback that wants to hear of returned ones. A deriving class says how buffers are sized,
/// made, handed out and taken back (IMemAllocator). The object starts without references and deletes itself
/// with the last; each sample that is out holds one. Between Own and Disown it stays whatever the
/// count.
class CBaseAllocator : public IMemAllocatorCallbackTemp {
public:
    CBaseAllocator(const CBaseAllocator&) = delete;
    CBaseAllocator& operator=(const CBaseAllocator&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return COwnedCount::Shown(m_references.Add()); }
    STDMETHODIMP_(ULONG) Release() override;
    void Own() { m_references.Own(); }
    void Disown() { DeleteWithout(m_references.Disown()); }

    STDMETHODIMP SetNotify(IMemAllocatorNotifyCallbackTemp* notify) override;
    STDMETHODIMP GetFreeCount(LONG* count) override;

protected:
    /// guard: the door to whoever sets a callback; null makes one.
    explicit CBaseAllocator(CForeignGuardPtr guard);
    virtual ~CBaseAllocator();

    /// A free sample with its first reference; null when there is none. One taker at a time (hold m_lock).
    CMediaSample* TakeFree();
    /// From any thread, without a lock.
    void PutFree(CMediaSample* sample);
    LONG FreeCount() const { return m_freeCount.load(); }
    /// Deletes every free sample.
    void DeleteFree();
    void NotifyReturned();

    CCritSec m_lock;
    LONG m_count = 0;     ///< buffers wanted
    LONG m_size = 0;      ///< bytes a buffer, without prefix
    LONG m_alignment = 0; ///< bytes
    LONG m_prefix = 0;    ///< bytes before each buffer
    LONG m_allocated = 0; ///< samples that exist, free or out
    bool m_committed = false;
    bool m_changed = false; ///< the figures differ from what the buffers were made with

private:
    ULONG DeleteWithout(LONG references);

    const CForeignGuardPtr m_guard;
    COwnedCount m_references;
    std::atomic<CMediaSample*> m_free = nullptr;
    std::atomic<LONG> m_freeCount = 0;
    IMemAllocatorNotifyCallbackTemp* m_notify = nullptr;
};
