#include "dxconv/CDspInstance.h"
#include "dxconv/CError.h"
#include "dxconv/CInputFile.h"
#include "dxconv/CProgress.h"
#include "dxconv/CWavWriter.h"
#include "dxconv/files.h"
#include "dxconv/find_effect.h"
#include "dxconv/given_settings.h"
#include "dxconv/interruption.h"
#include "dxconv/settings_text.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "dxconv/worker.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::uint64_t kLargestBlockBytes = std::uint64_t{16} * 1024 * 1024; // longer blocks are cut to this

std::wstring SettingsFor(const ConvertOptions& options) {
    if (options.effect.empty())
        return GivenSettings(options.settings, options.settingsFile);
    const FoundEffect effect = FindEffect(options.effect);
    std::vector<unsigned char> state;
    if (!options.stateFile.empty())
        state = ReadSmallFile(options.stateFile, "--state-file");
    return MakeSettings(effect.name, effect.clsid, state);
}

// 0 when it is not known.
std::uint64_t ExpectedFrames(const WavHead& head, const CInputFile& input) {
    const std::uint64_t available = input.Size() > head.dataOffset ? input.Size() - head.dataOffset : 0;
    std::uint64_t bytes = head.untilEnd ? available : head.dataBytes;
    if (available != 0)
        bytes = std::min(bytes, available);
    return bytes / head.format.blockAlign;
}

// Reads one block ahead: which one is the last shows only when nothing comes after it.
void PassAudio(const ConvertOptions& options, const DSPBlockFormat& format, CDspInstance& dsp,
    CWavReader& reader, CWavWriter& writer, CProgress& progress) {
    const WavFormat& stream = reader.Head().format;
    const auto blockFrames = static_cast<std::size_t>(
        std::clamp<std::uint64_t>(std::uint64_t{stream.samplesPerSec} * options.blockMs / 1000, 1,
            kLargestBlockBytes / stream.blockAlign));
    std::vector<std::uint8_t> current;
    std::vector<std::uint8_t> next;
    reader.ReadFrames(current, blockFrames);
    for (bool last = false; !last; current.swap(next)) {
        ThrowIfCancelled(options.out);
        reader.ReadFrames(next, blockFrames);
        last = next.empty();
        const std::size_t frames = current.size() / stream.blockAlign;
        DSPAudioBlock block{};
        block.pData = current.data();
        block.nBytes = static_cast<INT32>(current.size());
        block.wfx = format;
        block.nDurationMs = std::uint64_t{frames} * 1000 / stream.samplesPerSec;
        block.bLastBlock = last ? 1 : 0;
        dsp.Pass(block);
        writer.WriteAudio(block.pData, static_cast<std::size_t>(block.nBytes));
        progress.Advance(frames);
    }
}

// "16-bit PCM, 2 channels, 44100 Hz"
std::string FormatText(const WavFormat& format) {
    const std::uint32_t bits = format.blockAlign / format.channels * 8;
    return std::to_string(bits) + (format.isFloat ? "-bit float, " : "-bit PCM, ") +
           std::to_string(format.channels) + (format.channels == 1 ? " channel, " : " channels, ") +
           std::to_string(format.samplesPerSec) + " Hz";
}

void Report(const ConvertOptions& options, const CWavReader& reader, const CWavWriter& writer, double speed) {
    if (reader.MissingBytes() != 0)
        PrintErrorLine(options.in + ": warning: " + std::to_string(reader.MissingBytes()) +
                       " bytes of audio are missing at its end; what is there was converted");
    if (writer.OutsideBytes() != 0)
        PrintErrorLine(options.in + ": warning: " + std::to_string(writer.OutsideBytes()) +
                       " bytes after the end of the WAV data were copied, not converted");
    if (options.quiet)
        return;
    const WavFormat& format = reader.Head().format;
    const std::uint64_t framesIn = reader.AudioBytes() / format.blockAlign;
    const std::uint64_t tail = writer.Frames() - std::min(writer.Frames(), framesIn);
    char times[32];
    std::snprintf(times, sizeof times, "%.1f", speed);
    Print(options.out == "-" ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE,
        options.out + ": " + FormatText(format) + ", " + std::to_string(framesIn) + " frames in, " +
            std::to_string(writer.Frames()) + " frames out, tail " +
            std::to_string(tail * 1000 / format.samplesPerSec) + " ms, " + times + " times real time\n");
}

} // namespace

void RunConvert(const ConvertOptions& options) {
    const std::wstring settings = SettingsFor(options);
    const CDspModule module(options.module);
    const CHostLogs logs(options.logDir);
    CInputFile input(options.in);
    COutputFile output(options.out, PresetTemporary());
    CWavReader reader(input, options.in);
    const WavHead& head = reader.ReadHead(output);
    CWavWriter writer(output, reader);
    CDspInstance dsp(module, logs, options.in);
    DSPBlockFormat format;
    static_assert(sizeof format == sizeof head.format.bytes);
    std::memcpy(&format, head.format.bytes.data(), sizeof format);
    dsp.Begin(format, settings);
    double speed = 0;
    {
        CProgress progress(!options.quiet, ExpectedFrames(head, input), head.format.samplesPerSec);
        PassAudio(options, format, dsp, reader, writer, progress);
        speed = progress.TimesRealTime();
        dsp.End();
        writer.Finish();
        ThrowIfCancelled(options.out); // the program that feeds a pipe may have been cancelled with this one
        input.Close();
        output.Commit();
    }
    Report(options, reader, writer, speed); // the effect's farewell may be the end of the process
    dsp.After();
}
