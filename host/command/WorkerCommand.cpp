#include "WorkerCommand.h"

#include "Commands.h"
#include "Console.h"
#include "EventPipe.h"
#include "RestoreWork.h"
#include "SaveWork.h"
#include "StoreCatalog.h"
#include "TryWork.h"

#include <log4cxx/logger.h>

#include <thread>

using nlohmann::json;

namespace {
/// The request's line. Empty when it does not come whole.
std::string ReadRequest(HANDLE pipe) {
    CLineBuffer lines;
    char block[4096];
    for (DWORD count = 0; ReadFile(pipe, block, sizeof block, &count, nullptr) && count != 0;) {
        lines.Append({block, count});
        if (auto line = lines.Next())
            return *line;
    }
    return {};
}

/// Whoever started this process wants nothing of it any more once the pipe's other end is closed.
void EndWithStarter(HANDLE pipe) {
    std::thread([pipe] {
        char byte = 0;
        for (DWORD count = 0; ReadFile(pipe, &byte, 1, &count, nullptr) && count != 0;)
            continue;
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::Failed));
    }).detach();
}

LONG WINAPI EndWithException(EXCEPTION_POINTERS* exception) {
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

/// A crash ends this process at once, with the exception's code: nobody is there to answer a question about it.
void EndSilentlyOnCrash() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    SetUnhandledExceptionFilter(&EndWithException);
}

json DoOperation(const json& request, IWorkerEvents& events) {
    const log4cxx::LoggerPtr root = log4cxx::Logger::getRootLogger();
    root->setLevel(log4cxx::Level::toLevel(request.at("logLevel").get<std::string>()));
    const std::string operation = request.at("operation");
    if (operation == "save")
        return ToJson(DoSave(SaveRequestFromJson(request), events));
    if (operation == "try")
        return ToJson(DoTry(TryOrderFromJson(request), events));
    if (operation == "restore") {
        DoRestore(RestoreOrderFromJson(request), events);
        return nullptr;
    }
    throw CCommandError(ExitCode::BadInput, L"a worker knows no operation '" + FromUtf8(operation) + L"'.");
}

/// The process ends when the other end of the request's pipe does.
ExitCode RunWorker(std::uintptr_t events) {
    HANDLE pipe = GetStdHandle(STD_INPUT_HANDLE);
    SetHandleInformation(pipe, HANDLE_FLAG_INHERIT, 0);
    CEventWriter writer(reinterpret_cast<HANDLE>(events));
    EndSilentlyOnCrash();
    const std::string request = ReadRequest(pipe);
    EndWithStarter(pipe);
    try {
        writer.Report(CFinishedEvent{DoOperation(json::parse(request), writer)});
        return ExitCode::Done;
    } catch (const CCommandError& error) {
        writer.Report(CWorkerErrorEvent{static_cast<int>(error.GetCode()), error.GetText()});
        return error.GetCode();
    } catch (const std::exception& error) {
        writer.Report(
            CWorkerErrorEvent{static_cast<int>(ExitCode::Failed), L"the worker failed: " + DescribeException(error)});
        return ExitCode::Failed;
    }
}
} // namespace

json MakeOrder(const char* operation, json details) {
    details["operation"] = operation;
    details["logLevel"] = log4cxx::Logger::getRootLogger()->getEffectiveLevel()->toString();
    return details;
}

void AddWorker(CCommandLine& line) {
    const auto events = std::make_shared<std::uintptr_t>(0);
    CLI::App& command = line.Add({"worker", "", {}, {}}, [=](const CCommonOptions&) { return RunWorker(*events); });
    command.add_option("events", *events)->required();
    command.group("");
}
