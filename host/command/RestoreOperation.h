#pragma once

// The library's restore as the command runs it: it knows when the script is about to start, whether it did, and what
// went wrong.

#include "RestoreDocumentScriptOp.h"
#include "ScriptError.h"

#include <functional>
#include <optional>
#include <string>

class CRestoreOperation : public CRestoreDocumentScriptOp {
public:
    /// The action is called on the worker right before the script is started, and not at all when its signature or its
    /// engine will keep it from starting. A CCommandError from it does, too.
    explicit CRestoreOperation(std::function<void()> onStarting) : m_onStarting(std::move(onStarting)) {}

    /// Never throws.
    long Run() override;
    long AddNamedItems() override;

    /// False while not one statement of the script can have run.
    bool HasStarted() const { return m_started; }

    /// Empty when the script ran to its end.
    const std::wstring& GetFailure() const { return m_failure; }
    /// What the engine, or the runner, said of it; empty when it said nothing.
    const std::optional<CScriptError>& GetError() const { return m_error; }

private:
    std::function<void()> m_onStarting;
    bool m_started = false;
    std::wstring m_failure;
    std::optional<CScriptError> m_error;
};
