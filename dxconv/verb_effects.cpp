#include "config/PlugInElem.h"
#include "config/candidates.h"
#include "config/plugin_store.h"
#include "dxconv/CError.h"
#include "dxconv/find_effect.h"
#include "dxconv/json.h"
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

// stored: what became of reading them from the store; empty: they don't come from there.
void PrintEffectsJson(const CStructArray& effects, const char* stored = "") {
    std::vector<std::string> list;
    for (int i = 0; i < effects.GetCount(); ++i) {
        const PlugInElem& effect = *PlugInAt(effects, i);
        list.push_back(JsonObject({{"clsid", JsonText(Utf8(ClsidText(effect.clsid)))},
            {"name", JsonText(Utf8(AnsiToWide(effect.name)))}}));
    }
    std::vector<std::pair<std::string, std::string>> members{{"effects", JsonList(list)}};
    if (*stored != '\0')
        members.insert(members.begin(), {"stored", JsonText(stored)});
    Print(STD_OUTPUT_HANDLE, JsonObject(members) + "\n");
}

void PrintRefused() {
    for (const Refusal& refusal : ReadRefusals())
        Print(STD_OUTPUT_HANDLE,
            Utf8(ClsidText(refusal.clsid) + L"  " + refusal.name + L": " + refusal.reason) +
                (refusal.skip ? " (not tried again without 'scan --headless --retry')\n" : "\n"));
}

void PrintRefusedJson() {
    std::vector<std::string> list;
    for (const Refusal& refusal : ReadRefusals())
        list.push_back(JsonObject(
            {{"clsid", JsonText(Utf8(ClsidText(refusal.clsid)))}, {"name", JsonText(Utf8(refusal.name))},
                {"reason", JsonText(Utf8(refusal.reason))}, {"skipped", refusal.skip ? "true" : "false"}}));
    Print(STD_OUTPUT_HANDLE, JsonObject({{"refused", JsonList(list)}}) + "\n");
}

const char* StoredText(StoredList stored) {
    return stored == StoredList::Complete  ? "complete"
           : stored == StoredList::Missing ? "missing"
                                           : "damaged";
}

} // namespace

void RunEffects(const EffectsOptions& options) {
    CStructArray candidates(sizeof(PlugInElem), kGrowRecords);
    EnumCandidates(candidates);
    if (options.json)
        PrintEffectsJson(candidates);
    else
        PrintEffects(candidates);
}

void RunList(const ListOptions& options) {
    if (options.refused) {
        options.json ? PrintRefusedJson() : PrintRefused();
        return;
    }
    CStructArray list(sizeof(PlugInElem), kGrowRecords);
    const StoredList stored = ReadStoredPlugIns(list);
    if (options.json)
        PrintEffectsJson(list, StoredText(stored));
    else
        PrintEffects(list);
    if (stored == StoredList::Missing)
        throw CError(ExitCode::Effect, "list", "no list is stored; run 'dxconv scan' to make one");
    if (stored != StoredList::Complete)
        throw CError(
            ExitCode::Effect, "list", "the stored list is damaged; run 'dxconv scan' to make it anew");
}
