#include "benchmarks/copy_256.h"
#include "benchmarks/measure.h"
#include "benchmarks/plain_loops.h"
#include "benchmarks/report.h"
#include "dsp/CFmtConverter.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr std::uint32_t kFrames = CFmtConverter::kScratchFrames;
constexpr unsigned kRounds = 301;
constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kLargeBytes = std::size_t{64} * 1024 * 1024;

struct Format {
    const char* name;
    std::uint32_t tag;
    std::uint32_t bits;
    double goalTo; // of stereo, as a multiple of a copy of the same bytes
    double goalFrom;
    double goalLarge; // both ways, in place over kLargeBytes
};
constexpr Format kFormats[] = {{"8 bit", 1, 8, 2.4, 2.9, 2.1}, {"16 bit", 1, 16, 2.2, 2.4, 1.25},
    {"24 bit", 1, 24, 2.2, 2.3, 1.25}, {"32 bit", 1, 32, 1.2, 1.2, 1.25}, {"float", 3, 32, 1.1, 1.1, 1.25}};

/// A piece of host frames that sounds like loud music: half scale, so no kernel is led off its usual way.
struct Piece {
    Piece(const Format& format, std::uint32_t channels)
        : set(*FindFmtInstructionSet(format.tag, format.bits)), kernels(*set.Find(format.tag, format.bits)) {
        converter->Init(format.tag, format.bits, channels);
        unsigned state = 1;
        for (float& value : converter->scratch) {
            state = state * 1664525u + 1013904223u;
            value = static_cast<float>(static_cast<std::int32_t>(state)) * 0x1p-32f;
        }
        std::uint8_t* cursor = host;
        converter->fromFloat(&cursor, kFrames, converter->scratch, channels);
    }
    void Run(FmtRoutine routine) {
        std::uint8_t* cursor = host;
        routine(&cursor, kFrames, converter->scratch, converter->channels);
        Touch(host);
        Touch(converter->scratch);
    }
    /// As many bytes as a conversion of the piece reads and writes, halved, as copies come.
    std::size_t CopyBytes() const {
        return std::size_t{kFrames} * (converter->frameBytes + 2 * sizeof(float)) / 2 / 128 * 128;
    }

    // Half a page from where the other side lies: loads that would seem to meet the stores before them, as
    // the processor compares the low twelve bits only, are one thing less to tell apart.
    static constexpr std::size_t kBytes = std::size_t{kFrames} * 32;

    const std::unique_ptr<CFmtConverter> converter = std::make_unique<CFmtConverter>();
    const FmtInstructionSet& set;
    const FmtKernels& kernels;
    std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(3 * (kBytes + kPageBytes));
    std::uint8_t* host =
        At(memory.data(), reinterpret_cast<std::uintptr_t>(converter->scratch) + kPageBytes / 2);
    std::uint8_t* copyFrom = At(host + kBytes, 0);
    std::uint8_t* copyTo = At(copyFrom + kBytes, kPageBytes / 2);

private:
    /// The first place not before `least` whose low twelve bits are those of `like`.
    static std::uint8_t* At(std::uint8_t* least, std::uintptr_t like) {
        return least + ((like - reinterpret_cast<std::uintptr_t>(least)) & (kPageBytes - 1));
    }
};

double PerFrame(double seconds) {
    return seconds * 1e9 / kFrames;
}

// "16 bit to float"
std::string Title(const Format& format, bool toFloat) {
    return std::string(format.name) + (toFloat ? " to float" : format.tag == 3 ? " back" : " from float");
}

