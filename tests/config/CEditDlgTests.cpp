#include "config/CEditDlg.h"

#include "resources/resource.h"

#include <doctest/doctest.h>
#include <string>

namespace {

struct Parent {
    explicit Parent(int width = 300, int height = 200)
        : window(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 200, 150, width, height, nullptr,
              nullptr, nullptr, nullptr)) {}
    ~Parent() { ::DestroyWindow(window); }
    HWND Open(CEditDlg& dialog, int width = 200, int height = 100, const char* title = nullptr) const {
        return dialog.Create(window, IDD_EDITOR, width, height, title);
    }
    const HWND window;
};

void CloseByUser(HWND window) {
    ::SendMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
}

DWORD WINAPI DestroyDialog(void* dialog) {
    return static_cast<CEditDlg*>(dialog)->Destroy() ? 1 : 0;
}

} // namespace

TEST_CASE("the client area has the size asked for and the window is centred, on small parents too") {
    for (const SIZE around : {SIZE{600, 500}, {301, 201}, {20, 10}})
        for (const SIZE wanted : {SIZE{250, 100}, {333, 222}}) {
            CAPTURE(around.cx);
            const Parent parent(around.cx, around.cy);
            CEditDlg dialog;
            RECT client{};
            RECT outer{};
            const HWND window = parent.Open(dialog, wanted.cx, wanted.cy);
            REQUIRE((::GetClientRect(window, &client) && ::GetWindowRect(window, &outer)));
            CHECK((client.right == wanted.cx && client.bottom == wanted.cy));
            CHECK(outer.left == 200 + (around.cx - (outer.right - outer.left)) / 2);
            CHECK(outer.top == 150 + (around.cy - (outer.bottom - outer.top)) / 2);
        }
}

TEST_CASE("the editor is a visible modeless popup that its parent owns, with the title given") {
    const Parent parent;
    for (const char* const title : {"Caf\xE9", "", static_cast<const char*>(nullptr)}) {
        CEditDlg dialog;
        const HWND window = parent.Open(dialog, 200, 100, title);
        wchar_t text[100] = L"unread";
        ::GetWindowTextW(window, text, 100);
        CHECK(std::wstring(text) == (title == nullptr || *title == '\0' ? L"" : L"Caf\xE9"));
        CHECK((::IsWindowVisible(window) && ::IsWindowEnabled(parent.window)));
        CHECK(::GetWindow(window, GW_OWNER) == parent.window);
        CHECK((::GetWindowLongW(window, GWL_STYLE) & (WS_CHILD | WS_POPUP)) == static_cast<LONG>(WS_POPUP));
    }
}

TEST_CASE("there is never a second window, and a missing template gives none") {
    const Parent parent;
    CEditDlg dialog;
    CHECK(dialog.Create(parent.window, 999, 200, 100, nullptr) == nullptr);
    const HWND window = parent.Open(dialog);
    CHECK(parent.Open(dialog) == nullptr);
    CHECK((::IsWindow(window) && dialog.Window() == window));
}

TEST_CASE("the close box calls whoever asked for it, else it destroys the window") {
    const Parent parent;
    CEditDlg dialog;
    int calls = 0;
    HWND window = parent.Open(dialog);
    dialog.SetOnClose([](void* argument) { ++*static_cast<int*>(argument); }, &calls);
    CloseByUser(window);
    CHECK((calls == 1 && ::IsWindow(window)));
    dialog.SetOnClose([](void* argument) { static_cast<CEditDlg*>(argument)->Destroy(); }, &dialog);
    CloseByUser(window);
    CHECK_FALSE(::IsWindow(window));
    dialog.SetOnClose(nullptr, nullptr);
    CloseByUser(window = parent.Open(dialog));
    CHECK((!::IsWindow(window) && dialog.Window() == nullptr));
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
