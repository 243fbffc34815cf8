#pragma once

#include <windows.h>
#include <unknwn.h>

/// A sample that can be told to become silent later: it is zeroed when somebody first asks for its data.
struct IDeferZeroFill : public IUnknown {
    virtual BOOL STDMETHODCALLTYPE GetDeferZeroFill() = 0;
    /// Returns `value`.
    virtual BOOL STDMETHODCALLTYPE SetDeferZeroFill(BOOL value) = 0;
    /// For a writer that fills the whole buffer: the data as it is; the deferred zeroing is off afterwards.
    virtual HRESULT STDMETHODCALLTYPE GetPointerNoZeroFill(BYTE** buffer) = 0;
};

/// An allocator of such samples whose buffers are made and freed by its owner, not by Commit and Decommit.
/// The shared allocator of a graph is recognised by it.
struct IDeferZeroFillAllocator : public IUnknown {
    /// Frees the memory and forgets all figures; `count` is the number of buffers that later requests add to.
    virtual HRESULT STDMETHODCALLTYPE Reset(LONG count) = 0;
    /// Makes the samples that the requests so far add up to. S_OK without doing anything when nothing was
    /// asked.
    virtual HRESULT STDMETHODCALLTYPE Alloc() = 0;
    /// Deletes the samples that are not out.
    virtual HRESULT STDMETHODCALLTYPE Free() = 0;
};

inline constexpr GUID IID_IDeferZeroFill = {
    0x447DA113, 0x4AC8, 0x4833, {0x84, 0x9A, 0x2B, 0xA2, 0x85, 0xE1, 0xE5, 0x2B}};
inline constexpr GUID IID_IDeferZeroFillAllocator = {
    0x243E2AC0, 0x59BD, 0x11D1, {0x9A, 0x70, 0x00, 0xA0, 0xC9, 0x0D, 0xA1, 0xEF}};

__CRT_UUID_DECL(IDeferZeroFill, 0x447DA113, 0x4AC8, 0x4833, 0x84, 0x9A, 0x2B, 0xA2, 0x85, 0xE1, 0xE5, 0x2B)
__CRT_UUID_DECL(
    IDeferZeroFillAllocator, 0x243E2AC0, 0x59BD, 0x11D1, 0x9A, 0x70, 0x00, 0xA0, 0xC9, 0x0D, 0xA1, 0xEF)
