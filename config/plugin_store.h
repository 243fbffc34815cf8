#pragma once

#include "config/CStructArray.h"

// The list of usable effects in the current user's registry: key "Software\Orvelle\DXWrapper", values
// "DXListLen" (the blob's length; 0 = no valid list) and "DXList" (the blob of plugin_blob.h). Threads: any;
// the list is the caller's.

enum class StoredList {
    Complete,
    Missing, ///< none was stored, or it can't be read: the list is unchanged
    Damaged, ///< what stands before the damage is in the list
    NoMemory ///< the list is unchanged
};

/// Replaces `list` by what is stored.
StoredList ReadStoredPlugIns(CStructArray& list);

/// Stores the list; when memory is too short for that, marks the stored one as not valid. Failing writes are
/// ignored.
void StorePlugIns(const CStructArray& list);