// The routine that the module takes against a copy of the same bytes.
void CompareWithCopy(const Format& format, std::uint32_t channels, double times) {
    const auto piece = std::make_unique<Piece>(format, channels);
    const auto seconds = SecondsOfRounds(
        {[&] { piece->Run(piece->converter->toFloat); }, [&] { piece->Run(piece->converter->fromFloat); },
            [&] {
                Copy256(piece->copyTo, piece->copyFrom, piece->CopyBytes());
                Touch(piece->copyTo);
            }},
        kRounds);
    PrintRow({Title(format, true), PerFrame(Median(seconds[0])), "256-bit copy", PerFrame(Median(seconds[2])),
        format.goalTo * times, MedianRatio(seconds[0], seconds[2])});
    PrintRow({Title(format, false), PerFrame(Median(seconds[1])), "256-bit copy",
        PerFrame(Median(seconds[2])), format.goalFrom * times, MedianRatio(seconds[1], seconds[2])});
}

// The same beside the other instruction sets and plain loops.
void CompareWithOthers(std::size_t row, bool toFloat) {
    const Format& format = kFormats[row];
    const auto piece = std::make_unique<Piece>(format, 2);
    const auto pick = [toFloat](
                          const FmtRoutinePair& pair) { return toFloat ? pair.toFloat : pair.fromFloat; };
    std::vector<std::string> names{"fastest"};
    std::vector<std::function<void()>> contenders{[&] { piece->Run(pick(piece->kernels.stereo)); }};
    for (const FmtInstructionSet& set : FmtInstructionSets()) {
        const FmtKernels* const kernels = set.Find(format.tag, format.bits);
        if (kernels == nullptr || kernels == &piece->kernels || !set.isUsable())
            continue;
        names.push_back(std::string("our ") + set.name);
        contenders.push_back([&, kernels] { piece->Run(pick(kernels->stereo)); });
    }
    for (const auto& [name, loops] : {std::pair{"plain loop, -O2", kPlainLoops},
             std::pair{"plain loop, -O3 -mavx2", kPlainLoopsOptimised}}) {
        const PlainLoop* const loop = &loops[row];
        names.emplace_back(name);
        contenders.push_back([&, loop] {
            if (toFloat)
                loop->toFloat(piece->host, 2 * kFrames, piece->converter->scratch);
            else
                loop->fromFloat(piece->host, 2 * kFrames, piece->converter->scratch);
            Touch(piece->host);
            Touch(piece->converter->scratch);
        });
    }
    const auto seconds = MedianSeconds(contenders, 151, piece->set.leave);
    for (std::size_t n = 1; n != names.size(); ++n)
        PrintRow({Title(format, toFloat), PerFrame(seconds[0]), names[n], PerFrame(seconds[n]), {}});
}

// In and out again, piece by piece as a block is processed, over more than the caches hold. The two
// contenders take turns of a megabyte, each its own half of the memory away from the other.
void CompareLarge(const Format& format, std::uint8_t* memory) {
    constexpr std::size_t kTurnBytes = std::size_t{1024} * 1024;
    const auto piece = std::make_unique<Piece>(format, 2);
    const std::size_t pieceBytes = std::size_t{kFrames} * piece->converter->frameBytes;
    for (std::size_t at = 0; at + pieceBytes <= kLargeBytes; at += pieceBytes)
        std::memcpy(memory + at, piece->host, pieceBytes);
    CFmtConverter& converter = *piece->converter;
    std::size_t ours = 0;
    std::size_t copies = kLargeBytes / 2;
    const auto turn = [memory](std::size_t& at) {
        std::uint8_t* const start = memory + at;
        at = (at + kTurnBytes) % kLargeBytes;
        return start;
    };
    const auto seconds =
        SecondsOfRounds({[&] {
                             std::uint8_t* reading = turn(ours);
                             std::uint8_t* writing = reading;
                             for (std::size_t n = 0; n != kTurnBytes / pieceBytes; ++n) {
                                 converter.toFloat(&reading, kFrames, converter.scratch, 2);
                                 converter.fromFloat(&writing, kFrames, converter.scratch, 2);
                             }
                         },
                            [&] {
                                std::uint8_t* at = turn(copies);
                                for (std::size_t n = 0; n != kTurnBytes; n += kPageBytes) {
                                    Copy256(piece->copyTo, at + n, kPageBytes);
                                    Touch(piece->copyTo);
                                    Copy256(at + n, piece->copyTo, kPageBytes);
                                }
                            }},
            601);
    PrintRow({std::string(format.name) + ", in and out", Median(seconds[0]) * 1e6, "256-bit copy in and out",
        Median(seconds[1]) * 1e6, format.goalLarge, MedianRatio(seconds[0], seconds[1])});
}

