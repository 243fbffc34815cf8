#include "dxconv/convert_file.h"

#include "dxconv/CAudioPass.h"
#include "dxconv/CError.h"
#include "dxconv/CInputFile.h"
#include "dxconv/files.h"
#include "dxconv/find_effect.h"
#include "dxconv/given_settings.h"
#include "dxconv/interruption.h"
#include "dxconv/settings_text.h"
#include "dxconv/text.h"
#include "dxconv/worker.h"

#include <algorithm>
#include <cstdio>

namespace {

// 0 when it is not known.
std::uint64_t ExpectedFrames(const WavHead& head, const CInputFile& input) {
    const std::uint64_t available = input.Size() > head.dataOffset ? input.Size() - head.dataOffset : 0;
    std::uint64_t bytes = head.untilEnd ? available : head.dataBytes;
    if (available != 0)
        bytes = std::min(bytes, available);
    return bytes / head.format.blockAlign;
}

// "16-bit PCM, 2 channels, 44100 Hz"
std::string FormatText(const WavFormat& format) {
    const std::uint32_t bits = format.blockAlign / format.channels * 8;
    return std::to_string(bits) + (format.isFloat ? "-bit float, " : "-bit PCM, ") +
           std::to_string(format.channels) + (format.channels == 1 ? " channel, " : " channels, ") +
           std::to_string(format.samplesPerSec) + " Hz";
}

ConversionFigures Figures(const CWavReader& reader, const CWavWriter& writer, double speed) {
    const WavFormat& format = reader.Head().format;
    const std::uint64_t framesIn = reader.AudioBytes() / format.blockAlign;
    const std::uint64_t tail = writer.Frames() - std::min(writer.Frames(), framesIn);
    return {framesIn, writer.Frames(), tail * 1000 / format.samplesPerSec, speed};
}

void Report(const ConvertOptions& options, const CWavReader& reader, const CWavWriter& writer,
    const ConversionFigures& figures) {
    CProgress::Wipe(); // the line of all files
    if (reader.MissingBytes() != 0)
        PrintErrorLine(options.in + ": warning: " + std::to_string(reader.MissingBytes()) +
                       " bytes of audio are missing at its end; what is there was converted");
    if (writer.OutsideBytes() != 0)
        PrintErrorLine(options.in + ": warning: " + std::to_string(writer.OutsideBytes()) +
                       " bytes after the end of the WAV data were copied, not converted");
    if (options.quiet || options.json)
        return;
    char times[32];
    std::snprintf(times, sizeof times, "%.1f", figures.timesRealTime);
    Print(options.out == "-" ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE,
        options.out + ": " + FormatText(reader.Head().format) + ", " + std::to_string(figures.framesIn) +
            " frames in, " + std::to_string(figures.framesOut) + " frames out, tail " +
            std::to_string(figures.tailMs) + " ms, " + times + " times real time\n");
}

// Each of several files has a folder of its own below it: the module's last error line is taken from there.
std::string LogFolder(const ConvertOptions& options) {
    if (options.logDir.empty() || options.outDir.empty())
        return options.logDir;
    return options.logDir + "\\" + options.in.substr(options.in.find_last_of("\\/:") + 1) + ".logs";
}

} // namespace

std::wstring SettingsFor(const ConvertOptions& options) {
    if (options.effect.empty())
        return GivenSettings(options.settings, options.settingsFile);
    const FoundEffect effect = FindEffect(options.effect);
    std::vector<unsigned char> state;
    if (!options.stateFile.empty())
        state = ReadSmallFile(options.stateFile, "--state-file");
    return MakeSettings(effect.name, effect.clsid, state);
}

void ConvertFile(const ConvertOptions& options) {
    const std::wstring settings = SettingsFor(options);
    const CDspModule module(options.module);
    const CHostLogs logs(LogFolder(options));
    CInputFile input(options.in);
    COutputFile output(options.out, PresetTemporary(),
        options.force ? COutputFile::Existing::Replace : COutputFile::Existing::Refuse);
    CWavReader reader(input, options.in);
    const WavHead& head = reader.ReadHead(output);
    CWavWriter writer(output, reader);
    CDspInstance dsp(module, logs, options.in);
    dsp.Begin(ModuleFormat(head.format), settings);
    ConversionFigures figures;
    {
        const bool shown = !options.quiet && options.outDir.empty();
        CProgress progress(shown, ExpectedFrames(head, input), head.format.samplesPerSec);
        CAudioPass({dsp, reader, writer, progress}, options.blockMs, options.out).Run();
        const double speed = progress.TimesRealTime();
        dsp.End();
        writer.Finish();
        figures = Figures(reader, writer, speed);
        MarkFigures(figures);
        ThrowIfCancelled(options.out); // the program that feeds a pipe may have been cancelled with this one
        input.Close();
        output.Commit();
    }
    Report(options, reader, writer, figures); // the effect's farewell may be the end of the process
    dsp.After();
}
