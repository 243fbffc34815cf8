#pragma once

#include "config/PlugInElem.h"
#include "config/plugin_store.h"

#include <windows.h>
#include <initializer_list>

/// What the registry holds as the list of usable effects, for a scope.
class CStoredList {
public:
    struct Effect {
        GUID clsid;
        const char* name;
    };
    explicit CStoredList(std::initializer_list<Effect> effects) {
        CStructArray list(sizeof(PlugInElem), 16);
        for (const Effect& effect : effects) {
            PlugInElem record;
            record.clsid = effect.clsid;
            record.name = CopyName(effect.name);
            list.Append(record);
        }
        StorePlugIns(list);
    }
    ~CStoredList() { Forget(); }
    CStoredList(const CStoredList&) = delete;
    CStoredList& operator=(const CStoredList&) = delete;
    static void Forget() { ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Orvelle\\DXWrapper"); }
};
