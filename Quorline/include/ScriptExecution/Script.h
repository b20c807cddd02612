#pragma once

// A script: its text, the name by which log messages and folders know it, and the language that decides which engine
// runs it. A value that owns its strings; it is not locked, one thread uses it at a time.
//
//     CScript script;
//     script.SetScriptName(L"save.vbs");
//     script.SetScriptLang(CScript::LangVBScript);
//     if (script.LoadTextFromDirectory(L"C:\\Scripts"))
//         runner.RunScript(&script);

#include "base/Export.h"
#include "logging/LoggerFwd.h"

#include <string>
#include <utility>

class QUORLINE_API CScript {
public:
    enum ScriptLanguageEnum : int { LangVBScript = 0, LangJScript = 1, LangNone = 2 };

    CScript();
    CScript(const CScript& other);
    CScript& operator=(const CScript& other);
    virtual ~CScript();

    /// Replaces the text with that of a UTF-8 file, up to its first zero byte; a byte-order mark stays as U+FEFF,
    /// and of a text that begins with it VBScript runs nothing: save scripts without one.
    /// False, with the reason logged and the text unchanged, when the file cannot be read. Never throws.
    virtual bool LoadTextFromFile(const std::wstring& path);

    /// The same for the file in this directory that has the script's name.
    virtual bool LoadTextFromDirectory(const std::wstring& directory);

    /// A hook by which a derived script declines to run; this one always runs.
    virtual bool ShouldRun(void* context);

    void SetText(const std::wstring& text) { m_text = text; }
    const std::wstring& GetText() const { return m_text; }
    void SetScriptName(std::wstring name) { m_name = std::move(name); }
    const std::wstring& GetScriptName() const { return m_name; }
    void SetScriptLang(ScriptLanguageEnum language) { m_language = language; }
    ScriptLanguageEnum GetScriptLang() const { return m_language; }

    /// Name, text and language; letter case makes no difference, not even in the text.
    bool operator==(const CScript& other) const;
    bool operator!=(const CScript& other) const;

protected:
    void InitFrom(const CScript& other);

private:
    std::wstring m_text;
    std::wstring m_name;
    ScriptLanguageEnum m_language = LangNone;

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
