#include "config/PlugInElem.h"
#include "config/candidates.h"
#include "config/plugin_store.h"
#include "dxconv/CError.h"
#include "dxconv/find_effect.h"
#include "dxconv/refused_store.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "support/text.h"

namespace {

constexpr int kGrowRecords = 16;

void PrintEffects(const CStructArray& effects) {
    for (int i = 0; i < effects.GetCount(); ++i) {
        const PlugInElem& effect = *PlugInAt(effects, i);
        Print(STD_OUTPUT_HANDLE, Utf8(ClsidText(effect.clsid) + L"  " + AnsiToWide(effect.name)) + "\n");
    }
}

void PrintRefused() {
    for (const Refusal& refusal : ReadRefusals())
        Print(STD_OUTPUT_HANDLE,
            Utf8(ClsidText(refusal.clsid) + L"  " + refusal.name + L": " + refusal.reason) +
                (refusal.skip ? " (not tried again without 'scan --headless --retry')\n" : "\n"));
}

} // namespace

void RunEffects() {
    CStructArray candidates(sizeof(PlugInElem), kGrowRecords);
    EnumCandidates(candidates);
    PrintEffects(candidates);
}

void RunList(const ListOptions& options) {
    if (options.refused) {
        PrintRefused();
        return;
    }
    CStructArray list(sizeof(PlugInElem), kGrowRecords);
    const StoredList stored = ReadStoredPlugIns(list);
    PrintEffects(list);
    if (stored == StoredList::Missing)
        throw CError(ExitCode::Effect, "list", "no list is stored; run 'dxconv scan' to make one");
    if (stored != StoredList::Complete)
        throw CError(
            ExitCode::Effect, "list", "the stored list is damaged; run 'dxconv scan' to make it anew");
}
