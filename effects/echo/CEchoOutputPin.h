#pragma once

#include "dxhost/base/CBaseOutputPin.h"

class CEcho;

/// Where the effect's audio goes out, in the input's format.
///
///     input announced        output uses                     samples
///     nothing yet            what downstream offers          -
///     a writable allocator   that one                        the input's own, processed in place
///     a read-only one, or    an allocator of its own         copies
///     downstream refuses it
class CEchoOutputPin : public CBaseOutputPin {
public:
    explicit CEchoOutputPin(CEcho& echo);

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

    /// The input has a new allocator: chooses again. Under the filter lock, stopped.
    HRESULT FollowInput() { return IsConnected() ? CompleteConnect(Peer()) : S_OK; }
    HRESULT GetDownstreamAllocator(IMemAllocator** allocator);
    bool IsInPlace() const;

    /// call(peer), S_OK when there is none.
    template <typename Call>
    HRESULT Downstream(Call call) {
        return IsConnected() ? call(*Peer()) : S_OK;
    }

private:
    CEcho& m_echo;
};
