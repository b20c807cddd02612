' Saves a copy of every changed workbook of a running Excel into the document store, through Excel's own automation.
' The open workbooks stay as they are.
'
' The tests have no Excel: they read this script, and run it where Excel is missing.
' In VBScript, since JScript's GetObject makes a new Excel instead of finding the one that runs.
Option Explicit

If Not Process.HasExited Then SaveWorkbooks GetObject(, "Excel.Application")

Sub SaveWorkbooks(excel)
    Dim workbook
    RequireOwnWindow excel.Hwnd
    For Each workbook In excel.Workbooks
        If Not workbook.Saved Then SaveCopy workbook
    Next
End Sub

' A copy has the format of its workbook, so that its extension must say so.
Sub SaveCopy(workbook)
    Dim original, path
    If workbook.Path <> "" Then original = workbook.FullName
    path = TalvinorDocumentStore.GetNew(SafeName(workbook.Name), original, ExtensionOf(workbook.FileFormat))
    workbook.SaveCopyAs path
End Sub

Function ExtensionOf(fileFormat)
    Select Case fileFormat
        Case 50
            ExtensionOf = ".xlsb"
        Case 51
            ExtensionOf = ".xlsx"
        Case 52
            ExtensionOf = ".xlsm"
        Case 56, -4143
            ExtensionOf = ".xls"
        Case Else
            Err.Raise vbObjectError + 514, "Excel save", "Workbooks of format " & fileFormat & " are not saved"
    End Select
End Function

' Several may run, and GetObject finds one: another one's documents are not those of this process.
Sub RequireOwnWindow(handle)
    Dim window
    For Each window In Process.Windows
        If window.Handle = handle Then Exit Sub
    Next
    Err.Raise vbObjectError + 513, "Excel save", "The documents of process " & Process.Id & " cannot be reached"
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
