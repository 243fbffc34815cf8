#include "dxconv/CProgress.h"

#include "dxconv/text.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr double kDrawEverySeconds = 0.1;
constexpr std::size_t kBarCells = 30;
constexpr std::size_t kLineCells = 70;

std::string Clock(double seconds) {
    const auto whole = static_cast<unsigned>(std::min(seconds, 359999.0));
    char text[32];
    std::snprintf(text, sizeof text, "%u:%02u:%02u", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

} // namespace

CProgress::CProgress(bool wanted, std::uint64_t totalFrames, std::uint32_t framesPerSec)
    : m_shown(wanted && IsConsole(STD_ERROR_HANDLE)), m_totalFrames(totalFrames),
      m_framesPerSec(framesPerSec) {
    ::QueryPerformanceCounter(&m_start);
}

CProgress::~CProgress() {
    if (m_shown)
        Wipe();
}

void CProgress::Wipe() {
    if (IsConsole(STD_ERROR_HANDLE))
        Print(STD_ERROR_HANDLE, "\r" + std::string(kLineCells, ' ') + "\r");
}

void CProgress::Show(std::string text) {
    text.resize(kLineCells, ' ');
    if (IsConsole(STD_ERROR_HANDLE))
        Print(STD_ERROR_HANDLE, "\r" + text);
}

double CProgress::Seconds() const {
    LARGE_INTEGER now;
    LARGE_INTEGER perSecond;
    ::QueryPerformanceCounter(&now);
    ::QueryPerformanceFrequency(&perSecond);
    return static_cast<double>(now.QuadPart - m_start.QuadPart) / static_cast<double>(perSecond.QuadPart);
}

double CProgress::TimesRealTime() const {
    constexpr double kShortestSeconds = 1e-6;
    return static_cast<double>(m_frames) / m_framesPerSec / std::max(Seconds(), kShortestSeconds);
}

void CProgress::Advance(std::uint64_t frames) {
    m_frames += frames;
    if (!m_shown || Seconds() < m_nextDrawSeconds)
        return;
    m_nextDrawSeconds = Seconds() + kDrawEverySeconds;
    Show(Line());
}

std::string CProgress::Line() const {
    char speed[32];
    std::snprintf(speed, sizeof speed, "%.1fx", TimesRealTime());
    if (m_totalFrames == 0)
        return Clock(static_cast<double>(m_frames) / m_framesPerSec) + " done  " + speed;
    const double share = std::min(1.0, static_cast<double>(m_frames) / static_cast<double>(m_totalFrames));
    std::string bar(static_cast<std::size_t>(share * kBarCells), '=');
    bar.resize(kBarCells, ' ');
    char percent[8];
    std::snprintf(percent, sizeof percent, "%3d%%", static_cast<int>(share * 100));
    return "[" + bar + "] " + percent + "  " + speed + "  " +
           Clock(Seconds() * (1 - share) / std::max(share, 1e-9)) + " left";
}
