#pragma once

#include <windows.h>
#include <cstdint>
#include <string>

/// The progress line on the error console: percent, speed, time left. Without a console it only measures.
class CProgress {
public:
    /// wanted: false for no line even on a console. totalFrames: 0 when it is not known.
    CProgress(bool wanted, std::uint64_t totalFrames, std::uint32_t framesPerSec);
    /// Wipes the line.
    ~CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    /// Wipes the line, also that of a process that did not come to do it.
    static void Wipe();
    /// Puts another text on it.
    static void Show(std::string text);

    void Advance(std::uint64_t frames);

    /// Seconds of audio that one second of work converted so far.
    double TimesRealTime() const;

private:
    double Seconds() const;
    std::string Line() const;

    bool m_shown;
    std::uint64_t m_totalFrames;
    std::uint32_t m_framesPerSec;
    std::uint64_t m_frames = 0;
    LARGE_INTEGER m_start{};
    double m_nextDrawSeconds = 0;
};
