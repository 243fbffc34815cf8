#include "benchmarks/CModuleHost.h"

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

// Echo with the settings that it starts with: its class and no state.
constexpr wchar_t kEchoSettings[] = L"Echo=X61E3ADA7DB6B044CBA8EC85F225B50EA00000000";

constexpr wchar_t kNoEffect[] = L"=X0000000000000000000000000000000000000000";

HMODULE LoadModule() {
    wchar_t path[MAX_PATH] = L"";
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    folder.erase(folder.rfind(L'\\') + 1);
    const HMODULE library = ::LoadLibraryW((folder + L"..\\dxwrapper.dll").c_str());
    if (library == nullptr)
        throw std::runtime_error("dxwrapper.dll is not in the folder above the program");
    return library;
}

} // namespace

WAVEFORMATEX HostFormat(WORD tag, WORD bits, WORD channels, DWORD rate) {
    const auto frameBytes = static_cast<WORD>(bits / 8 * channels);
    return {tag, channels, rate, rate * frameBytes, frameBytes, bits, 0};
}

void Must(HRESULT result) {
    char text[32];
    std::snprintf(text, sizeof text, "result 0x%08lX", static_cast<unsigned long>(result));
    if (FAILED(result))
        throw std::runtime_error(text);
}

template <typename Function>
void CModuleHost::Bind(Function& function, const char* name) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(m_library, name)));
    if (function == nullptr)
        throw std::runtime_error(name);
}

CModuleHost::CModuleHost() : m_library(LoadModule()) {
    Bind(m_create, "DSP_Create");
    Bind(m_destroy, "DSP_Destroy");
    Bind(m_begin, "DSP_BeginConversion");
    Bind(m_pass, "DSP_PassAudioBlock");
    Bind(m_end, "DSP_EndConversion");
    Bind(m_after, "DSP_AfterConversion");
    m_instance = m_create(nullptr);
}

CModuleHost::~CModuleHost() {
    m_destroy(m_instance);
    ::FreeLibrary(m_library);
}

void CModuleHost::Begin(const WAVEFORMATEX& format) {
    const DSPConversionInfo info{{0, 0, 0}, &format};
    if (m_begin(m_instance, &info, kEchoSettings) == 0)
        throw std::runtime_error("DSP_BeginConversion refused; is Echo registered?");
    m_block.wfx.ex = format;
}

void CModuleHost::Pass(void* data, std::size_t bytes) {
    m_block.pData = static_cast<BYTE*>(data);
    m_block.nBytes = static_cast<INT32>(bytes);
    if (m_pass(m_instance, &m_block) == 0)
        throw std::runtime_error("DSP_PassAudioBlock failed");
}

void CModuleHost::End() {
    m_end(m_instance, 0);
    m_after(m_instance, 0);
}

void CModuleHost::Drop() {
    const DSPConversionInfo info{{0, 0, 0}, &m_block.wfx.ex};
    m_begin(m_instance, &info, kNoEffect); // refused, once the effect is gone
}
