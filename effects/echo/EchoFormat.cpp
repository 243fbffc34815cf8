#include "effects/echo/EchoFormat.h"

#include "dxhost/base/CMediaType.h"

#include <mmreg.h>

namespace {

bool IsFloat(const WAVEFORMATEX& format, std::size_t readable) {
    if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT)
        return true;
    if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE || readable < sizeof(WAVEFORMATEXTENSIBLE) ||
        format.cbSize < sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX))
        return false;
    return reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).SubFormat == MEDIASUBTYPE_IEEE_FLOAT;
}

} // namespace

std::optional<EchoFormat> ReadEchoFormat(const AM_MEDIA_TYPE* type) {
    const WAVEFORMATEX* const format = CMediaType::Audio(type);
    if (format == nullptr || type->majortype != MEDIATYPE_Audio || type->formattype != FORMAT_WaveFormatEx)
        return {};
    if (type->subtype != MEDIASUBTYPE_PCM && type->subtype != MEDIASUBTYPE_IEEE_FLOAT)
        return {};
    const EchoFormat read{format->nSamplesPerSec, format->nChannels};
    if (!IsFloat(*format, type->cbFormat) || format->wBitsPerSample != 32 || read.rate == 0 ||
        read.channels < 1 || read.channels > 2 || format->nBlockAlign != read.FrameBytes())
        return {};
    return read;
}
