#pragma once

#include "config/ISettingsForm.h"

/// The panel of a build without one: it never has a window.
class CNoSettingsForm : public ISettingsForm {
public:
    HWND Create(HWND, int, int) override { return nullptr; }
    void Close() override {}
    void UncheckEditorButton() override {}
    HWND Window() const override { return nullptr; }
};
