#include "dxconv/CDspModule.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/text.h"
#include "dxconv/worker.h"

CDspModule::CDspModule(const std::string& name) {
    const std::string path = name.empty() ? Utf8(OwnFolder()) + "dxwrapper.dll" : name;
    const CInsideCall inside(WorkerCall::Load);
    m_library = ::LoadLibraryExW(FullPath(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (m_library == nullptr)
        throw CError(ExitCode::Module, path,
            "cannot be loaded: " + SystemErrorText() + "; put the 32-bit DLL beside dxconv.exe");
    try {
        BindAll(path);
    } catch (...) {
        ::FreeLibrary(m_library);
        throw;
    }
}

CDspModule::~CDspModule() {
    const CInsideCall inside(WorkerCall::Release);
    ::FreeLibrary(m_library);
}

template <typename Function>
bool CDspModule::Bind(Function& function, const char* exportName) {
    // By way of void*: the cast between unlike function types is the point.
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(m_library, exportName)));
    return function != nullptr;
}

void CDspModule::BindAll(const std::string& name) {
    const bool bound =
        Bind(Create, "DSP_Create") && Bind(Destroy, "DSP_Destroy") && Bind(Set, "DSP_Set") &&
        Bind(Get, "DSP_Get") && Bind(ShowConfigBit, "DSP_ShowConfigBit") &&
        Bind(RemoveConfigBit, "DSP_RemoveConfigBit") && Bind(BeginConversion, "DSP_BeginConversion") &&
        Bind(PassAudioBlock, "DSP_PassAudioBlock") && Bind(PassNonLive, "DSP_PassNonLive") &&
        Bind(EndConversion, "DSP_EndConversion") && Bind(AfterConversion, "DSP_AfterConversion");
    if (!bound)
        throw CError(
            ExitCode::Module, name, "is not a DSP module (a function is missing); reinstall dxwrapper.dll");
}
