// What DSP_PassAudioBlock costs with Echo, and where the time goes.
//
// usage: block_path [CHART.svg]

#include "benchmarks/CEffectRig.h"
#include "benchmarks/CModuleHost.h"
#include "benchmarks/chart.h"
#include "benchmarks/measure.h"
#include "benchmarks/report.h"
#include "dsp/CFmtConverter.h"
#include "support/CCritSec.h"
#include "support/CForeignGuard.h"
#include "support/com.h"
#include "support/handles.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>

namespace {

constexpr std::uint32_t kPieceFrames = CFmtConverter::kScratchFrames;
constexpr std::size_t kPieceBytes = kPieceFrames * 2 * sizeof(float);
// A long block less a short one: what a block costs by itself, and the first pieces after its wait, fall out.
// Of any format the long one fits the second-level cache.
constexpr std::uint32_t kShortPieces = 64;
constexpr std::uint32_t kLongPieces = 192;
constexpr std::uint32_t kPieces = kLongPieces - kShortPieces;
constexpr unsigned kGuards = 7; // calls of a piece that a fault may end
constexpr unsigned kLocks = 6;  // locks entered for a piece
constexpr unsigned kRounds = 1001;
constexpr double kNano = 1e-9;
constexpr double kMicro = 1e-6;

struct HostSamples {
    const char* name;
    WORD tag;
    WORD bits;
};
constexpr HostSamples kFormats[] = {{"u8", WAVE_FORMAT_PCM, 8}, {"s16", WAVE_FORMAT_PCM, 16},
    {"s24", WAVE_FORMAT_PCM, 24}, {"s32", WAVE_FORMAT_PCM, 32}, {"f32", WAVE_FORMAT_IEEE_FLOAT, 32}};

// The same bytes for every format: noise far below full scale, as a float as well.
std::vector<std::uint8_t> Noise(std::size_t bytes) {
    std::vector<std::uint8_t> noise(bytes);
    std::uint32_t random = 1;
    for (std::size_t n = 0; n != bytes; ++n) {
        random = random * 1664525 + 1013904223;
        noise[n] = n % 4 == 3 ? 0x3C : static_cast<std::uint8_t>(random >> 24);
    }
    return noise;
}

// The length of a copy that the compiler does not know: it is the library's that is timed.
volatile std::size_t g_pieceBytes = kPieceBytes;

// The parts of the path by themselves, over the memory that a block walks.
class CParts {
public:
    /// block: at least kPieces pieces of host frames, borrowed.
    CParts(const WAVEFORMATEX& format, std::vector<std::uint8_t>& block)
        : m_block(block), m_sample(kPieceBytes) {
        m_converter->Init(format.wFormatTag, format.wBitsPerSample, format.nChannels);
    }

