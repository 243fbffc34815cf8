#include "xui/CWindowRegistry.h"

#include "xui/XWindow.h"

#include <algorithm>

namespace {

constexpr int kMaxNameTries = 10;

} // namespace

CWindowRegistry& CWindowRegistry::Instance() {
    static CWindowRegistry registry;
    return registry;
}

void CWindowRegistry::Add(XWindow* object) {
    const CAutoLock lock(m_lock);
    m_objects.push_back(object);
}

void CWindowRegistry::Remove(const XWindow* object) {
    const CAutoLock lock(m_lock);
    const auto found = std::find(m_objects.begin(), m_objects.end(), object);
    if (found != m_objects.end())
        m_objects.erase(found);
}

XWindow* CWindowRegistry::Find(HWND window) {
    const CAutoLock lock(m_lock);
    const auto found = std::find_if(
        m_objects.begin(), m_objects.end(), [window](const XWindow* object) { return object->Owns(window); });
    return found == m_objects.end() ? nullptr : *found;
}

std::wstring CWindowRegistry::RegisterFreshClass(UINT classStyle, WNDPROC procedure) {
    const CAutoLock lock(m_lock);
    std::wstring name =
        L"XWnd" + std::to_wstring(m_classCounter++) + L"-" + std::to_wstring(::GetTickCount());
    WNDCLASSEXW description{};
    description.cbSize = sizeof(description);
    description.style = classStyle;
    description.lpfnWndProc = procedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.hIcon = ::LoadIconW(nullptr, IDI_APPLICATION);
    for (int tries = 0; tries < kMaxNameTries; ++tries) {
        description.lpszClassName = name.c_str();
        if (::RegisterClassExW(&description) != 0)
            return name;
        name += L'x';
    }
    return {};
}
