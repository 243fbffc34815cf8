#include "config/CEditDlg.h"

#include "resources/resource.h"

#include <doctest/doctest.h>
#include <string>

namespace {

struct Parent {
    ~Parent() { ::DestroyWindow(window); }
    HWND Open(CEditDlg& dialog, const char* title = nullptr) const {
        return dialog.Create(window, IDD_EDITOR, 200, 100, title);
    }
    const HWND window = ::CreateWindowExW(
        0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 200, 150, 300, 200, nullptr, nullptr, nullptr, nullptr);
};

void CloseByUser(HWND window) {
    ::SendMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
}

DWORD WINAPI DestroyDialog(void* dialog) {
    return static_cast<CEditDlg*>(dialog)->Destroy() ? 1 : 0;
}

} // namespace

TEST_CASE("there is one window at a time, which the close box destroys unless somebody asked to be told") {
    const Parent parent;
    CEditDlg dialog;
    CHECK(dialog.Create(parent.window, 999, 200, 100, nullptr) == nullptr);
    HWND window = parent.Open(dialog, "Caf\xE9");
    wchar_t text[100] = L"unread";
    ::GetWindowTextW(window, text, 100);
    CHECK(std::wstring(text) == L"Caf\xE9");
    CHECK((parent.Open(dialog) == nullptr && dialog.Window() == window));
    int calls = 0;
    dialog.SetOnClose([](void* argument) { ++*static_cast<int*>(argument); }, &calls);
    CloseByUser(window);
    CHECK((calls == 1 && ::IsWindow(window)));
    dialog.SetOnClose(nullptr, nullptr);
    CloseByUser(window);
    CHECK((!::IsWindow(window) && dialog.Window() == nullptr));
}

TEST_CASE("the client area has the size asked for and the window is centred") {
    const Parent parent;
    for (const SIZE wanted : {SIZE{250, 60}, {333, 222}}) {
        CEditDlg dialog;
        RECT client{};
        RECT outer{};
        const HWND window = dialog.Create(parent.window, IDD_EDITOR, wanted.cx, wanted.cy, nullptr);
        REQUIRE((::GetClientRect(window, &client) && ::GetWindowRect(window, &outer)));
        CHECK((client.right == wanted.cx && client.bottom == wanted.cy));
        CHECK(outer.left == 200 + (300 - (outer.right - outer.left)) / 2);
        CHECK(outer.top == 150 + (200 - (outer.bottom - outer.top)) / 2);
    }
}

TEST_CASE("the window goes with its object, and destroying one that has gone does nothing") {
    const Parent parent;
    HWND window = nullptr;
    {
        CEditDlg dialog;
        window = Parent().Open(dialog); // gone with its owner
        CHECK_FALSE(::IsWindow(window));
        dialog.Destroy();
        dialog.Destroy();
        window = parent.Open(dialog);
        CHECK(::IsWindow(window));
    }
    CHECK_FALSE(::IsWindow(window));
}

TEST_CASE("a window destroyed from another thread goes once its own thread takes messages, and is no longer "
          "the object's") {
    const Parent parent;
    CEditDlg dialog;
    const HWND window = parent.Open(dialog);
    const HANDLE other = ::CreateThread(nullptr, 0, DestroyDialog, &dialog, 0, nullptr);
    ::WaitForSingleObject(other, INFINITE);
    ::CloseHandle(other);
    CloseByUser(window); // nobody's any more: nothing is called
    CHECK(dialog.Window() == nullptr);
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        ::DispatchMessageW(&message);
    CHECK_FALSE(::IsWindow(window));
}
