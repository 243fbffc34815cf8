#include "support/host_memory.h"

const wchar_t* ReadableText(const wchar_t* text) {
    const bool readable = text != nullptr && RunGuarded([text] {
        const volatile wchar_t* unit = text; // each is really read
        while (*unit != L'\0')
            ++unit;
    });
    return readable ? text : nullptr;
}
