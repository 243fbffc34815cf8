#include "dxhost/base/CDynamicOutputPin.h"

#include "dxhost/base/CBaseFilter.h"

STDMETHODIMP CDynamicOutputPin::Disconnect() {
    const CAutoLock lock(Filter().Lock());
    return DropConnection();
}
