#include "xui/XReturnKey.h"

LRESULT XReturnKey::OnSubclassMessage(
    HWND control, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) {
    if (message == WM_GETDLGCODE && AsksForReturn(lParam)) {
        *handled = TRUE;
        return DLGC_WANTMESSAGE;
    }
    if ((message == WM_KEYDOWN || message == WM_KEYUP) && wParam == VK_RETURN) {
        *handled = TRUE;
        return ::SendMessageW(control, message, VK_SPACE, lParam);
    }
    return 0;
}
