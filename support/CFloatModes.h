#pragma once

#include <immintrin.h>
#include <cstdint>

/// Gives a scope the floating-point modes that Windows code expects and puts the caller's whole x87
/// environment and MXCSR back at its end. Also heals what an effect leaves behind (a missing EMMS, unmasked
/// exceptions). Place one first in every function that a host calls and in every thread entry.
class CFloatModes {
public:
    CFloatModes() : m_mxcsr(_mm_getcsr()) {
        asm volatile("fnstenv %0" : "=m"(m_environment));
        SetDefault();
    }
    ~CFloatModes() {
        asm volatile("fnclex\n\tfldenv %0" : : "m"(m_environment));
        _mm_setcsr(m_mxcsr);
    }
    CFloatModes(const CFloatModes&) = delete;
    CFloatModes& operator=(const CFloatModes&) = delete;

    /// Empty x87 stack, 53-bit precision, round to nearest, everything masked, no flushing of denormals.
    static void SetDefault() {
        const std::uint16_t control = 0x027F;
        asm volatile("fninit\n\tfldcw %0" : : "m"(control));
        _mm_setcsr(0x1F80);
    }

private:
    std::uint8_t m_environment[28]; // fnstenv, 32-bit protected mode
    std::uint32_t m_mxcsr;
};

/// Puts the control word and MXCSR back at the end of a scope if they were changed in it; what lies on the
/// x87 stack stays. Cheap where nothing was changed.
class CKeptModes {
public:
    CKeptModes() : m_control(ControlWord()), m_mxcsr(_mm_getcsr()) {}
    ~CKeptModes() {
        if (ControlWord() != m_control)
            asm volatile("fnclex\n\tfldcw %0" : : "m"(m_control));
        if (_mm_getcsr() != m_mxcsr)
            _mm_setcsr(m_mxcsr);
    }
    CKeptModes(const CKeptModes&) = delete;
    CKeptModes& operator=(const CKeptModes&) = delete;

private:
    static std::uint16_t ControlWord() {
        std::uint16_t control = 0;
        asm volatile("fnstcw %0" : "=m"(control));
        return control;
    }

    const std::uint16_t m_control;
    const std::uint32_t m_mxcsr;
};
