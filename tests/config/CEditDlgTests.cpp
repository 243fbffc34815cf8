#include "config/CEditDlg.h"

#include "resources/resource.h"
#include "tests/messages.h"

#include <doctest/doctest.h>
#include <memory>
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

TEST_CASE(
    "there is one window at a time, which goes with its object or, unless somebody asked to be told, by "
    "its close box") {
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
    window = parent.Open(*std::make_unique<CEditDlg>());
    CHECK_FALSE(::IsWindow(window)); // gone with its object
    window = Parent().Open(dialog);
    CHECK_FALSE(::IsWindow(window)); // with its owner, and may be destroyed all the same
    CHECK((dialog.Destroy() && dialog.Destroy() && parent.Open(dialog) != nullptr));
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
    TakeMessages();
    CHECK_FALSE(::IsWindow(window));
}
