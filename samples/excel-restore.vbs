' Opens each saved workbook in Excel as a new workbook with the copy's contents: the copy in the store stays as it is,
' and Excel asks for a name when the workbook is saved.
'
' The tests have no Excel: they read this script, and run it where Excel is missing.
Option Explicit

Dim documents, excel, index
Set documents = TalvinorRestoreScriptArgs.RestoreDocuments
Set excel = CreateObject("Excel.Application")
excel.Visible = True
excel.UserControl = True
For index = 0 To documents.Count - 1
    excel.Workbooks.Add documents.Item(index).TempPath
Next
