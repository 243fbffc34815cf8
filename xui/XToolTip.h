#pragma once

#include "xui/XWindow.h"

#include <atomic>
#include <string>
#include <vector>

/// One piece of a tooltip's content. Lengths and positions are pixels at 96 dpi, scaled when laid out.
struct XToolTipItem {
    static constexpr int kText = 0; // any value but kIcon
    static constexpr int kIcon = 1; // clickable
    static constexpr COLORREF kDefaultColour = 0xFFFFFFFF;
    enum State { kNormal, kHot, kPressed };
    using OnClick = void (*)(void* argument);

    int kind = kText;
    /// Within the popup's client area. Without a size: below the item before, sized to the content.
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    std::wstring text; // \n breaks the line, long lines break at words
    COLORREF colour = kDefaultColour;
    int fontSize = 0;    // height of a line; 0: 14
    HICON icons[3] = {}; // by state; borrowed
    State state = kNormal;
    bool pressedByMouse = false;
    /// Runs on the tooltip thread with the lock of all tooltips held. May deactivate the tooltip, must not
    /// destroy it. None: a click hides the tooltip.
    OnClick onClick = nullptr;
    void* argument = nullptr;
    RECT area{}; // where the layout put it: client pixels
};

/// When and where a tooltip shows.
struct XToolTipOptions {
    static constexpr DWORD kUnlimitedMs = 0xFFFFFFFF;

    HWND owner = nullptr;    // the control it belongs to
    bool ownerBound = false; // show while the cursor is over the owner
    HWND anchor = nullptr;   // parent of the popup when there is no owner
    bool showNow = false;    // show without hovering
    bool keepShown = false;  // the same
    RECT hotRect{};          // else: show while the cursor is in here; screen, edges included
    bool framed = false;
    DWORD delayMs = 0;    // of hovering before it shows; 0: 1000
    DWORD durationMs = 0; // 0: 10000
    bool noFade = false;
};

/// A tooltip: a popup that the tooltip thread shows after a delay, once per hover, fades and hides.
///
/// Threads: Activate, Deactivate and the destructor on any one thread at a time; they answer sent messages
/// while they wait. The popup lives on the tooltip thread.
class XToolTip : public XWindow {
public:
    XToolTip();
    ~XToolTip() override;
    void OnMouseDown(int x, int y, UINT message, WPARAM keys) override;
    void OnMouseUp(int x, int y, UINT message, WPARAM keys) override;
    void OnMouseMove(int x, int y, WPARAM keys) override;
    void OnPaint() override;

    /// Begins to watch the cursor. Without an owner and with showNow or keepShown: returns when the popup is
    /// visible, after 10 s at most. An active tooltip gets the new content.
    void Activate(std::vector<XToolTipItem> items, const XToolTipOptions& options);
    /// Hides the popup and ends watching: afterwards no callback runs any more. Waits 5 s at most for the
    /// popup to be hidden.
    void Deactivate();

    /// A copy of item `index`'s state, for those who show it elsewhere and for tests.
    XToolTipItem::State ItemState(std::size_t index) const;
    bool IsSpent() const { return m_spent; }

private:
    static void Poll(void* self, POINT cursor, DWORD nowMs);
    bool IsHovered(POINT cursor) const;
    void PollShown(bool hovering, DWORD nowMs);
    void PollHidden(POINT cursor, DWORD nowMs);
    void Show(POINT cursor, DWORD nowMs);
    void ApplyAlpha(int alpha);
    void UpdateIconStates();

    // Layout and painting.
    SIZE LayOut(const RECT& workArea);
    RECT PlacePopup(POINT cursor, DWORD style, DWORD exStyle);
    void PaintItem(HDC dc, const XToolTipItem& item) const;

    std::vector<XToolTipItem> m_items;
    XToolTipOptions m_options;
    std::atomic<bool> m_hideRequest{false};
    DWORD m_hoverStartMs = 0; // tick counts; 0: not hovering
    DWORD m_shownAtMs = 0;
    std::atomic<bool> m_spent{false};
    int m_alpha = -1;
};
