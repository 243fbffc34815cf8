#include "config/PlugInElem.h"
#include "config/PlugInList.h"
#include "config/candidates.h"
#include "config/plugin_store.h"
#include "dxconv/CError.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "dxconv/verdict_text.h"
#include "support/text.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

constexpr int kGrowRecords = 16;

// Positions of the candidates in the order of display.
std::vector<int> DisplayOrder(const CStructArray& candidates) {
    std::vector<int> order(static_cast<std::size_t>(candidates.GetCount()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int left, int right) {
        return CompareNames(*PlugInAt(candidates, left), *PlugInAt(candidates, right)) < 0;
    });
    return order;
}

void ScanHeadless() {
    CStructArray candidates(sizeof(PlugInElem), kGrowRecords);
    CStructArray usable(sizeof(PlugInElem), kGrowRecords);
    EnumCandidates(candidates);
    for (const int i : DisplayOrder(candidates)) {
        PlugInElem& candidate = *PlugInAt(candidates, i);
        const std::string name = Utf8(AnsiToWide(candidate.name));
        const std::string refusal = RefusalText(TryCandidate(candidate.clsid));
        std::string line = (refusal.empty() ? "usable   " : "refused  ") + name;
        if (!refusal.empty())
            line += ": " + refusal;
        Print(STD_OUTPUT_HANDLE, line + "\n");
        if (refusal.empty() && !usable.Append(candidate))
            throw CError(ExitCode::Internal, "scan", "not enough memory; close other programs");
    }
    StorePlugIns(usable);
}

} // namespace

void RunScan(const ScanOptions& options) {
    if (options.headless)
        ScanHeadless();
    else {
        ReadStoredPlugIns(PlugInList); // what is ticked at first
        ScanAndStorePlugInList(nullptr);
    }
}
