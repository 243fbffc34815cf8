#include "dxconv/text.h"
#include "dxconv/verbs.h"

void RunVersion() {
    Print(STD_OUTPUT_HANDLE, "dxconv " DXCONV_VERSION "\n");
}
