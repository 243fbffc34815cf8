#include "xui/XToolTip.h"

#include "support/handles.h"
#include "xui/CToolTipThread.h"
#include "xui/theme.h"

#include <algorithm>
#include <cstddef>

namespace {

// At 96 dpi.
constexpr int kMarginX = 6;
constexpr int kMarginY = 4;
constexpr int kGap = 3;
constexpr int kMaxTextWidth = 320;
constexpr int kIconSize = 16;
constexpr int kBelowCursor = 20; // clear of the arrow, which would else be over the popup and not the owner
constexpr int kAboveCursor = 4;

constexpr UINT kTextFormat = DT_LEFT | DT_NOPREFIX | DT_WORDBREAK | DT_EDITCONTROL | DT_EXPANDTABS;

using CFont = CHandle<HFONT, ::DeleteObject>;

// The face that the system shows its own tooltips in.
CFont MakeFont(int lineHeight) {
    NONCLIENTMETRICSW metrics{};
    // Systems before Vista know no padded border; those after take the short form too.
    metrics.cbSize = offsetof(NONCLIENTMETRICSW, iPaddedBorderWidth);
    ::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, metrics.cbSize, &metrics, 0);
    LOGFONTW font = metrics.lfStatusFont;
    font.lfHeight = XWindow::ScaleForDpi(lineHeight);
    font.lfWidth = 0;
    return CFont(::CreateFontIndirectW(&font));
}

SIZE MeasureText(HDC dc, const XToolTipItem& item, int maxWidth) {
    const CFont font = MakeFont(item.fontSize);
    const HGDIOBJ oldFont = ::SelectObject(dc, font.Get());
    RECT rect{0, 0, maxWidth, 0};
    ::DrawTextW(dc, item.text.c_str(), static_cast<int>(item.text.size()), &rect, kTextFormat | DT_CALCRECT);
    ::SelectObject(dc, oldFont);
    return {rect.right, rect.bottom};
}

RECT WorkAreaAt(POINT point) {
    MONITORINFO monitor{};
    monitor.cbSize = sizeof(monitor);
    ::GetMonitorInfoW(::MonitorFromPoint(point, MONITOR_DEFAULTTONEAREST), &monitor);
    return monitor.rcWork;
}

} // namespace

// Gives each item its area; returns the size of the client area.
SIZE XToolTip::LayOut(const RECT& workArea) {
    const int marginX = ScaleForDpi(kMarginX);
    const int marginY = ScaleForDpi(kMarginY);
    const int widest = workArea.right - workArea.left - 2 * marginX;
    const int maxTextWidth = std::max(1, std::min(ScaleForDpi(kMaxTextWidth), widest));
    const HDC screen = ::GetDC(nullptr);
    SIZE client{};
    int nextTop = marginY;
    for (XToolTipItem& item : m_items) {
        POINT origin{ScaleForDpi(item.left), ScaleForDpi(item.top)};
        SIZE size{ScaleForDpi(item.width), ScaleForDpi(item.height)};
        if (size.cx == 0 && size.cy == 0) {
            origin = {marginX, nextTop};
            const int iconSize = ScaleForDpi(kIconSize);
            size = item.kind == XToolTipItem::kIcon ? SIZE{iconSize, iconSize}
                                                    : MeasureText(screen, item, maxTextWidth);
        }
        item.area = {origin.x, origin.y, origin.x + size.cx, origin.y + size.cy};
        nextTop = item.area.bottom + ScaleForDpi(kGap);
        client.cx = std::max<LONG>(client.cx, item.area.right + marginX);
        client.cy = std::max<LONG>(client.cy, item.area.bottom + marginY);
    }
    ::ReleaseDC(nullptr, screen);
    return client;
}

// Below what it belongs to or, where there is no room, above; whole on the work area of that monitor.
RECT XToolTip::PlacePopup(POINT cursor, DWORD style, DWORD exStyle) {
    const RECT& hot = m_options.hotRect;
    const bool atHotRect = m_options.owner == nullptr && !::IsRectEmpty(&hot);
    const POINT start = atHotRect ? POINT{hot.left, hot.bottom} : cursor;
    const RECT work = WorkAreaAt(start);
    const SIZE client = LayOut(work);
    RECT outer{0, 0, client.cx, client.cy};
    ::AdjustWindowRectEx(&outer, style, FALSE, exStyle);
    const int width = std::min(outer.right - outer.left, work.right - work.left);
    const int height = std::min(outer.bottom - outer.top, work.bottom - work.top);

    const int left = std::max(work.left, std::min<LONG>(start.x, work.right - width));
    int top = start.y + (atHotRect ? 1 : ScaleForDpi(kBelowCursor));
    if (top + height > work.bottom)
        top = (atHotRect ? hot.top : start.y - ScaleForDpi(kAboveCursor)) - height;
    top = std::max<int>(top, work.top);
    return {left, top, left + width, top + height};
}

void XToolTip::PaintItem(HDC dc, const XToolTipItem& item) const {
    if (item.kind == XToolTipItem::kIcon) {
        const int state = std::clamp<int>(item.state, XToolTipItem::kNormal, XToolTipItem::kPressed);
        ::DrawIconEx(dc, item.area.left, item.area.top, item.icons[state], item.area.right - item.area.left,
            item.area.bottom - item.area.top, 0, nullptr, DI_NORMAL);
        return;
    }
    const CFont font = MakeFont(item.fontSize);
    const HGDIOBJ oldFont = ::SelectObject(dc, font.Get());
    ::SetTextColor(dc, IsHighContrast() ? ::GetSysColor(COLOR_INFOTEXT) : item.colour);
    RECT area = item.area;
    ::DrawTextW(dc, item.text.c_str(), static_cast<int>(item.text.size()), &area, kTextFormat);
    ::SelectObject(dc, oldFont);
}

void XToolTip::OnPaint() {
    PAINTSTRUCT paint{};
    const HDC dc = ::BeginPaint(Window(), &paint);
    {
        const CToolTipLock lock;
        const RECT client = GetClientRect();
        ::FillRect(dc, &client, ::GetSysColorBrush(COLOR_INFOBK));
        if (!m_options.framed)
            ::FrameRect(dc, &client, ::GetSysColorBrush(COLOR_INFOTEXT));
        ::SetBkMode(dc, TRANSPARENT);
        for (const XToolTipItem& item : m_items) {
            if (IsVisible())
                PaintItem(dc, item);
        }
    }
    ::EndPaint(Window(), &paint);
}
