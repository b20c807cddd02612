#pragma once

class CProcessInfo;
class CWindowInfo;

/// Decides what belongs to a protected application. The enumerator calls it on its caller's thread and never owns it.
class IProtectedAppMatcher {
public:
    virtual bool IsMatchingProcess(const CProcessInfo& process) const = 0;
    virtual bool IsMatchingWindow(const CWindowInfo& window) const = 0;

protected:
    ~IProtectedAppMatcher() = default;
};
