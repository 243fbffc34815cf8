// Sound through the sample effect at full speed on one thread while another opens, moves and closes panels
// and editors: not a sample differs, and the process does not grow. DXW_SOAK_SECONDS in the environment sets
// the seconds of sound (60).

#include "effects/echo/IEcho.h"
#include "effects/echo/guids.h"
#include "effects/echo/resource.h"
#include "tests/effects/CTestEffects.h"
#include "tests/effects/echo_model.h"
#include "tests/exports/CPanel.h"
#include "tests/exports/process_resources.h"

#include <commctrl.h>
#include <objbase.h>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <random>

namespace {

struct CRandom {
    explicit CRandom(unsigned seed) : engine(seed) {}
    std::uint32_t Next() { return static_cast<std::uint32_t>(engine()); }
    int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint32_t>(limit)); }
    bool Chance(int percent) { return Below(100) < percent; }
    std::minstd_rand engine;
};

constexpr std::uint32_t kRate = 44100;
constexpr std::uint32_t kBlocksASecond = 10;
constexpr std::uint32_t kBlockFrames = kRate / kBlocksASecond;
constexpr std::uint32_t kSecondsARound = 3; // of sound, at the least, for each round of the window thread
constexpr int kWarmUpRounds = 10;

const WAVEFORMATEX kFormat = CHost::Format(WAVE_FORMAT_PCM, 16, 2, kRate);

// What the converting thread and the window thread share.
struct Soak {
    CModule& module;
    void* instance;
    std::uint32_t seconds;
    std::atomic<std::uint32_t> rounds{0};     ///< that the window thread has made
    std::atomic<std::uint32_t> blocksDone{0}; ///< of sound
    std::atomic<bool> failed{false};
    std::uint32_t wrongBlocks = 0; ///< read when the thread has ended, as the rest
    std::uint32_t tailFrames = 0;
    DWORD soundMs = 0; ///< how long all of it took
};

// The model's answer in the host's samples.
bool IsModels(CEchoModel& model, const std::int16_t* input, const std::int16_t* output, std::size_t count) {
    static std::vector<float> piece;
    piece.assign(count, 0);
    for (std::size_t i = 0; input != nullptr && i < count; ++i)
        piece[i] = static_cast<float>(input[i]) / 32768;
    model.Process(piece.data(), count);
    model.ForgetUnheard();
    for (std::size_t i = 0; i < count; ++i)
        if (output[i] != static_cast<std::int16_t>(std::lrint(piece[i] * 32768)))
            return false;
    return true;
}

// The sound goes on until the window thread has had its rounds.
bool IsLast(const Soak& soak) {
    return soak.blocksDone + 1 >= soak.seconds * kBlocksASecond &&
           soak.rounds * kSecondsARound >= soak.seconds;
}

DWORD WINAPI Convert(void* argument) {
    Soak& soak = *static_cast<Soak*>(argument);
    CEchoModel model(kRate, 2);
    CRandom random(4711);
    std::vector<std::int16_t> input(std::size_t{kBlockFrames} * 2);
    std::vector<std::int16_t> block(input.size());
    const DWORD start = ::GetTickCount();
    for (bool last = false; !last && !soak.failed;) {
        for (std::int16_t& sample : input)
            sample = static_cast<std::int16_t>(static_cast<std::int16_t>(random.Next() >> 16) / 4);
        block = input;
        last = IsLast(soak);
        DSPAudioBlock record = CHost::Block(kFormat, block.data(), block.size() * 2, last);
        soak.failed = soak.module.PassAudioBlock(soak.instance, &record) == 0;
        const auto* const output = reinterpret_cast<const std::int16_t*>(record.pData);
        const std::size_t given = static_cast<std::size_t>(record.nBytes) / 2;
        soak.wrongBlocks += !IsModels(model, input.data(), output, input.size());
        ++soak.blocksDone;
        if (!last)
            continue;
        soak.tailFrames = static_cast<std::uint32_t>(given - input.size()) / 2;
        soak.wrongBlocks += !IsModels(model, nullptr, output + input.size(), given - input.size());
    }
    soak.soundMs = ::GetTickCount() - start;
    return 0;
}

// Takes this thread's messages for a while, at random lengths.
void Linger(CRandom& random) {
    const DWORD until = ::GetTickCount() + static_cast<DWORD>(random.Below(20));
    do {
        TakeMessages();
        ::Sleep(1);
    } while (::GetTickCount() < until);
}

