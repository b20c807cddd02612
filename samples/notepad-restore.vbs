' Opens the saved copy of each document in Notepad.
Option Explicit

Dim documents, shell, index
Set documents = TalvinorRestoreScriptArgs.RestoreDocuments
Set shell = CreateObject("WScript.Shell")
For index = 0 To documents.Count - 1
    shell.Run "notepad.exe """ & documents.Item(index).TempPath & """", 1, False
Next
