#pragma once

#include "config/CStructArray.h"

#include <guiddef.h>

/// One installed effect. Two records are the same effect when their class identifiers are.
class PlugInElem : public ArrayElem {
public:
    PlugInElem() = default;
    ~PlugInElem() { PlugInElem::Free(); }

    void Free() override;
    void Detach() override { name = nullptr; }

    GUID clsid{};
    char* name = nullptr; ///< owned, from malloc: display name in the ANSI code page, or null
};

/// A malloc copy; null when memory is short.
char* CopyName(const char* name);

/// Order of display: names without regard to case, in the user's locale; nameless records first. Below, at or
/// above 0.
int CompareNames(const PlugInElem& left, const PlugInElem& right);

/// Record i of an array of PlugInElem; null when there is none.
PlugInElem* PlugInAt(const CStructArray& list, int i);
/// Position of the first record with the class identifier, or -1.
int FindPlugIn(const CStructArray& list, const GUID& clsid);
