#pragma once

// In place of the system's header where there is none: what the decoders use of it, no more.

#include <guiddef.h>
#include <strings.h>

constexpr unsigned CP_ACP = 0;

/// A made-up code page: units from 0x80 on take two bytes, so that a name can outgrow its buffer. length:
/// units, or -1 for a text with a terminator, which then counts. 0 when `room` is too small.
inline int WideCharToMultiByte(
    unsigned, unsigned long, const wchar_t* text, int length, char* out, int room, const char*, int*) {
    int used = 0;
    for (bool more = length != 0; more; ++text) {
        more = length < 0 ? *text != 0 : --length > 0;
        const int bytes = *text < 0x80 ? 1 : 2;
        if (used + bytes > room)
            return 0;
        if (bytes == 2)
            out[used] = static_cast<char>(0x80 | *text >> 8);
        out[used + bytes - 1] = static_cast<char>(bytes == 1 ? *text : 0x40 | (*text & 0xFF)); // no NUL
        used += bytes;
    }
    return used;
}

inline int lstrcmpiA(const char* left, const char* right) {
    return ::strcasecmp(left, right);
}
