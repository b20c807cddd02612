#pragma once

// What the machine's administrator decided about signed scripts: values of type REG_DWORD under
// HKLM\Software\Morvane\ScriptSigner. A value that is missing, of another type or not 1 means the stricter choice.
struct CSignerPolicy {
    /// "AnyTrustedRoot": the publisher need not be among the machine's trusted publishers.
    bool anyTrustedRoot = false;
    /// "AcceptSha1": signatures and certificates made with SHA-1 count.
    bool acceptSha1 = false;

    /// Reads the registry each time, so that a change needs no restart.
    static CSignerPolicy OfMachine();
};
