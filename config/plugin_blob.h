#pragma once

#include "config/CStructArray.h"

class CMemBuff;

// The stored form of the list, integers little-endian, without padding: count (signed 32 bits), then for each
// record the class identifier (16 bytes as in memory), the name's length (32 bits) and the name's bytes. No
// system call.

/// Replaces `list` by the records that stand in `blob` from its read position on, up to the first that is
/// damaged. False when one is, or the count is missing; the records before it are kept. A count below 1 is an
/// empty list, and true. Takes no longer than the blob's length allows.
bool DecodePlugIns(CMemBuff& blob, CStructArray& list);

/// Appends the list to `blob`. False when memory is short.
bool EncodePlugIns(const CStructArray& list, CMemBuff& blob);
