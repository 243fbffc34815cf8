#pragma once

#include "tests/messages.h"
#include "xui/XButton.h"
#include "xui/XWindow.h"

// The cursor and the tooltip thread's clock are this program's own: the toolkit finds them in place of the
// system's. The pointer of a display is moved by every program on it, and a loaded machine keeps no time.
// The thread's passes follow one another without a rest.

/// Screen coordinates.
void PutCursor(POINT point);
/// Stops the tooltip thread's clock at nowMs and lets the thread make a whole pass. False when it makes none.
bool PassAt(DWORD nowMs);
/// The tooltip thread's clock goes with the system's again.
void RunClock();

/// A visible window in the middle of the screen to hang controls and tooltips on.
class CForm : public XWindow {
public:
    CForm() : XWindow(L"form", 200, 200, 500, 400, WS_POPUP | WS_VISIBLE, 0, nullptr, 0, nullptr, nullptr) {}
};

constexpr XButtonColours kColours{0xF0F0F0, 0xBEBEBE, 0xD7D7D7};
constexpr POINT kOnForm{350, 300};
constexpr POINT kOffForm{20, 20};
