#pragma once

#include "xui/XSubClassCtrl.h"

/// Lets a native button act on the return key as it does on the space bar, instead of the dialog's default
/// button. Thread: the control's.
class XReturnKey : public XSubClassCtrl {
public:
    LRESULT OnSubclassMessage(
        HWND control, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) override;
};
