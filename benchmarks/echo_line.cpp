// Echo's inner loop against a copy of the same bytes.

#include "benchmarks/measure.h"
#include "benchmarks/report.h"
#include "effects/echo/CEchoLine.h"
#include "effects/echo/IEcho.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

constexpr std::size_t kFrames = 512;
constexpr std::size_t kFloats = kFrames * 2;
constexpr std::uint32_t kRate = 44100;
constexpr double kNano = 1e-9;

// Known to the program only: the copy is the library's.
volatile std::size_t g_bytes = kFloats * sizeof(float);

struct Input {
    const char* name;
    float level;
};
constexpr Input kInputs[] = {{"noise at -20 dB", 0.1F}, {"silence", 0}, {"subnormal noise", 1e-40F},
    {"noise at 2e-38, whose products are subnormal", 2e-38F},
    {"infinity", std::numeric_limits<float>::infinity()}};

void Fill(std::vector<float>& samples, float level) {
    std::uint32_t random = 1;
    for (float& sample : samples) {
        random = random * 1664525 + 1013904223;
        sample = level * std::bit_cast<float>(0x3F800000U | random >> 9);
    }
}

} // namespace

int main() {
    PrintSection("Echo's inner loop", "512 stereo frames through the echo line at its starting settings, "
                                      "against the library's copy of as many "
                                      "bytes.");
    PrintTableHead("ns/frame");
    for (const Input& input : kInputs) {
        std::vector<float> from(kFloats);
        std::vector<float> to(kFloats);
        Fill(from, input.level);
        CEchoLine line;
        line.Start(kRate, 2, static_cast<std::uint32_t>(kEchoRanges[kEchoDelay].initial));
        const CEchoLine::Gains gains =
            CEchoLine::GainsFor(kEchoRanges[kEchoFeedback].initial, kEchoRanges[kEchoMix].initial);
        const std::vector<double> seconds =
            MedianSeconds({[&] {
                               line.Process(from.data(), to.data(), kFrames, gains);
                               Touch(to.data());
                           },
                [&] {
                    std::memcpy(to.data(), from.data(), g_bytes);
                    Touch(to.data());
                }});
        PrintRow({input.name, seconds[0] / kFrames / kNano, "copy", seconds[1] / kFrames / kNano, 6.0});
    }
    return 0;
}
