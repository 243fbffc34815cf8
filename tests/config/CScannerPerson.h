#pragma once

#include <windows.h>
#include <functional>
#include <utility>

/// Does `person` with the scanner's dialog as soon as it is shown, while this lives.
class CScannerPerson {
public:
    explicit CScannerPerson(std::function<void(HWND)> person) {
        Person() = std::move(person);
        m_timer = ::SetTimer(nullptr, 0, 20, Look);
    }
    ~CScannerPerson() { ::KillTimer(nullptr, m_timer); }
    CScannerPerson(const CScannerPerson&) = delete;
    CScannerPerson& operator=(const CScannerPerson&) = delete;

private:
    static std::function<void(HWND)>& Person() {
        static std::function<void(HWND)> person;
        return person;
    }
    static void CALLBACK Look(HWND, UINT, UINT_PTR timer, DWORD) {
        const HWND dialog = ::FindWindowW(nullptr, L"Scan for DirectX PlugIns");
        if (dialog == nullptr || !::IsWindowVisible(dialog))
            return;
        ::KillTimer(nullptr, timer);
        Person()(dialog);
    }
    UINT_PTR m_timer;
};
