#pragma once

#include "dsp/clDSP.h"

class clDSP::CInEffect {
public:
    explicit CInEffect(clDSP& dsp) : m_thread(dsp.m_effectThread), m_before(m_thread) {
        m_thread = ::GetCurrentThreadId();
    }
    ~CInEffect() { m_thread = m_before; }
    CInEffect(const CInEffect&) = delete;
    CInEffect& operator=(const CInEffect&) = delete;

private:
    std::atomic<DWORD>& m_thread;
    const DWORD m_before;
};
