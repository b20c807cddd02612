// Saves the text of every Notepad window of one process into the document store.
var notepadSuffix = " - Notepad";
var fileSystem = new ActiveXObject("Scripting.FileSystemObject");
var windows = Process.Windows;
for (var index = 0; index < windows.Count; index++) {
    var window = windows.Item(index);
    if (window.ClassName == "Notepad") {
        saveWindow(window);
    }
}

function saveWindow(window) {
    var path = TalvinorDocumentStore.GetNew(documentName(window.Title), "", ".txt");
    var file = fileSystem.CreateTextFile(path, true, true);
    file.Write(window.Text);
    file.Close();
    TalvinorDocumentStore.LogMessage(2, "Saved the text of Notepad, process " + Process.Id);
}

// "Letter.txt - Notepad" is the document "Letter"; the store adds the extension.
function documentName(title) {
    var name = title;
    var end = name.length - notepadSuffix.length;
    if (end >= 0 && name.substr(end) == notepadSuffix) {
        name = name.substr(0, end);
    }
    return name.replace(/\*/g, "").replace(/\.txt$/i, "");
}
