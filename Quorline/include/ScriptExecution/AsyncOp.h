#pragma once

// Work that a CAsyncRunner executes on a thread of its own. Whoever creates an operation deletes it, as what it is,
// after the runner has finished with it.

class IAsyncOp {
public:
    /// Does the whole work and returns an HRESULT, which the runner does not look at. Called once, on the worker
    /// thread, in a single-threaded apartment. An exception that leaves it ends the process.
    virtual long Run() = 0;

    /// A hook for the operation's own flow; the runner does not call it.
    virtual long OnComplete() = 0;

protected:
    ~IAsyncOp() = default;
};
