#include "dxconv/find_effect.h"

#include "config/PlugInElem.h"
#include "config/candidates.h"
#include "dxconv/CError.h"
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

FoundEffect FindEffect(const std::string& nameOrClsid) {
    const std::wstring wanted = Wide(nameOrClsid);
    GUID clsid{};
    const bool byClsid = wanted.starts_with(L'{') && SUCCEEDED(::CLSIDFromString(wanted.c_str(), &clsid));
    std::vector<FoundEffect> found;
    CStructArray candidates(sizeof(PlugInElem), kGrowRecords);
    EnumCandidates(candidates);
    for (int i = 0; i < candidates.GetCount(); ++i) {
        const PlugInElem& candidate = *PlugInAt(candidates, i);
        const std::wstring name = AnsiToWide(candidate.name);
        if (byClsid ? candidate.clsid == clsid
                    : ::CompareStringOrdinal(name.c_str(), -1, wanted.c_str(), -1, TRUE) == CSTR_EQUAL)
            found.push_back({candidate.clsid, name});
    }
    if (found.size() == 1 || (byClsid && !found.empty()))
        return found.front();
    if (byClsid)
        return {clsid, wanted};
    throw CError(ExitCode::Effect, "--effect",
        found.empty()
            ? "no installed effect is called '" + nameOrClsid + "'; run 'dxconv effects' for the names"
            : std::to_string(found.size()) + " installed effects are called '" + nameOrClsid +
                  "'; give the class id that 'dxconv effects' lists");
}
