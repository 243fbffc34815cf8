#include "xui/XToolTip.h"

#include "xui/CToolTipThread.h"
#include "xui/answer_sent.h"

#include <algorithm>
#include <utility>

namespace {

constexpr DWORD kDefaultDelayMs = 1000;
constexpr DWORD kDefaultDurationMs = 10000;
constexpr DWORD kMaxFadeMs = 2500;
constexpr DWORD kPollMs = 50;
constexpr DWORD kMaxShowWaitMs = 10000;
constexpr DWORD kMaxHideWaitMs = 5000;
constexpr COLORREF kDefaultTextColour = 0xFF0000;
constexpr int kDefaultFontSize = 14;
constexpr int kOpaque = 255;

constexpr DWORD kPopupStyle = WS_POPUP | WS_DISABLED;
constexpr DWORD kPopupExStyle = WS_EX_TOOLWINDOW | WS_EX_TOPMOST;
constexpr UINT kPopupClassStyle = CS_DBLCLKS | CS_OWNDC;

bool Hits(const XToolTipItem& item, POINT point) {
    return ::PtInRect(&item.area, point) != FALSE;
}

bool IsInside(const RECT& rect, POINT point) {
    return point.x >= rect.left && point.x <= rect.right && point.y >= rect.top && point.y <= rect.bottom;
}

// 255 until the fade begins, 0 at the end of the display time.
int FadeAlpha(DWORD elapsedMs, DWORD durationMs) {
    const DWORD fadeMs = std::min(durationMs / 3, kMaxFadeMs);
    const DWORD startMs = durationMs - fadeMs;
    if (fadeMs == 0 || elapsedMs < startMs)
        return kOpaque;
    return kOpaque - static_cast<int>((elapsedMs - startMs) * kOpaque / fadeMs);
}

// Ends early when the popup gets to be as wanted.
void WaitForVisible(const XWindow& popup, bool wanted, DWORD timeoutMs) {
    const DWORD start = ::GetTickCount();
    while (popup.IsVisible() != wanted && ::GetTickCount() - start < timeoutMs)
        SleepAnswering(kPollMs);
}

} // namespace

XToolTip::XToolTip() {
    CToolTipThread::Instance();
}

XToolTip::~XToolTip() {
    Deactivate();
}

void XToolTip::Activate(std::vector<XToolTipItem> items, const XToolTipOptions& options) {
    for (XToolTipItem& item : items) {
        if (item.colour == XToolTipItem::kDefaultColour)
            item.colour = kDefaultTextColour;
        if (item.fontSize == 0)
            item.fontSize = kDefaultFontSize;
    }
    CToolTipThread& thread = CToolTipThread::Instance();
    const bool showsByItself = options.owner == nullptr && (options.showNow || options.keepShown);
    {
        const CToolTipLock lock;
        m_items = std::move(items);
        m_options = options;
        m_hideRequest = false;
        if (IsVisible())
            m_hideRequest = true; // to be laid out anew
        if (showsByItself || m_hideRequest)
            m_spent = false; // no cursor will leave it
        thread.Add(this, Poll);
    }
    thread.StartOrStop();
    if (showsByItself && !thread.IsCurrentThread())
        WaitForVisible(*this, true, kMaxShowWaitMs);
}

void XToolTip::Deactivate() {
    CToolTipThread& thread = CToolTipThread::Instance();
    const bool wasVisible = IsVisible();
    if (wasVisible && !thread.IsCurrentThread()) {
        m_hideRequest = true;
        WaitForVisible(*this, false, kMaxHideWaitMs);
    }
    {
        const CToolTipLock lock;
        DestroyNativeWindow();
        thread.Remove(this);
        m_items.clear();
        m_options = {};
        m_hideRequest = false;
        m_hoverStartMs = 0;
        m_shownAtMs = 0;
        m_spent = m_spent || wasVisible;
    }
    thread.WaitForMessages(); // one to the popup may still be under way
    thread.StartOrStop();
}

XToolTipItem::State XToolTip::ItemState(std::size_t index) const {
    const CToolTipLock lock;
    return index < m_items.size() ? m_items[index].state : XToolTipItem::kNormal;
}

bool XToolTip::IsHovered(POINT cursor) const {
    if (m_options.ownerBound && m_options.owner != nullptr)
        return ::WindowFromPoint(cursor) == m_options.owner;
    return m_options.showNow || m_options.keepShown || IsInside(m_options.hotRect, cursor);
}

