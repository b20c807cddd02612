' Saves every changed document of a running Word into the document store, through Word's own automation: the body of
' each document with its formatting. The open documents stay as they are.
'
' The tests have no Word: they read this script, and run it where Word is missing.
' In VBScript, since JScript's GetObject makes a new Word instead of finding the one that runs.
Option Explicit

Const FormatDocument = 16 ' .docx

If Not Process.HasExited Then SaveDocuments GetObject(, "Word.Application")

Sub SaveDocuments(word)
    Dim document
    For Each document In word.Documents
        If Not document.Saved Then SaveCopy document
    Next
End Sub

Sub SaveCopy(document)
    Dim original, path
    RequireOwnWindow document.ActiveWindow.Hwnd
    If document.Path <> "" Then original = document.FullName
    path = TalvinorDocumentStore.GetNew(SafeName(document.Name), original, ".docx")
    document.Content.ExportFragment path, FormatDocument
End Sub

' Several may run, and GetObject finds one: another one's documents are not those of this process.
Sub RequireOwnWindow(handle)
    Dim window
    For Each window In Process.Windows
        If window.Handle = handle Then Exit Sub
    Next
    Err.Raise vbObjectError + 513, "Word save", "The documents of process " & Process.Id & " cannot be reached"
End Sub

' A title as the name of a file: what a name may not hold, what would turn its text round and what would name a variable
' becomes "_". Copy it into your own scripts.
Function SafeName(title)
    Dim unsafe
    Set unsafe = New RegExp
    unsafe.Global = True
    unsafe.IgnoreCase = True
    unsafe.Pattern = "^[\s*]+"
    SafeName = unsafe.Replace(title, "")
    unsafe.Pattern = "[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069""%*/:<>?\\|]"
    SafeName = Left(unsafe.Replace(SafeName, "_"), 60)
    unsafe.Pattern = "([\ud800-\udbff][\udc00-\udfff])|[\ud800-\udfff]"
    SafeName = unsafe.Replace(SafeName, "$1")
    unsafe.Pattern = "[\s.]+$"
    SafeName = unsafe.Replace(SafeName, "")
    unsafe.Pattern = "^(con|prn|aux|nul|conin\$|conout\$|(com|lpt)[\d\u00b9\u00b2\u00b3])\s*(\.|$)"
    If unsafe.Test(SafeName) Then SafeName = "_" & SafeName
    If SafeName = "" Then SafeName = "Untitled"
End Function
