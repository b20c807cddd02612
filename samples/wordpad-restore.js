// Opens the saved copy of each document in WordPad.
var documents = TalvinorRestoreScriptArgs.RestoreDocuments;
for (var index = 0; index < documents.Count; index++) {
    openWith("write.exe", documents.Item(index).TempPath);
}

// Starts a program with a file. A quotation mark in the path would part it, and Run puts in the values of %VARIABLES%:
// a path that would not arrive as it is starts nothing.
function openWith(program, path) {
    var shell = new ActiveXObject("WScript.Shell");
    if (path.indexOf('"') >= 0 || shell.ExpandEnvironmentStrings(path).indexOf(path) != 0) {
        throw new Error("This path cannot be handed to a program: " + path);
    }
    shell.Run('"' + program + '" "' + path + '"', 1, false);
}
