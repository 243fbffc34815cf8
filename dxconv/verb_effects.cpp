#include "config/candidates.h"
#include "dxconv/find_effect.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "support/text.h"

void RunEffects() {
    for (const Candidate& candidate : EnumCandidates())
        Print(STD_OUTPUT_HANDLE,
            Utf8(ClsidText(candidate.clsid) + L"  " + AnsiToWide(candidate.name.c_str())) + "\n");
}
