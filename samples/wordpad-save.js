// Saves the text of every WordPad window of one process into the document store, without its formatting.
var windows = Process.Windows;
for (var index = 0; index < windows.Count; index++) {
    var window = windows.Item(index);
    if (isWordPad(window.ClassName)) {
        saveText(window.Text, documentName(window.Title));
    }
}

function isWordPad(className) {
    return className == "WordPadClass" || className == "WORDPADTOP"; // the second is Wine's
}

function saveText(text, name) {
    var files = new ActiveXObject("Scripting.FileSystemObject");
    var file = files.CreateTextFile(TalvinorDocumentStore.GetNew(name, "", ".txt"), true, true);
    file.Write(text);
    file.Close();
    TalvinorDocumentStore.LogMessage(2, "Saved the text of WordPad, process " + Process.Id);
}

// "Letter.rtf - WordPad" is the document "Letter"; the store adds the extension.
function documentName(title) {
    return safeName(title.replace(/(\.(rtf|txt|doc|docx|odt))? - (Wine )?WordPad$/i, ""));
}

// A title as the name of a file: what a name may not hold, what would turn its text round and what would name a
// variable becomes "_". Copy it into your own scripts.
function safeName(title) {
    var name = title.replace(/^[\s*]+/, "")
        .replace(/[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069"%*\/:<>?\\|]/g, "_")
        .substr(0, 60)
        .replace(/([\ud800-\udbff][\udc00-\udfff])|[\ud800-\udfff]/g, "$1")
        .replace(/[\s.]+$/, "");
    if (/^(con|prn|aux|nul|conin\$|conout\$|(com|lpt)[\d\u00b9\u00b2\u00b3])\s*(\.|$)/i.test(name)) {
        name = "_" + name;
    }
    return name == "" ? "Untitled" : name;
}
