#include "support/module.h"

extern "C" IMAGE_DOS_HEADER __ImageBase; // NOLINT: the linker's name

HINSTANCE ModuleHandle() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

HMODULE HoldModuleOf(const void* address) {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<LPCWSTR>(address), &module);
    return module;
}

void PinModule() {
    HMODULE pinned = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
        reinterpret_cast<LPCWSTR>(&__ImageBase), &pinned);
}
