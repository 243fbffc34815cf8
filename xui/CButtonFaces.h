#pragma once

#include "support/handles.h"

#include <windows.h>

#include <array>
#include <string>

/// What a form gives its button. In high-contrast themes the system's colours stand for them.
struct XButtonColours {
    COLORREF face = 0;  // the button and what lies around its rounded corners
    COLORREF edge = 0;  // outline; fill while pressed
    COLORREF light = 0; // fill while hot; outline while disabled
};

/// The pictures of a button, one a state, drawn once for a size and theme. Thread: the button's.
class CButtonFaces {
public:
    enum State { kNormal, kHot, kPressed, kFocused, kDefault, kDisabled, kStates };

    /// Copies the picture of `state` to `dc` at `rect`; draws all anew when something that they show differs
    /// from the last time. font: borrowed. dpi: of the screen.
    void Draw(HDC dc, const RECT& rect, State state, const std::wstring& caption, HFONT font, int dpi,
        const XButtonColours& colours);

private:
    /// All that the pictures depend on.
    struct Subject {
        SIZE size{};
        int dpi = 0;
        HFONT font = nullptr;
        std::wstring caption;
        XButtonColours colours;
        COLORREF text = 0;
        COLORREF disabledText = 0;
        COLORREF selected = 0;
        COLORREF selectedText = 0;
        bool highContrast = false;
    };
    struct Look;
    using CBitmap = CHandle<HBITMAP, ::DeleteObject>;

    static bool IsSame(const Subject& a, const Subject& b);
    static Look LookOf(State state, const Subject& subject);
    static CBitmap Render(HDC dc, State state, const Subject& subject);

    Subject m_subject;
    std::array<CBitmap, kStates> m_bitmaps;
};
