#include "dxconv/find_effect.h"

#include "config/PlugInElem.h"
#include "config/candidates.h"
#include "dxconv/CError.h"
#include "dxconv/installed_class.h"
#include "dxconv/nearest_name.h"
#include "dxconv/text.h"
#include "support/text.h"

#include <objbase.h>
#include <vector>

namespace {

constexpr int kGrowRecords = 16;

} // namespace

std::wstring ClsidText(const GUID& clsid) {
    wchar_t text[40];
    ::StringFromGUID2(clsid, text, ARRAYSIZE(text));
    return text;
}

FoundEffect FindInstalled(const std::string& nameOrClsid) {
    const std::wstring wanted = Wide(nameOrClsid);
    GUID clsid{};
    const bool byClsid = wanted.starts_with(L'{') && SUCCEEDED(::CLSIDFromString(wanted.c_str(), &clsid));
    std::vector<FoundEffect> found;
    std::vector<std::wstring> names;
    CStructArray candidates(sizeof(PlugInElem), kGrowRecords);
    EnumCandidates(candidates);
    for (int i = 0; i < candidates.GetCount(); ++i) {
        const PlugInElem& candidate = *PlugInAt(candidates, i);
        names.push_back(AnsiToWide(candidate.name));
        if (byClsid
                ? candidate.clsid == clsid
                : ::CompareStringOrdinal(names.back().c_str(), -1, wanted.c_str(), -1, TRUE) == CSTR_EQUAL)
            found.push_back({candidate.clsid, names.back()});
    }
    if (found.size() == 1 || (byClsid && !found.empty()))
        return found.front();
    if (byClsid)
        return {clsid, wanted};
    if (!found.empty())
        throw CError(ExitCode::Effect, "effect",
            std::to_string(found.size()) + " installed effects are called '" + nameOrClsid +
                "'; give the class id that 'dxconv effects' lists");
    if (const auto elsewhere = Find64BitFilter(wanted))
        return *elsewhere;
    const std::wstring nearest = NearestName(wanted, names);
    throw CError(ExitCode::Effect, "effect",
        "no installed effect is called '" + nameOrClsid + "'; " +
            (nearest.empty() ? "run 'dxconv effects' for the names"
                             : "did you mean '" + Utf8(nearest) + "'?"));
}

FoundEffect FindEffect(const std::string& nameOrClsid) {
    FoundEffect effect = FindInstalled(nameOrClsid);
    const std::string problem = InstallationProblem(effect.clsid);
    if (!problem.empty())
        throw CError(ExitCode::Effect, nameOrClsid, problem + "; install the effect's 32-bit version");
    return effect;
}
