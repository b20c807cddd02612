// Opens the saved copy of each document in Notepad.
var documents = TalvinorRestoreScriptArgs.RestoreDocuments;
var shell = new ActiveXObject("WScript.Shell");
for (var index = 0; index < documents.Count; index++) {
    shell.Run('notepad.exe "' + documents.Item(index).TempPath + '"', 1, false);
}
