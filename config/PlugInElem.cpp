#include "config/PlugInElem.h"

#include <windows.h>
#include <cstdlib>
#include <cstring>

void PlugInElem::Free() {
    std::free(name);
    name = nullptr;
}

char* CopyName(const char* name) {
    const std::size_t bytes = std::strlen(name) + 1;
    auto* const copy = static_cast<char*>(std::malloc(bytes));
    if (copy != nullptr)
        std::memcpy(copy, name, bytes);
    return copy;
}

int CompareNames(const PlugInElem& left, const PlugInElem& right) {
    const bool leftNamed = left.name != nullptr && *left.name != '\0';
    const bool rightNamed = right.name != nullptr && *right.name != '\0';
    if (!leftNamed || !rightNamed)
        return static_cast<int>(leftNamed) - static_cast<int>(rightNamed);
    return ::lstrcmpiA(left.name, right.name);
}

PlugInElem* PlugInAt(const CStructArray& list, int i) {
    return static_cast<PlugInElem*>(list.GetAt(i));
}

int FindPlugIn(const CStructArray& list, const GUID& clsid) {
    for (int i = 0; i < list.GetCount(); ++i)
        if (std::memcmp(&PlugInAt(list, i)->clsid, &clsid, sizeof clsid) == 0)
            return i;
    return -1;
}
