' A save script that fails: its third statement stops the state change.
Option Explicit
TalvinorDocumentStore.LogMessage 2, "About to fail"
Err.Raise vbObjectError + 513, "Letter editor", "The letter has no name yet"
