#include "dxhost/CDeferZeroFillMediaSample.h"

#include "support/hresult.h"

#include <cstring>

STDMETHODIMP CDeferZeroFillMediaSample::QueryInterface(REFIID iid, void** out) {
    if (out != nullptr && iid == IID_IDeferZeroFill)
        return HandOut<IDeferZeroFill>(this, out);
    return CMediaSample::QueryInterface(iid, out);
}

STDMETHODIMP CDeferZeroFillMediaSample::GetPointer(BYTE** buffer) {
    RETURN_IF_FAILED(CMediaSample::GetPointer(buffer));
    if (m_deferZero) {
        const LONG actual = GetActualDataLength();
        const LONG bytes = actual >= 0 && actual <= GetSize() ? actual : GetSize();
        std::memset(*buffer, 0, static_cast<std::size_t>(bytes) & ~std::size_t{3});
        m_deferZero = FALSE;
    }
    return S_OK;
}

STDMETHODIMP CDeferZeroFillMediaSample::GetPointerNoZeroFill(BYTE** buffer) {
    RETURN_IF_FAILED(CMediaSample::GetPointer(buffer));
    m_deferZero = FALSE;
    return S_OK;
}