void MeasurePieces() {
    PrintSection("Converter: pieces of 512 frames",
        "The routine that the module takes on this processor, against a copy of (bytes read + bytes written) "
        "/ 2 "
        "through 256-bit registers. Everything lies in the first-level cache.");
    const struct {
        std::uint32_t channels;
        double times; // of stereo's goals
    } kTables[] = {{2, 1}, {1, 1.4}, {3, 3}, {6, 3}};
    for (const auto& table : kTables) {
        std::printf("\nHost frames of %u channel%s:\n", table.channels, table.channels == 1 ? "" : "s");
        PrintTableHead("ns/frame");
        for (const Format& format : kFormats)
            CompareWithCopy(format, table.channels, table.times);
    }
}

void MeasureOthers() {
    PrintSection("Converter: other ways to do it",
        "Stereo, 512 frames. A ratio below 1: ours is faster. The plain loops are the arithmetic and nothing "
        "else; the second is what the compiler makes of the same source with all it has. For float they "
        "copy.");
    PrintTableHead("ns/frame");
    for (std::size_t row = 0; row != std::size(kFormats); ++row)
        for (const bool toFloat : {true, false})
            CompareWithOthers(row, toFloat);
}

void MeasureLarge() {
    PrintSection("Converter: 64 MiB in place", "Stereo, in and out again in pieces of 512 frames, as a block "
                                               "is processed, against a copy of the same "
                                               "memory to 4 KiB and back.");
    PrintTableHead("us/MiB");
    const auto memory = std::make_unique<std::uint8_t[]>(kLargeBytes);
    for (const Format& format : kFormats)
        CompareLarge(format, memory.get());
}

// What an effect's SSE code costs after our AVX2 code, and what it takes to spare it that.
void MeasureLeaving() {
    PrintSection("Converter: handing the processor back",
        "A 32-bit process can't clear all upper halves of the vector registers with VZEROUPPER; where the "
        "processor "
        "minds, SSE code (here our SSE2 routine, in an effect's place) runs slower after AVX2 code until "
        "they are "
        "put into their initial state. The module does so before each call into the effect and before it "
        "returns.");
    PrintTableHead("ns/frame");
    const auto piece = std::make_unique<Piece>(kFormats[1], 2);
    const FmtRoutine wide = piece->kernels.stereo.toFloat;
    const FmtRoutine narrow = FmtInstructionSets().back().Find(1, 16)->stereo.toFloat;
    const auto leave = piece->set.leave;
    const auto seconds = MedianSeconds({[&] {
                                            piece->Run(wide);
                                            leave();
                                            piece->Run(narrow);
                                        },
                                           [&] {
                                               piece->Run(wide);
                                               piece->Run(narrow);
                                           },
                                           leave},
        151, leave);
    PrintRow({"AVX2, handed back, SSE2", PerFrame(seconds[0]), "AVX2, SSE2", PerFrame(seconds[1]), {}});
    PrintRow({"handing back alone", PerFrame(seconds[2]), "AVX2, SSE2", PerFrame(seconds[1]), {}});
}

} // namespace

int main() {
    if (!FmtInstructionSets().front().isUsable()) {
        std::fputs("this processor has no AVX2: the goals are set against a copy that needs it\n", stderr);
        return 1;
    }
    MeasurePieces();
    MeasureOthers();
    MeasureLeaving();
    MeasureLarge();
    return 0;
}
