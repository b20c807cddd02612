#pragma once

// Is told when a CAsyncRunner has finished. The runner it is attached to owns it.

class IAsyncRunnerListener {
public:
    /// Called on the worker thread once the operation has returned; not when it ended with an exception. Must not wait
    /// for the runner that calls it.
    virtual void OnFinished() = 0;

    virtual ~IAsyncRunnerListener() = default;
};
