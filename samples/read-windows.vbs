' Prints the text of every Notepad window of this session: "process <id>" and then the text.
' Run with cscript //nologo; needs the session server to be registered.
Option Explicit

Const HighestProcessId = 20000

Dim session, candidate, id, index
Set session = CreateObject("Talvinor.Session")
For id = 4 To HighestProcessId Step 4
    Set candidate = session.GetProcess(id)
    If LCase(candidate.ImageName) = "notepad.exe" Then
        For index = 0 To candidate.Windows.Count - 1
            WScript.Echo "process " & id
            WScript.Echo candidate.Windows.Item(index).Text
        Next
    End If
Next