void XToolTip::Poll(void* self, POINT cursor, DWORD nowMs) {
    auto* const toolTip = static_cast<XToolTip*>(self);
    if (toolTip->m_hideRequest.exchange(false)) {
        if (toolTip->IsVisible())
            toolTip->DestroyNativeWindow();
        return;
    }
    const bool hovering = toolTip->IsHovered(cursor);
    if (!hovering) {
        toolTip->m_hoverStartMs = 0;
        toolTip->m_spent = false;
    }
    try {
        if (toolTip->IsVisible())
            toolTip->PollShown(hovering, nowMs);
        else if (hovering && !toolTip->m_spent)
            toolTip->PollHidden(cursor, nowMs);
    } catch (...) { // out of memory: no tooltip this time
    }
}

void XToolTip::PollShown(bool hovering, DWORD nowMs) {
    const DWORD elapsedMs = nowMs - m_shownAtMs;
    const bool isLimited = m_options.durationMs != XToolTipOptions::kUnlimitedMs;
    if (!hovering) {
        DestroyNativeWindow();
    } else if (isLimited && elapsedMs > m_options.durationMs) {
        DestroyNativeWindow();
        m_spent = true;
    } else if (!m_options.noFade) {
        // A layered window that never gets an alpha is never seen: the unlimited one gets it once.
        ApplyAlpha(isLimited ? FadeAlpha(elapsedMs, m_options.durationMs) : kOpaque);
    }
}

void XToolTip::ApplyAlpha(int alpha) {
    if (alpha == m_alpha)
        return;
    m_alpha = alpha;
    ::SetLayeredWindowAttributes(Window(), 0, static_cast<BYTE>(alpha), LWA_ALPHA);
}

void XToolTip::PollHidden(POINT cursor, DWORD nowMs) {
    if (m_hoverStartMs == 0)
        m_hoverStartMs = nowMs;
    if (m_options.delayMs == 0)
        m_options.delayMs = kDefaultDelayMs;
    if (m_options.durationMs == 0)
        m_options.durationMs = kDefaultDurationMs;
    if (nowMs - m_hoverStartMs > m_options.delayMs)
        Show(cursor, nowMs);
}

void XToolTip::Show(POINT cursor, DWORD nowMs) {
    m_hoverStartMs = 0;
    m_shownAtMs = nowMs;
    const DWORD style = kPopupStyle | (m_options.framed ? WS_DLGFRAME : 0);
    const DWORD exStyle = kPopupExStyle | (m_options.noFade ? 0 : WS_EX_LAYERED);
    const RECT popup = PlacePopup(cursor, style, exStyle);
    const HWND parent = m_options.owner != nullptr ? m_options.owner : m_options.anchor;
    CreateNativeWindow(L"", popup.left, popup.top, popup.right, popup.bottom, style, exStyle, parent,
        kPopupClassStyle, nullptr, nullptr);
    ::ShowWindow(Window(), SW_SHOWNA);
    SetStockCursor(IDC_ARROW);
    m_spent = true;
    m_alpha = -1;
    Enable();
}

void XToolTip::OnMouseDown(int x, int y, UINT, WPARAM) {
    const CToolTipLock lock;
    for (XToolTipItem& item : m_items) {
        if (Hits(item, {x, y}))
            item.pressedByMouse = true;
    }
    UpdateIconStates();
}

void XToolTip::OnMouseUp(int x, int y, UINT, WPARAM) {
    const CToolTipLock lock;
    for (std::size_t i = 0; i < m_items.size(); ++i) { // a callback may empty the list
        const XToolTipItem& item = m_items[i];
        const bool fires =
            item.kind == XToolTipItem::kIcon ? item.state == XToolTipItem::kPressed : Hits(item, {x, y});
        if (!fires)
            continue;
        if (item.onClick != nullptr) {
            item.onClick(item.argument);
        } else {
            DestroyNativeWindow();
            m_spent = true;
        }
    }
    for (XToolTipItem& item : m_items)
        item.pressedByMouse = false;
    UpdateIconStates();
}

void XToolTip::OnMouseMove(int, int, WPARAM) {
    UpdateIconStates();
}

void XToolTip::UpdateIconStates() {
    const CToolTipLock lock;
    POINT cursor{};
    ::GetCursorPos(&cursor);
    ::ScreenToClient(Window(), &cursor);
    for (XToolTipItem& item : m_items) {
        if (item.kind != XToolTipItem::kIcon)
            continue;
        const XToolTipItem::State under = item.pressedByMouse ? XToolTipItem::kPressed : XToolTipItem::kHot;
        const XToolTipItem::State state = Hits(item, cursor) ? under : XToolTipItem::kNormal;
        if (state == item.state)
            continue;
        item.state = state;
        if (IsVisible())
            ::InvalidateRect(Window(), nullptr, FALSE);
    }
}
