#include "config/PlugInList.h"

#include "config/CEnumDlg.h"
#include "config/PlugInElem.h"
#include "config/plugin_store.h"
#include "resources/resource.h"
#include "support/com.h"

CStructArray PlugInList(sizeof(PlugInElem), 16);
CLockObj PlugInListLock;

void LoadPlugInList(HWND form) {
    StoredList stored = StoredList::Missing;
    {
        const CLockObj lock(&PlugInListLock);
        stored = ReadStoredPlugIns(PlugInList);
    }
    if (stored == StoredList::Missing || stored == StoredList::Damaged)
        ScanAndStorePlugInList(form);
}

void ScanAndStorePlugInList(HWND form) {
    static bool underWay = false; // a candidate may take messages, and with them those of another panel
    const CLockObj lock(&PlugInListLock);
    if (underWay)
        return;
    const struct Scan {
        Scan() { underWay = true; }
        ~Scan() { underWay = false; }
    } scan;
    // A host's window thread need not have COM; without it no filter would be found.
    const CComApartment com;
    CEnumDlg().DoModal(form == nullptr ? nullptr : ::GetParent(form), IDD_SCANNER, PlugInList);
    StorePlugIns(PlugInList);
}
