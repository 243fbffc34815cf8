#pragma once

#include <windows.h>

/// Either the owner of a Windows mutex, or a guard that holds another object's mutex for a scope.
/// The mutex may be taken again by the thread that holds it, and destroying its owner waits for the holder.
/// A thread that waits still answers messages that other threads send to its windows: the holder may be
/// sending one.
class CLockObj {
public:
    /// An owner without a mutex yet: see Create.
    CLockObj() = default;
    /// A guard: takes the mutex of `owner`, if both exist, and gives it back at the end.
    explicit CLockObj(CLockObj* owner);
    virtual ~CLockObj();
    CLockObj(const CLockObj&) = delete;
    CLockObj& operator=(const CLockObj&) = delete;

    /// Makes the mutex; one that exists is waited for and replaced. False on a guard or when Windows refuses.
    bool Create();
    void Lock();
    void Unlock();

private:
    HANDLE m_mutex = nullptr;
    CLockObj* m_owner = nullptr;
};
