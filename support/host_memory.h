#pragma once

#include "support/CForeignGuard.h"

#include <cstring>

/// A host's pointers are its word: what can't be read is refused instead of faulting.

/// Copies the record at `from` to *to. False when it is null or can't be read; *to is then undefined.
template <typename Record>
bool ReadRecord(Record* to, const Record* from) {
    return from != nullptr && RunGuarded([=] { std::memcpy(to, from, sizeof(Record)); });
}

/// `text` itself, or null when it can't be read up to its terminator.
const wchar_t* ReadableText(const wchar_t* text);
