#include "dsp/CFmtConverter.h"

#include <algorithm>

std::uint32_t CFmtConverter::Init(
    std::uint32_t formatTag, std::uint32_t bitsPerSample, std::uint32_t channelCount) {
    channels = channelCount;
    frameBytes = static_cast<std::uint32_t>(std::uint64_t{bitsPerSample} * channelCount / 8);
    toFloat = nullptr;
    fromFloat = nullptr;

    const FmtKernelTable& table = kFmtKernelsSse2;
    const auto kernels = std::find_if(table.begin(), table.end(), [=](const FmtKernels& candidate) {
        return candidate.formatTag == formatTag && candidate.bitsPerSample == bitsPerSample;
    });
    if (kernels == table.end())
        return 0;
    const FmtRoutinePair& routines = kernels->For(channelCount);
    toFloat = routines.toFloat;
    fromFloat = routines.fromFloat;
    return 1;
}

void CFmtConverter::ClearScratch() {
    std::fill(std::begin(scratch), std::end(scratch), 0.0f);
}