// A person at a panel: opens Echo's editor, moves it around and closes it, or leaves it to go with the panel.
// The text that shows the converting instance's panel names no effect and so leaves the one that converts. In
// the other instance Echo is picked, after the text has connected it: two graphs; its slider is moved.
int Round(CPanel& panel, bool converting, CRandom& random) {
    const std::wstring settings = converting ? L"" : CHost::SettingsFor(L"Echo", kEchoFilterClsid);
    int failures = (panel.Show(settings) == nullptr) + (panel.Selection() != 0);
    converting ? panel.Press(IDC_EDITOR_TOGGLE) : panel.Select(0);
    const HWND editor = CPanel::Editor(L"Echo");
    const HWND page = ::GetWindow(editor, GW_CHILD);
    const HWND slider = ::GetDlgItem(page, IDC_FIRST_SLIDER + kEchoFeedback);
    failures += slider == nullptr;
    if (!converting) {
        ::SendMessageW(slider, TBM_SETPOS, TRUE, random.Below(90));
        ::SendMessageW(page, WM_HSCROLL, TB_ENDTRACK, reinterpret_cast<LPARAM>(slider));
    }
    for (int i = random.Below(6); i >= 0; --i) {
        ::SetWindowPos(
            editor, nullptr, random.Below(1500), random.Below(1100), 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        Linger(random);
    }
    const int closing = random.Below(3);
    if (closing == 0)
        ::SendMessageW(editor, WM_SYSCOMMAND, SC_CLOSE, 0);
    else if (closing == 1)
        panel.Press(IDC_EDITOR_TOGGLE);
    Linger(random);
    return failures + panel.Remove().empty();
}

// How far the process has come.
struct Mark {
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
    CModule module;
    CPanel converting(module);
    CPanel other(module);
    const std::wstring settings = CHost::SettingsFor(L"Echo", kEchoFilterClsid);
    REQUIRE(converting.Begin(kFormat, settings) == 1);
    Soak oneBlock{module, converting.instance, 0};
    Convert(&oneBlock); // the instance keeps memory for its tail from now on
    REQUIRE(converting.Begin(kFormat, settings) == 1);
    Soak soak{module, converting.instance, seconds};
    CRandom random(1);
    int failures = 0;
    for (int i = 0; i < kWarmUpRounds; ++i) // a tenth of a short run is not enough for the platform to settle
        failures += Round(other, false, random) + Round(converting, true, random);
    const HANDLE thread = ::CreateThread(nullptr, 0, Convert, &soak, 0, nullptr);
    std::unique_ptr<Mark> atTenth;
    std::uint32_t roundsAtTenth = 0;
    while (::WaitForSingleObject(thread, 0) == WAIT_TIMEOUT) {
        failures += Round(other, false, random) + Round(converting, true, random);
        ++soak.rounds;
        const bool tenth =
            soak.blocksDone >= seconds * kBlocksASecond / 10 && soak.rounds * kSecondsARound >= seconds / 10;
        if (tenth && atTenth == nullptr) {
            roundsAtTenth = soak.rounds;
            atTenth = std::make_unique<Mark>();
        }
    }
    ::CloseHandle(thread);
    REQUIRE(atTenth != nullptr);
    const Mark atEnd;
    const std::uint32_t rounds = soak.rounds - roundsAtTenth;
    const auto grown = static_cast<std::ptrdiff_t>(atEnd.resident - atTenth->resident);
    const auto handles = static_cast<std::ptrdiff_t>(atEnd.resources.handles - atTenth->resources.handles);
    const double own = platform.handles * 2 * rounds;
    MESSAGE((soak.blocksDone.load() / kBlocksASecond)
            << " s of sound in " << soak.soundMs << " ms, " << soak.rounds.load()
            << " rounds; since the first tenth " << (grown / 1024) << " KB and " << handles
            << " handles more, of these the platform's own " << own);
    CHECK_FALSE(soak.failed.load());
    CHECK(soak.wrongBlocks == 0);
    CHECK(soak.tailFrames > 0);
    CHECK(failures == 0);
    CHECK(grown < 1024 * 1024);
    CHECK(static_cast<double>(handles) - own < 3);
    CHECK(atEnd.resources.windows == atTenth->resources.windows);
    ::CoUninitialize();
}
