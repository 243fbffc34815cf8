#include "dsp/CFmtConverter.h"

#include <algorithm>
#include <iterator>

std::uint32_t CFmtConverter::Init(
    std::uint32_t formatTag, std::uint32_t bitsPerSample, std::uint32_t channelCount) {
    channels = channelCount;
    frameBytes = static_cast<std::uint32_t>(std::uint64_t{bitsPerSample} * channelCount / 8);
    toFloat = nullptr;
    fromFloat = nullptr;
    m_leave = nullptr;

    const FmtInstructionSet* const set = FindFmtInstructionSet(formatTag, bitsPerSample);
    if (set == nullptr)
        return 0;
    const FmtRoutinePair& routines = set->Find(formatTag, bitsPerSample)->For(channelCount);
    m_leave = set->leave;
    toFloat = routines.toFloat;
    fromFloat = routines.fromFloat;
    return 1;
}

void CFmtConverter::ClearScratch() {
    std::fill(std::begin(scratch), std::end(scratch), 0.0f);
}
