#include "dxconv/standard_output.h"

#include <io.h>
#include <cstdio>

namespace {

HANDLE g_kept = nullptr; // until the process ends

} // namespace

HANDLE StandardHandle(DWORD which) {
    return which == STD_OUTPUT_HANDLE && g_kept != nullptr ? g_kept : ::GetStdHandle(which);
}

void KeepStandardOutput() {
    const HANDLE self = ::GetCurrentProcess();
    // A copy: the C run-time, which effects may share with us, closes its own when it is sent elsewhere.
    if (!::DuplicateHandle(
            self, ::GetStdHandle(STD_OUTPUT_HANDLE), self, &g_kept, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return;
    ::_dup2(::_fileno(stderr), ::_fileno(stdout));
    ::SetStdHandle(STD_OUTPUT_HANDLE, ::GetStdHandle(STD_ERROR_HANDLE));
}
