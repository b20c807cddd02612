' Saves the text of every Notepad window of one process into the document store.
Option Explicit

Const NotepadSuffix = " - Notepad"

Dim fileSystem, windows, window, index
Set fileSystem = CreateObject("Scripting.FileSystemObject")
Set windows = Process.Windows
For index = 0 To windows.Count - 1
    Set window = windows.Item(index)
    If window.ClassName = "Notepad" Then SaveWindow window
Next

Sub SaveWindow(window)
    Dim name, path, file
    name = DocumentName(window.Title)
    path = TalvinorDocumentStore.GetNew(name, "", ".txt")
    Set file = fileSystem.CreateTextFile(path, True, True)
    file.Write window.Text
    file.Close
    TalvinorDocumentStore.LogMessage 2, "Saved the text of Notepad, process " & Process.Id
End Sub

' "Letter.txt - Notepad" is the document "Letter"; the store adds the extension.
Function DocumentName(title)
    DocumentName = title
    If Right(DocumentName, Len(NotepadSuffix)) = NotepadSuffix Then
        DocumentName = Left(DocumentName, Len(DocumentName) - Len(NotepadSuffix))
    End If
    DocumentName = Replace(DocumentName, "*", "")
    If LCase(Right(DocumentName, 4)) = ".txt" Then DocumentName = Left(DocumentName, Len(DocumentName) - 4)
End Function
