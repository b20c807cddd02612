' Opens the saved copy of each document in Notepad.
Option Explicit

Dim documents, index
Set documents = TalvinorRestoreScriptArgs.RestoreDocuments
For index = 0 To documents.Count - 1
    OpenWith "notepad.exe", documents.Item(index).TempPath
Next

' Starts a program with a file. A quotation mark in the path would part it, and Run puts in the values of %VARIABLES%:
' a path that would not arrive as it is starts nothing.
Sub OpenWith(program, path)
    Dim shell
    Set shell = CreateObject("WScript.Shell")
    If InStr(path, """") > 0 Or InStr(shell.ExpandEnvironmentStrings(path), path) <> 1 Then
        Err.Raise vbObjectError + 513, "Restore script", "This path cannot be handed to a program: " & path
    End If
    shell.Run """" & program & """ """ & path & """", 1, False
End Sub