    void Convert() {
        std::uint8_t* reading = m_block.data();
        std::uint8_t* writing = m_block.data();
        for (std::uint32_t n = 0; n != kPieces; ++n) {
            m_converter->toFloat(&reading, kPieceFrames, m_converter->scratch, m_converter->channels);
            m_converter->Leave();
            m_converter->fromFloat(&writing, kPieceFrames, m_converter->scratch, m_converter->channels);
        }
    }
    /// Also what SSE code needs before it is timed after AVX2 code.
    void Leave() { m_converter->Leave(); }
    void LeaveOften() {
        for (std::uint32_t n = 0; n != kPieces; ++n)
            m_converter->Leave();
    }
    void Copy(unsigned times) {
        for (std::uint32_t n = 0; n != kPieces * times; ++n) {
            std::memcpy(m_sample.data(), m_converter->scratch, g_pieceBytes);
            Touch(m_sample.data());
        }
    }
    void Receive() {
        for (std::uint32_t n = 0; n != kPieces; ++n)
            m_rig.Receive();
    }
    void Guard() {
        for (std::uint32_t n = 0; n != kPieces * kGuards; ++n)
            RunCaught([this] { Touch(this); });
    }
    void EnterAndLeave() {
        for (std::uint32_t n = 0; n != kPieces * kLocks; ++n) {
            const CAutoLock lock(m_lock);
            Touch(this);
        }
    }

private:
    std::vector<std::uint8_t>& m_block;
    std::vector<std::uint8_t> m_sample;
    const std::unique_ptr<CFmtConverter> m_converter = std::make_unique<CFmtConverter>();
    CEffectRig m_rig{kPieceFrames};
    CCritSec m_lock;
};

void Pieces() {
    PrintSection("Block path: a piece of 512 frames",
        "One `DSP_PassAudioBlock` of " + std::to_string(kLongPieces) + " pieces less one of " +
            std::to_string(kShortPieces) +
            ", a piece's part of the difference. Ours is that less the two conversions (between "
            "them the "
            "processor is handed back, see above) and the effect's own `Receive`, each timed by itself over "
            "the same memory in the same rounds.");
    PrintTableHead("ns");
    std::vector<Part> parts;
    for (const HostSamples& samples : kFormats) {
        const WAVEFORMATEX format = HostFormat(samples.tag, samples.bits);
        const std::size_t pieceBytes = std::size_t{kPieceFrames} * format.nBlockAlign;
        std::vector<std::uint8_t> block = Noise(kLongPieces * pieceBytes);
        CModuleHost host;
        host.Begin(format);
        CParts work(format, block);
        const auto rounds = SecondsOfRounds(
            {[&] { host.Pass(block.data(), kLongPieces * pieceBytes); },
                [&] { host.Pass(block.data(), kShortPieces * pieceBytes); }, [&] { work.Convert(); },
                [&] { work.Receive(); }, [&] { work.Copy(5); }, [&] { work.Copy(1); }, [&] { work.Guard(); },
                [&] { work.EnterAndLeave(); }, [&] { work.LeaveOften(); }},
            kRounds, [&] { work.Leave(); });
        std::vector<double> wholes;
        std::vector<double> paths;
        for (unsigned n = 0; n != kRounds; ++n) {
            wholes.push_back(rounds[0][n] - rounds[1][n]);
            paths.push_back(wholes.back() - rounds[2][n] - rounds[3][n]);
        }
        const auto piece = [](const std::vector<double>& values) {
            return Median(values) / (kPieces * kNano);
        };
        PrintRow({std::string("path, ") + samples.name, piece(paths), "five copies of 4,096 bytes",
            piece(rounds[4]), 1.0, MedianRatio(paths, rounds[4])});
        if (samples.bits == 16)
            parts = {{"whole piece", piece(wholes)}, {"the two conversions", piece(rounds[2])},
                {"of it handing the processor back before the effect", piece(rounds[8])},
                {"the effect's `Receive`", piece(rounds[3])}, {"the path itself", piece(paths)},
                {"of it seven guarded calls, when empty", piece(rounds[6])},
                {"of it six locks, entered and left", piece(rounds[7])},
                {"beside it: one copy of 4,096 bytes", piece(rounds[5])}};
    }
    PrintParts("a piece of s16", "ns", parts);
}

// Waiting for and releasing a mutex, which goes through the system, is all that a block costs besides pieces.
void PerBlock() {
    PrintSection("Block path: what a block costs besides its pieces",
        "An empty block, against one wait for a mutex of the system and its release.");
    PrintTableHead("µs");
    CModuleHost host;
    host.Begin(HostFormat(WAVE_FORMAT_PCM, 16));
    const CKernelHandle mutex(::CreateMutexW(nullptr, FALSE, nullptr));
    std::uint8_t none = 0;
    const std::vector<double> seconds = MedianSeconds({[&] { host.Pass(&none, 0); },
                                                          [&] {
                                                              ::WaitForSingleObject(mutex.Get(), INFINITE);
                                                              ::ReleaseMutex(mutex.Get());
                                                          }},
        kRounds);
    PrintRow({"empty block", seconds[0] / kMicro, "wait and release", seconds[1] / kMicro, 1.1});
}

void BlockSizes(const char* chartFile) {
    PrintSection("Block path: cost per frame over block sizes",
        "s16. Against what the block's lock, its pieces (from a block of one frame) and its frames (from a "
        "long block) cost by themselves: a block of any size should cost no more than these.");
    PrintTableHead("ns/frame");
    constexpr std::size_t kSizes[] = {1, 8, 64, 512, 4410, 65536, 1000000, 10000000};
    const WAVEFORMATEX format = HostFormat(WAVE_FORMAT_PCM, 16);
    std::vector<std::uint8_t> block = Noise(kSizes[std::size(kSizes) - 1] * format.nBlockAlign);
    CModuleHost host;
    host.Begin(format);
    std::vector<std::function<void()>> work{[&] { host.Pass(block.data(), 0); }};
    for (const std::size_t frames : kSizes)
        work.push_back([&, frames] { host.Pass(block.data(), frames * format.nBlockAlign); });
    const std::vector<double> seconds = MedianSeconds(work, kRounds / 3);
    const double lock = seconds[0];
    const double piece = seconds[1] - lock;
    constexpr std::size_t kLong = 6; // 65,536 frames
    const double pieces = static_cast<double>(kSizes[kLong - 1]) / kPieceFrames;
    const double frame = (seconds[kLong] - lock - pieces * piece) / static_cast<double>(kSizes[kLong - 1]);
    std::vector<ChartPoint> points;
    for (std::size_t n = 0; n != std::size(kSizes); ++n) {
        const auto frames = static_cast<double>(kSizes[n]);
        const double sum = lock + static_cast<double>((kSizes[n] + kPieceFrames - 1) / kPieceFrames) * piece +
                           frames * frame;
        points.push_back({frames, seconds[n + 1] / frames / kNano, sum / frames / kNano});
        const bool isPart = n == 0 || n + 1 == kLong; // what the sum is made of
        PrintRow({"blocks of " + WithCommas(kSizes[n]), points.back().y, "its parts", points.back().expected,
            isPart ? std::nullopt : std::optional(1.25)});
    }
    if (chartFile != nullptr &&
        !WriteChart(
            chartFile, {"frames per block", "ns per frame", "measured", "lock + pieces + frames"}, points))
        throw std::runtime_error("the chart can't be written");
}

void FirstAndMillionth() {
    constexpr std::size_t kBlocks = 1'000'000;
    PrintSection("Block path: the first and the millionth block",
        "Blocks of 512 frames, s16: an instance that has passed a million of them beside a new one.");
    PrintTableHead("ns/frame");
    const WAVEFORMATEX format = HostFormat(WAVE_FORMAT_PCM, 16);
    const std::size_t bytes = std::size_t{kPieceFrames} * format.nBlockAlign;
    std::vector<std::uint8_t> block = Noise(bytes);
    CModuleHost old;
    old.Begin(format);
    for (std::size_t n = 0; n != kBlocks; ++n)
        old.Pass(block.data(), bytes);
    CModuleHost fresh;
    fresh.Begin(format);
    const std::vector<double> seconds = MedianSeconds(
        {[&] { old.Pass(block.data(), bytes); }, [&] { fresh.Pass(block.data(), bytes); }}, kRounds);
    PrintRow({"after a million blocks", seconds[0] / kPieceFrames / kNano, "a new instance",
        seconds[1] / kPieceFrames / kNano, 1.1});
}

} // namespace

int main(int argc, char** argv) {
    try {
        const CComApartment com;
        Pieces();
        PerBlock();
        BlockSizes(argc > 1 ? argv[1] : nullptr);
        FirstAndMillionth();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return 1;
    }
}
