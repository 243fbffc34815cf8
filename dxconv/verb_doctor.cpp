#include "config/PlugInElem.h"
#include "config/candidates.h"
#include "config/plugin_store.h"
#include "dxconv/files.h"
#include "dxconv/installed_class.h"
#include "dxconv/module_check.h"
#include "dxconv/shown_path.h"
#include "dxconv/system_text.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "dxconv/verdict_text.h"
#include "effects/echo/guids.h"
#include "support/text.h"

#include <dshow.h>
#include <wrl/client.h>

namespace {

constexpr int kGrowRecords = 16;
constexpr char kScan[] = "run 'dxconv scan'";

bool CheckTemporaryFolder(CCheckup& checkup) {
    const std::wstring folder = TemporaryFolder();
    const CKernelHandle file = OpenHandle(TemporaryName(folder), GENERIC_WRITE, 0, CREATE_NEW,
        FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE);
    const bool writable = file && WriteFully(file.Get(), "", 1);
    const std::string error = SystemErrorText();
    if (writable)
        checkup.Ok("temporary folder", ShownPath(folder) + " can be written");
    else
        checkup.Fail("temporary folder", ShownPath(folder) + " cannot be written (" + error + ")",
            "set the environment variable TMP to a folder of yours");
    return writable;
}

// Effects make windows: their page says how large it is by being made.
void CheckWindows(CCheckup& checkup) {
    const HWND window =
        ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    const std::string error = SystemErrorText();
    if (window == nullptr)
        checkup.Fail("windows", "cannot be made (" + error + ")", "give Wine a display, say with xvfb-run");
    else if (::DestroyWindow(window))
        checkup.Ok("windows", "can be made");
}

template <typename Interface>
void CheckClass(CCheckup& checkup, const char* what, const GUID& clsid) {
    Microsoft::WRL::ComPtr<Interface> object;
    const HRESULT made = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&object));
    if (SUCCEEDED(made))
        checkup.Ok(what, "there");
    else
        checkup.Fail(what, "cannot be created (" + HexText(static_cast<unsigned long>(made)) + ")",
            "run 'regsvr32 quartz.dll' as administrator");
}

void CheckEffects(CCheckup& checkup, const CStructArray& candidates) {
    if (candidates.HasElements())
        checkup.Ok(
            "effects", std::to_string(candidates.GetCount()) + " installed filters may serve as effects");
    else
        checkup.Warn("effects", "none found", "install a 32-bit DirectX effect");
    for (int i = 0; i < candidates.GetCount(); ++i) {
        const PlugInElem& candidate = *PlugInAt(candidates, i);
        const std::string problem = InstallationProblem(FindClassServers(candidate.clsid), ShownPath);
        if (!problem.empty())
            checkup.Warn("effects", "'" + Utf8(AnsiToWide(candidate.name)) + "' " + problem,
                "install the effect's 32-bit version again");
    }
    if (FindPlugIn(candidates, kEchoFilterClsid) >= 0)
        checkup.Ok("sample effect", "Echo is installed");
    else
        checkup.Warn("sample effect", "Echo is not installed", "to try it, run 'regsvr32 echo.dll'");
}

void CheckStoredList(CCheckup& checkup, const CStructArray& candidates) {
    constexpr char kWhat[] = "stored list";
    CStructArray list(sizeof(PlugInElem), kGrowRecords);
    switch (ReadStoredPlugIns(list)) {
    case StoredList::Missing:
        checkup.Warn(kWhat, "none yet", kScan);
        return;
    case StoredList::Complete:
        checkup.Ok(kWhat, "usable effects: " + std::to_string(list.GetCount()));
        break;
    default:
        checkup.Fail(kWhat, "is damaged", kScan);
    }
    for (int i = 0; i < list.GetCount(); ++i) {
        const PlugInElem& effect = *PlugInAt(list, i);
        if (FindPlugIn(candidates, effect.clsid) < 0)
            checkup.Warn(kWhat, "'" + Utf8(AnsiToWide(effect.name)) + "' is not installed any more", kScan);
    }
}

} // namespace

void RunDoctor(const DoctorOptions& options) {
    CCheckup checkup(options.json);
    checkup.Ok("program", "dxconv " DXCONV_VERSION);
    checkup.Ok("system", SystemText());
    const bool canLog = CheckTemporaryFolder(checkup);
    CheckWindows(checkup);
    CheckClass<IGraphBuilder>(checkup, "graph manager", CLSID_FilterGraph);
    CheckClass<IFilterMapper2>(checkup, "filter mapper", CLSID_FilterMapper);
    CStructArray candidates(sizeof(PlugInElem), kGrowRecords);
    EnumCandidates(candidates);
    CheckEffects(checkup, candidates);
    CheckStoredList(checkup, candidates);
    CheckModule(checkup, options.module, canLog); // last: it may end this process
    checkup.Finish();
}
