' Saves the text of every WordPad window of one process into the document store, without its formatting.
Option Explicit

Dim windows, window, index
Set windows = Process.Windows
For index = 0 To windows.Count - 1
    Set window = windows.Item(index)
    If IsWordPad(window.ClassName) Then SaveText window.Text, DocumentName(window.Title)
Next

Function IsWordPad(className)
    IsWordPad = className = "WordPadClass" Or className = "WORDPADTOP" ' the second is Wine's
End Function

Sub SaveText(text, name)
    Dim files, file
    Set files = CreateObject("Scripting.FileSystemObject")
    Set file = files.CreateTextFile(TalvinorDocumentStore.GetNew(name, "", ".txt"), True, True)
    file.Write text
    file.Close
    TalvinorDocumentStore.LogMessage 2, "Saved the text of WordPad, process " & Process.Id
End Sub

' "Letter.rtf - WordPad" is the document "Letter"; the store adds the extension.
Function DocumentName(title)
    Dim ending
    Set ending = New RegExp
    ending.IgnoreCase = True
    ending.Pattern = "(\.(rtf|txt|doc|docx|odt))? - (Wine )?WordPad$"
    DocumentName = SafeName(ending.Replace(title, ""))
End Function

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
