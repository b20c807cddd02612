#include "WatchWindow.h"

#include "ExitCode.h"
#include "SystemText.h"

namespace {
// The session asks programs from the highest level down. Applications that were started in the usual way have 0x280:
// before any of them asks its user what to do with a document, it is saved.
constexpr DWORD EarliestLevel = 0x3FF;
constexpr UINT_PTR Timer = 1;
} // namespace

CWatchWindow::CWatchWindow(IWatchEvents& events)
    : m_events(events), m_newTaskbar(RegisterWindowMessageW(L"TaskbarCreated")) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = &Procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = ClassName;
    RegisterClassW(&windowClass);
    // Not a message-only window: those hear nothing of the session.
    if (CreateWindowExW(0, ClassName, L"Quorline", WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr, windowClass.hInstance,
                        this) == nullptr)
        throw CCommandError(ExitCode::Failed, L"the session cannot be watched: " + DescribeCode(GetLastError()));
    SetProcessShutdownParameters(EarliestLevel, 0);
}

CWatchWindow::~CWatchWindow() {
    DestroyWindow(m_window);
}

void CWatchWindow::StartTimer(unsigned int milliseconds) {
    SetTimer(m_window, Timer, milliseconds, nullptr);
}

void CWatchWindow::BlockEnd(const std::wstring& reason) {
    std::wstring shown = reason;
    if (shown.size() >= MAX_STR_BLOCKREASON)
        shown.resize(MAX_STR_BLOCKREASON - 1);
    ShutdownBlockReasonCreate(m_window, shown.c_str());
}

void CWatchWindow::UnblockEnd() {
    ShutdownBlockReasonDestroy(m_window);
}

void CWatchWindow::Run() {
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (HWND dialog = GetActiveWindow(); dialog != nullptr && IsDialogMessageW(dialog, &message) != FALSE)
            continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void CWatchWindow::DispatchMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        // Meant for Run.
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

LRESULT CALLBACK CWatchWindow::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        auto* self = static_cast<CWatchWindow*>(reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams);
        self->m_window = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    } else if (auto* self = reinterpret_cast<CWatchWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA))) {
        if (const auto answer = self->Handle(message, wParam, lParam))
            return *answer;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

std::optional<LRESULT> CWatchWindow::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_QUERYENDSESSION:
        return m_events.OnQueryEnd(lParam) ? TRUE : FALSE;
    case WM_ENDSESSION:
        m_events.OnEnd(wParam != FALSE);
        return 0;
    case WM_POWERBROADCAST:
        return HandlePower(wParam);
    case WM_TIMER:
        m_events.OnTimer();
        return 0;
    case IconMessage:
        m_events.OnIcon(LOWORD(lParam));
        return 0;
    case WM_CLOSE:
        PostQuitMessage(0);
        return 0;
    default:
        if (message == m_newTaskbar)
            m_events.OnNewTaskbar();
        return std::nullopt;
    }
}

LRESULT CWatchWindow::HandlePower(WPARAM event) {
    switch (event) {
    case PBT_APMQUERYSUSPEND:
        return m_events.OnQuerySuspend() ? TRUE : BROADCAST_QUERY_DENY;
    case PBT_APMQUERYSUSPENDFAILED:
        m_events.OnSuspendRefused();
        break;
    case PBT_APMSUSPEND:
        m_events.OnSuspend();
        break;
    case PBT_APMRESUMEAUTOMATIC:
    case PBT_APMRESUMESUSPEND:
    case PBT_APMRESUMECRITICAL:
        m_events.OnResume();
        break;
    default:
        break;
    }
    return TRUE;
}
