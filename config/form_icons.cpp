#include "config/form_icons.h"

#include "resources/resource.h"
#include "xui/XWindow.h"

namespace {

constexpr int kIconPixels = 16; // at 96 dpi: what fits on the buttons

// Asks for the resolution itself: the one that is kept for the process must not be fixed this early, before
// the host has chosen its DPI mode.
int IconPixels() {
    const HDC screen = ::GetDC(nullptr);
    const int dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    return XWindow::ScaleForDpi(kIconPixels, dpi);
}

HICON Load(HINSTANCE module, WORD id) {
    const int size = IconPixels();
    return static_cast<HICON>(
        ::LoadImageW(module, MAKEINTRESOURCEW(id), IMAGE_ICON, size, size, LR_DEFAULTCOLOR));
}

void Destroy(HICON& icon) {
    if (icon != nullptr)
        ::DestroyIcon(icon);
    icon = nullptr;
}

} // namespace

FormIcons g_formIcons;

void LoadFormIcons(HINSTANCE module) {
    g_formIcons = {Load(module, IDI_RESCAN), Load(module, IDI_EDITOR)};
}

void DestroyFormIcons() {
    Destroy(g_formIcons.rescan);
    Destroy(g_formIcons.editor);
}
