// Sound through the sample effect at full speed on one thread while another opens, moves and closes panels
// and editors: not a sample differs, and the process does not grow. DXW_SOAK_SECONDS in the environment sets
// the seconds of sound (60).

#include "effects/echo/guids.h"
#include "tests/effects/CTestEffects.h"
#include "tests/effects/echo_model.h"
#include "tests/exports/CPanel.h"
#include "tests/exports/process_resources.h"

#include <objbase.h>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>

namespace {

constexpr DWORD kRate = 44100;
constexpr std::uint32_t kBlockFrames = 4410;
constexpr std::uint32_t kSecondsARound = 2; // of sound, at the least, for each round of the window thread

const WAVEFORMATEX kFormat = CHost::Format(WAVE_FORMAT_PCM, 16, 2, kRate);

// What the converting thread and the window thread share.
struct Soak {
    CModule module;
    void* instance = nullptr;
    std::uint32_t seconds = 0;
    std::atomic<std::uint32_t> rounds{0};     ///< that the window thread has made
    std::atomic<std::uint32_t> framesDone{0}; ///< of sound; 27 hours fit
    std::atomic<bool> failed{false};
    std::uint64_t wrongBlocks = 0; ///< read when the thread has ended, as the tail
    std::size_t tailBytes = 0;

    bool HasDone(std::uint32_t share) const {
        return framesDone >= share * kRate && rounds * kSecondsARound >= share;
    }
};

// The model's answer in the host's samples. Input that is too short goes on in silence.
bool IsModels(CEchoModel& model, const std::vector<std::int16_t>& input, const std::int16_t* output,
    std::size_t count) {
    static std::vector<float> piece;
    piece.assign(count, 0);
    for (std::size_t i = 0; i < std::min(count, input.size()); ++i)
        piece[i] = static_cast<float>(input[i]) / 32768;
    model.Process(piece.data(), count);
    model.ForgetUnheard();
    for (std::size_t i = 0; i < count; ++i)
        if (output[i] != static_cast<std::int16_t>(std::lrint(piece[i] * 32768)))
            return false;
    return true;
}

// The sound goes on until the window thread has had its rounds.
DWORD WINAPI Convert(void* argument) {
    Soak& soak = *static_cast<Soak*>(argument);
    CEchoModel model(kRate, 2);
    std::minstd_rand random;
    std::vector<std::int16_t> input(std::size_t{kBlockFrames} * 2);
    for (bool last = false; !last && !soak.failed;) {
        for (std::int16_t& sample : input)
            sample = static_cast<std::int16_t>(static_cast<int>(random() >> 16) / 2 - 4096);
        std::vector<std::int16_t> block = input;
        last = soak.HasDone(soak.seconds);
        DSPAudioBlock record = CHost::Block(kFormat, block.data(), block.size() * 2, last);
        soak.failed = soak.module.PassAudioBlock(soak.instance, &record) == 0;
        const auto* const output = reinterpret_cast<const std::int16_t*>(record.pData);
        const std::size_t given = static_cast<std::size_t>(record.nBytes) / 2;
        soak.wrongBlocks += given < input.size() || !IsModels(model, input, output, given);
        soak.tailBytes = (given - input.size()) * 2;
        soak.framesDone += kBlockFrames;
    }
    return 0;
}

// A person at a panel. settings: of an effect to connect; empty: the panel shows the instance's effect.
int Round(CPanel& panel, const std::wstring& settings, std::minstd_rand& random) {
    int failures = panel.Show(settings) == nullptr;
    failures += panel.Selection() != 0;
    panel.Press(IDC_EDITOR_TOGGLE);
    const HWND editor = CPanel::Editor(L"Echo");
    failures += editor == nullptr;
    for (int i = static_cast<int>(random() % 6); i >= 0; --i) {
        const auto x = static_cast<int>(random() % 1500), y = static_cast<int>(random() % 1100);
        ::SetWindowPos(editor, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        const DWORD until = ::GetTickCount() + random() % 20;
        PumpUntil([&] { return ::GetTickCount() >= until; });
    }
    const auto end = random() % 3; // else the editor goes with the panel
    if (end == 0)
        ::SendMessageW(editor, WM_SYSCOMMAND, SC_CLOSE, 0);
    if (end == 1)
        panel.Press(IDC_EDITOR_TOGGLE);
    return failures + panel.Remove().empty();
}

// How far the process has come.
struct Mark {
    std::uint32_t rounds;
    ProcessResources resources = CountResources();
    std::size_t resident = ResidentBytes();
};

} // namespace

TEST_CASE("sound through Echo stays exact and the process its size while panels and editors come and go") {
    const char* const wanted = std::getenv("DXW_SOAK_SECONDS");
    const std::uint32_t seconds = wanted == nullptr ? 60 : static_cast<std::uint32_t>(std::atoi(wanted));
    ::CoInitialize(nullptr);
    const GraphShare platform = MeasureGraphShare();
    RegisterEcho();
    const CStoredList list{{kEchoFilterClsid, "Echo"}};
    const std::wstring settings = CHost::SettingsFor(L"Echo", kEchoFilterClsid);
    // Not on this thread's stack: closing an editor renews the stack's guard page, and under Wine that is for
    // a moment the page in use, which no other thread may then touch.
    const auto shared = std::make_unique<Soak>();
    Soak& soak = *shared;
    CPanel converting(soak.module);
    CPanel other(soak.module);
    REQUIRE(converting.Begin(kFormat, settings) == 1);
    soak.instance = converting.instance;
    soak.seconds = seconds;
    std::minstd_rand random;
    int failures = 0;
    std::optional<Mark> atTenth;
    const CKernelHandle thread(::CreateThread(nullptr, 0, Convert, &soak, 0, nullptr));
    while (::WaitForSingleObject(thread.Get(), 0) == WAIT_TIMEOUT) {
        failures += Round(other, settings, random); // builds a graph
        failures += Round(converting, L"", random);
        ++soak.rounds;
        if (!atTenth && soak.HasDone(seconds / 10))
            atTenth.emplace(Mark{soak.rounds});
    }
    REQUIRE(atTenth);
    const Mark atEnd{soak.rounds};
    const auto handles = static_cast<std::ptrdiff_t>(atEnd.resources.handles - atTenth->resources.handles);
    CHECK_FALSE(soak.failed.load());
    CHECK(soak.wrongBlocks == 0);
    CHECK(soak.tailBytes > 0);
    CHECK(failures == 0);
    CHECK(static_cast<std::ptrdiff_t>(atEnd.resident - atTenth->resident) < 1024 * 1024);
    CHECK(static_cast<double>(handles) - platform.handles * (atEnd.rounds - atTenth->rounds) < 3);
    CHECK(atEnd.resources.windows == atTenth->resources.windows);
    ::CoUninitialize();
}
