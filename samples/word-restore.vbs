' Opens each saved document in Word as a new document with the copy's contents: the copy in the store stays as it is,
' and Word asks for a name when the document is saved.
'
' The tests have no Word: they read this script, and run it where Word is missing.
Option Explicit

Dim documents, word, index
Set documents = TalvinorRestoreScriptArgs.RestoreDocuments
Set word = CreateObject("Word.Application")
word.Visible = True
For index = 0 To documents.Count - 1
    word.Documents.Add documents.Item(index).TempPath
Next
