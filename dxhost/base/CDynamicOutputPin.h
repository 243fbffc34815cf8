#pragma once

#include "dxhost/base/CBaseOutputPin.h"

/// An output pin whose connection may be dropped while its filter runs.
class CDynamicOutputPin : public CBaseOutputPin {
public:
    using CBaseOutputPin::CBaseOutputPin;

    STDMETHODIMP Disconnect() override;
};
