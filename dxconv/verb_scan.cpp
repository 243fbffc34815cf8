#include "config/PlugInElem.h"
#include "config/PlugInList.h"
#include "config/candidates.h"
#include "config/plugin_store.h"
#include "dxconv/CError.h"
#include "dxconv/interruption.h"
#include "dxconv/refused_store.h"
#include "dxconv/text.h"
#include "dxconv/trial.h"
#include "dxconv/verbs.h"
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

void AppendCopy(CStructArray& list, const PlugInElem& effect) {
    PlugInElem copy;
    copy.clsid = effect.clsid;
    copy.name = effect.name == nullptr ? nullptr : CopyName(effect.name);
    if ((effect.name != nullptr && copy.name == nullptr) || !list.Append(copy))
        throw CError(ExitCode::Internal, "scan", "not enough memory; close other programs");
}

// One scan over all candidates, each in a process of its own. The stored list is at every moment what a next
// run can start from: what was found usable, then what was so earlier and is still to be tried.
class CHeadlessScan {
public:
    explicit CHeadlessScan(const ScanOptions& options) : m_options(options), m_refusals(ReadRefusals()) {
        ReadStoredPlugIns(m_before);
        EnumCandidates(m_candidates);
        m_order = DisplayOrder(m_candidates);
        for (const Refusal& refusal : m_refusals)
            if (FindPlugIn(m_candidates, refusal.clsid) < 0)
                ForgetRefusal(refusal.clsid); // no longer installed
    }

    void Run() {
        for (std::size_t n = 0; n < m_order.size(); ++n) {
            Try(*PlugInAt(m_candidates, m_order[n]));
            Store(n + 1);
            ThrowIfCancelled({});
        }
        Store(m_order.size());
    }

private:
    void Try(const PlugInElem& candidate) {
        const std::wstring name = AnsiToWide(candidate.name);
        const auto known = std::find_if(m_refusals.begin(), m_refusals.end(),
            [&](const Refusal& refusal) { return refusal.clsid == candidate.clsid; });
        if (known != m_refusals.end() && known->skip && !m_options.retry) {
            Print(STD_OUTPUT_HANDLE,
                "skipped  " + Utf8(name + L": " + known->reason) + " (last time); --retry tries it again\n");
            return;
        }
        const Trial trial = TryInChild(candidate.clsid, {.timeoutSeconds = m_options.timeoutSeconds});
        if (trial.refusal.empty()) {
            AppendCopy(m_usable, candidate);
            ForgetRefusal(candidate.clsid);
            Print(STD_OUTPUT_HANDLE, "usable   " + Utf8(name) + "\n");
        } else {
            StoreRefusal({candidate.clsid, name, Wide(trial.refusal), trial.fatal});
            Print(STD_OUTPUT_HANDLE, "refused  " + Utf8(name) + ": " + trial.refusal + "\n");
        }
    }

    // tried: how many of the candidates, in order.
    void Store(std::size_t tried) const {
        CStructArray list(sizeof(PlugInElem), kGrowRecords);
        for (int i = 0; i < m_usable.GetCount(); ++i)
            AppendCopy(list, *PlugInAt(m_usable, i));
        for (std::size_t n = tried; n < m_order.size(); ++n) {
            const PlugInElem& candidate = *PlugInAt(m_candidates, m_order[n]);
            if (FindPlugIn(m_before, candidate.clsid) >= 0)
                AppendCopy(list, candidate);
        }
        StorePlugIns(list);
    }

    const ScanOptions& m_options;
    const std::vector<Refusal> m_refusals; // of earlier scans
    CStructArray m_before{sizeof(PlugInElem), kGrowRecords};
    CStructArray m_candidates{sizeof(PlugInElem), kGrowRecords};
    CStructArray m_usable{sizeof(PlugInElem), kGrowRecords};
    std::vector<int> m_order;
};

} // namespace

void RunScan(const ScanOptions& options) {
    if (options.headless) {
        SuperviseInterruptions();
        CHeadlessScan(options).Run();
    } else {
        ReadStoredPlugIns(PlugInList); // what is ticked at first
        ScanAndStorePlugInList(nullptr);
    }
}
