#include "dxconv/module_check.h"

#include "dxconv/CDspInstance.h"
#include "dxconv/code_file.h"
#include "dxconv/files.h"
#include "dxconv/shown_path.h"
#include "dxconv/text.h"

#include <numeric>

namespace {

constexpr char kWhat[] = "module";
constexpr char kReinstall[] = "put the dxwrapper.dll of this program's release beside dxconv.exe";
constexpr DWORD kSampleRate = 44100;
constexpr std::size_t kBlockBytes = 4096;

// "1.2.3"; empty without a version resource.
std::string FileVersion(const std::wstring& path) {
    DWORD unused = 0;
    std::vector<std::byte> resource(::GetFileVersionInfoSizeW(path.c_str(), &unused));
    VS_FIXEDFILEINFO* version = nullptr;
    UINT bytes = 0;
    if (resource.empty() ||
        !::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()) ||
        !::VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&version), &bytes))
        return {};
    return std::to_string(HIWORD(version->dwFileVersionMS)) + "." +
           std::to_string(LOWORD(version->dwFileVersionMS)) + "." +
           std::to_string(HIWORD(version->dwFileVersionLS));
}

void CheckVersion(CCheckup& checkup, const std::wstring& path) {
    const std::string version = FileVersion(path);
    if (version == DXCONV_VERSION)
        checkup.Ok("module version", version + ", as this program's");
    else
        checkup.Fail("module version",
            (version.empty() ? "none" : version) + ", this program's is " DXCONV_VERSION, kReinstall);
}

// Without an effect what goes in comes out.
void CheckBlock(CCheckup& checkup, const CDspModule& module) {
    const CHostLogs logs({});
    CDspInstance dsp(module, logs, kWhat);
    DSPAudioBlock block{};
    block.wfx.ex = {WAVE_FORMAT_PCM, 2, kSampleRate, kSampleRate * 4, 4, 16, 0};
    std::vector<BYTE> audio(kBlockBytes);
    std::iota(audio.begin(), audio.end(), BYTE{0});
    const std::vector<BYTE> before = audio;
    block.pData = audio.data();
    block.nBytes = static_cast<INT32>(audio.size());
    block.bLastBlock = 1;
    dsp.Begin(block.wfx, {});
    dsp.Pass(block);
    const bool same = std::vector<BYTE>(block.pData, block.pData + block.nBytes) == before;
    dsp.End();
    dsp.After();
    if (same)
        checkup.Ok("module audio", "without an effect a block comes back unchanged");
    else
        checkup.Fail("module audio", "without an effect a block comes back changed", kReinstall);
}

} // namespace

void CheckModule(CCheckup& checkup, const std::string& module, bool withAudio) {
    const std::wstring path = module.empty() ? OwnFolder() + L"dxwrapper.dll" : FullPath(module);
    const CodeFile kind = InspectCodeFile(path);
    if (kind != CodeFile::Dll32) {
        checkup.Fail(kWhat, ShownPath(path) + " is " + CodeFileText(kind), kReinstall);
        return;
    }
    CheckVersion(checkup, path);
    try {
        const CDspModule loaded(Utf8(path));
        checkup.Ok(kWhat, ShownPath(path) + " is loaded, with all eleven functions");
        if (withAudio)
            CheckBlock(checkup, loaded);
    } catch (const CError& error) {
        checkup.Fail(kWhat, error, error.Code() == ExitCode::Module ? Utf8(path) : kWhat);
    }
}
