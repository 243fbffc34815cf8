#pragma once

#include <windows.h>

/// What the settings panel needs of the instance whose effect it shows. Thread: the panel's.
class ISettingsOwner {
public:
    /// Replaces the effect: an all-zero clsid takes it away. name: ANSI code page, may be null. sampleRate:
    /// frames per second. openEditor: also shows its page, and fails when that can't be shown. 1 or 0.
    virtual DWORD ConnectDX(GUID clsid, const char* name, DWORD sampleRate, DWORD openEditor) = 0;
    /// Shows the connected effect's page. 1 when it is shown.
    virtual DWORD OpenEditor() = 0;
    virtual void CloseEditor() = 0;
    /// All zero when there is none.
    virtual GUID ConnectedEffect() = 0;

    /// The effect is being called on this thread: the calls above would be refused.
    virtual bool InEffect() const = 0;

    /// Around each of the panel's calls: an instance that the host destroys meanwhile (a dialog inside takes
    /// the thread's messages) goes when the outermost call has ended.
    virtual void BeginPanelCall() = 0;
    virtual void EndPanelCall() = 0;

protected:
    ~ISettingsOwner() = default;
};

class CPanelCall {
public:
    explicit CPanelCall(ISettingsOwner& owner) : m_owner(owner) { m_owner.BeginPanelCall(); }
    ~CPanelCall() { m_owner.EndPanelCall(); }
    CPanelCall(const CPanelCall&) = delete;
    CPanelCall& operator=(const CPanelCall&) = delete;

private:
    ISettingsOwner& m_owner;
};
