// What fails inside the session's objects comes out as an HRESULT with a description, whatever it is. Proves the
// boundary in host/session/SessionError.

#include "ImportHook.h"
#include "SessionFixture.h"

#include <new>

namespace {
using testing::StartsWith;

BOOL WINAPI RefuseName(LPWSTR, LPDWORD) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
BOOL WINAPI RefuseSessionId(DWORD, DWORD*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
BOOL WINAPI RefuseWindows(WNDENUMPROC, LPARAM) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
HANDLE WINAPI RefuseProcess(DWORD, BOOL, DWORD) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}
BSTR WINAPI NoText(const OLECHAR*, UINT) {
    return nullptr;
}

/// Allocations that succeed before one fails; then all do again.
int g_allocationsLeft = 0;

void* Allocate(std::size_t size) {
    if (g_allocationsLeft-- == 0)
        throw std::bad_alloc();
    return ::operator new(size);
}
void* AllocateNoThrow(std::size_t size, const std::nothrow_t& tag) {
    return g_allocationsLeft-- == 0 ? nullptr : ::operator new(size, tag);
}

class AFailure : public CSessionTest {
protected:
    const CRunningApp app{{{true, L"QlShown", L"Letter"}}};
    const CComPtr<ISession> session = MakeSession();
};
} // namespace

TEST_F(AFailure, OfTheSystemNamesTheMemberAndTheReason) {
    const struct {
        const char* function;
        void (*replacement)();
        const wchar_t* property;
        const wchar_t* object;
    } cases[] = {
        {"GetUserNameW", reinterpret_cast<void (*)()>(&RefuseName), L"UserName", L"the session"},
        {"GetComputerNameW", reinterpret_cast<void (*)()>(&RefuseName), L"ComputerName", L"the session"},
        {"ProcessIdToSessionId", reinterpret_cast<void (*)()>(&RefuseSessionId), L"SessionId", L"the session"},
    };
    for (const auto& test : cases) {
        const CImportHook refused(SessionServer(), test.function, test.replacement);
        for (const wchar_t* language : Languages) {
            CScriptEngine engine(language);
            engine.AddItem(L"Session", session);
            EXPECT_FALSE(engine.Run((L"x = Session." + std::wstring(test.property)).c_str()));
            EXPECT_EQ(engine.Error().code, E_ACCESSDENIED) << test.property;
            EXPECT_THAT(engine.Error().description, StartsWith(test.property + std::wstring(L" of the session: ")))
                << test.property;
            EXPECT_FALSE(engine.Error().description.ends_with(L": "));
        }
    }
}

TEST_F(AFailure, ToListTheWindowsNamesTheProcess) {
    const auto process = ProcessOf(app.Id());
    const CImportHook refused(SessionServer(), "EnumWindows", &RefuseWindows);
    CComPtr<IProcessWindows> windows;
    EXPECT_EQ(process->get_Windows(&windows), E_ACCESSDENIED);
    EXPECT_THAT(Description(), StartsWith(L"Windows of process " + std::to_wstring(app.Id()) + L" (TestApp.exe): "));
    EXPECT_FALSE(windows);
}

TEST_F(AFailure, ToOpenAProcessThatIsThereIsNotTakenForItsEnd) {
    const CImportHook refused(SessionServer(), "OpenProcess", &RefuseProcess);
    const auto process = ProcessOf(app.Id());
    VARIANT_BOOL exited = VARIANT_TRUE;
    EXPECT_EQ(process->get_HasExited(&exited), S_OK);
    EXPECT_EQ(exited, VARIANT_FALSE);
    EXPECT_EQ(TextOf(process.p, &IProcess::get_Path), L"");
    EXPECT_EQ(TextOf(process.p, &IProcess::get_ImageName), L"");
    EXPECT_EQ(TextOf(WindowOf(process).p, &IProcessWindow::get_Title), L"Letter");
}

TEST_F(AFailure, ToMakeATextIsOutOfMemory) {
    const auto process = ProcessOf(app.Id());
    const CImportHook refused(SessionServer(), "SysAllocStringLen", &NoText);
    CComBSTR name;
    EXPECT_EQ(process->get_ImageName(&name), E_OUTOFMEMORY);
    EXPECT_THAT(Description(), StartsWith(L"ImageName of process "));
}

TEST_F(AFailure, OfAnyAllocationIsOutOfMemoryAndLeavesNothingHalfDone) {
    const CImportHook allocate(SessionServer(), "_Znwy", &Allocate);
    const CImportHook allocateNoThrow(SessionServer(), "_ZnwyRKSt9nothrow_t", &AllocateNoThrow);
    int failures = 0;
    for (int allocations = 0; allocations < 1000; ++allocations) {
        CComPtr<IDispatch> object;
        CComPtr<IProcessWindows> windows;
        CComPtr<IProcessWindow> window;
        CComPtr<IUnknown> walked;
        CComPtr<IEnumVARIANT> clone;
        CComBSTR title;
        g_allocationsLeft = allocations;
        HRESULT result = session->GetProcess(app.Id(), &object);
        if (SUCCEEDED(result))
            result = CComQIPtr<IProcess>(object)->get_Windows(&windows);
        if (SUCCEEDED(result))
            result = windows->get_Item(0, &window);
        if (SUCCEEDED(result))
            result = window->get_Title(&title);
        if (SUCCEEDED(result))
            result = windows->get__NewEnum(&walked);
        if (SUCCEEDED(result))
            result = CComQIPtr<IEnumVARIANT>(walked)->Clone(&clone);
        g_allocationsLeft = -1;
        if (SUCCEEDED(result)) {
            EXPECT_STREQ(title, L"Letter");
            EXPECT_GT(failures, 5) << "there were allocations to fail";
            return;
        }
        ++failures;
        EXPECT_EQ(result, E_OUTOFMEMORY) << allocations;
        Description();
    }
    FAIL() << "it never ended";
}
