#pragma once

// What a worker tells the process that started it: one JSON object a line, in UTF-8, on a pipe. Each has the protocol's
// version in "v" and its kind in "event"; the values are those of the structs below, under their names:
//
//     {"v":1,"event":"begun","changed":133444736000000000}
//     {"v":1,"event":"scriptStarted","application":"Notepad","processId":420,"script":"notepad-save.vbs",...}
//     {"v":1,"event":"documentReserved","name":"Letter","originalPath":"","path":"C:\\...\\Letter.txt"}
//     {"v":1,"event":"scriptEnded","failed":false,"vetoed":false,"error":{...}}
//     {"v":1,"event":"finished","result":{...}}
//
// Values that are missing have their defaults and unknown ones are passed over, so that a version may add some. A line
// that is no event of this version is none: a process that breaks down may leave anything behind.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

inline constexpr int WorkerProtocolVersion = 1;

/// Somebody else's operation goes first. No limit for a single step holds until the next event.
struct CWaitingEvent {
    static constexpr const char* Name = "waiting";
};

/// The work itself begins.
struct CBegunEvent {
    static constexpr const char* Name = "begun";
    std::uint64_t changed = 0; ///< when the state change was announced: 100 ns since 1601, UTC
};

/// A script is about to be verified and run.
struct CScriptStartedEvent {
    static constexpr const char* Name = "scriptStarted";
    std::wstring application;
    unsigned long processId = 0; ///< that the script runs for; 0 for none
    std::wstring imageName;
    std::wstring path; ///< of the process's executable
    std::wstring script;
    std::wstring restoreScript; ///< that goes with a save script
    std::size_t document = 0;   ///< index, in the request, of the document that a restore script runs for
};

/// A line of the log: any from the scripts, and the errors of everybody else.
struct CMessageEvent {
    static constexpr const char* Name = "message";
    std::wstring level;
    std::wstring logger;
    std::wstring text;
};

/// A script was given a path for a document.
struct CDocumentReservedEvent {
    static constexpr const char* Name = "documentReserved";
    std::wstring name;
    std::wstring originalPath;
    std::wstring path;
};

/// What an engine said of a script's error, or the runner of a script that it refused.
struct CScriptErrorData {
    std::wstring source;
    std::wstring description;
    unsigned long line = 0; ///< from 1; 0 when there is none
    long character = 0;     ///< from 0
    unsigned long number = 0;
    std::wstring reason; ///< the signer's, for a script that was refused
};

struct CScriptEndedEvent {
    static constexpr const char* Name = "scriptEnded";
    bool failed = false;
    bool vetoed = false; ///< the script itself called VetoTransition
    std::optional<CScriptErrorData> error;
    std::wstring trouble; ///< of a document's restore, in words; empty when it went well
    bool missing = false; ///< there was nothing to restore
};

/// The operation could not be done; nothing follows.
struct CWorkerErrorEvent {
    static constexpr const char* Name = "error";
    int exitCode = 1; ///< an ExitCode
    std::wstring text;
};

/// The operation has come to its end; nothing follows. What it found is the operation's own.
// NOLINTNEXTLINE(bugprone-exception-escape): moving JSON throws nothing, though its own checks look as if.
struct CFinishedEvent {
    static constexpr const char* Name = "finished";
    nlohmann::json result;
};

using CWorkerEvent = std::variant<CWaitingEvent, CBegunEvent, CScriptStartedEvent, CMessageEvent,
                                  CDocumentReservedEvent, CScriptEndedEvent, CWorkerErrorEvent, CFinishedEvent>;

/// Without a line break, which stands nowhere in it.
std::string ToLine(const CWorkerEvent& event);

/// Nothing for a line that is no event.
std::optional<CWorkerEvent> EventFromLine(std::string_view line);

/// Whom an operation tells how it goes. Called on any thread of the worker's.
class IWorkerEvents {
public:
    virtual void Report(const CWorkerEvent& event) noexcept = 0;

protected:
    ~IWorkerEvents() = default;
};
