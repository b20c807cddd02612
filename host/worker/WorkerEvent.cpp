#include "WorkerEvent.h"

#include "JsonWide.h"

using nlohmann::json;

namespace {
/// The value under a name, where there is one.
template <class T> void Take(const json& object, const char* name, T& value) {
    if (const auto found = object.find(name); found != object.end())
        found->get_to(value);
}

json Write(const CWaitingEvent&) {
    return json::object();
}
void Read(const json&, CWaitingEvent&) {}

json Write(const CBegunEvent& event) {
    return {{"changed", event.changed}};
}
void Read(const json& object, CBegunEvent& event) {
    Take(object, "changed", event.changed);
}

json Write(const CScriptStartedEvent& event) {
    return {{"application", event.application}, {"processId", event.processId},
            {"imageName", event.imageName},     {"path", event.path},
            {"script", event.script},           {"restoreScript", event.restoreScript},
            {"document", event.document}};
}
void Read(const json& object, CScriptStartedEvent& event) {
    Take(object, "application", event.application);
    Take(object, "processId", event.processId);
    Take(object, "imageName", event.imageName);
    Take(object, "path", event.path);
    Take(object, "script", event.script);
    Take(object, "restoreScript", event.restoreScript);
    Take(object, "document", event.document);
}

json Write(const CMessageEvent& event) {
    return {{"level", event.level}, {"logger", event.logger}, {"text", event.text}};
}
void Read(const json& object, CMessageEvent& event) {
    Take(object, "level", event.level);
    Take(object, "logger", event.logger);
    Take(object, "text", event.text);
}

json Write(const CDocumentReservedEvent& event) {
    return {{"name", event.name}, {"originalPath", event.originalPath}, {"path", event.path}};
}
void Read(const json& object, CDocumentReservedEvent& event) {
    Take(object, "name", event.name);
    Take(object, "originalPath", event.originalPath);
    Take(object, "path", event.path);
}

json Write(const CScriptErrorData& error) {
    return {{"source", error.source},       {"description", error.description}, {"line", error.line},
            {"character", error.character}, {"number", error.number},           {"reason", error.reason}};
}
void Read(const json& object, CScriptErrorData& error) {
    Take(object, "source", error.source);
    Take(object, "description", error.description);
    Take(object, "line", error.line);
    Take(object, "character", error.character);
    Take(object, "number", error.number);
    Take(object, "reason", error.reason);
}

json Write(const CScriptEndedEvent& event) {
    json object{
        {"failed", event.failed}, {"vetoed", event.vetoed}, {"trouble", event.trouble}, {"missing", event.missing}};
    if (event.error)
        object["error"] = Write(*event.error);
    return object;
}
void Read(const json& object, CScriptEndedEvent& event) {
    Take(object, "failed", event.failed);
    Take(object, "vetoed", event.vetoed);
    Take(object, "trouble", event.trouble);
    Take(object, "missing", event.missing);
    if (const auto error = object.find("error"); error != object.end())
        Read(*error, event.error.emplace());
}

json Write(const CWorkerErrorEvent& event) {
    return {{"exitCode", event.exitCode}, {"text", event.text}};
}
void Read(const json& object, CWorkerErrorEvent& event) {
    Take(object, "exitCode", event.exitCode);
    Take(object, "text", event.text);
}

json Write(const CFinishedEvent& event) {
    return {{"result", event.result}};
}
void Read(const json& object, CFinishedEvent& event) {
    Take(object, "result", event.result);
}

/// The event of this kind, or of one that comes after it in the variant.
template <std::size_t Kind = 0> std::optional<CWorkerEvent> ReadKind(const std::string& name, const json& object) {
    if constexpr (Kind < std::variant_size_v<CWorkerEvent>) {
        std::variant_alternative_t<Kind, CWorkerEvent> event;
        if (name != event.Name)
            return ReadKind<Kind + 1>(name, object);
        Read(object, event);
        return event;
    } else {
        return std::nullopt;
    }
}
} // namespace

std::string ToLine(const CWorkerEvent& event) {
    return std::visit(
        [](const auto& kind) {
            json object = Write(kind);
            object["v"] = WorkerProtocolVersion;
            object["event"] = kind.Name;
            return object.dump();
        },
        event);
}

std::optional<CWorkerEvent> EventFromLine(std::string_view line) {
    const json object = json::parse(line, nullptr, false);
    if (!object.is_object())
        return std::nullopt;
    try {
        if (object.at("v") != WorkerProtocolVersion)
            return std::nullopt;
        return ReadKind(object.at("event").get<std::string>(), object);
    } catch (const json::exception&) {
        return std::nullopt;
    }
}
