#include "support/module.h"

extern "C" IMAGE_DOS_HEADER __ImageBase; // NOLINT: the linker's name

HINSTANCE ModuleHandle() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

void PinModule() {
    HMODULE pinned = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
        reinterpret_cast<LPCWSTR>(&__ImageBase), &pinned);
}
