/* Keeps Wine from taking trusted roots away, for as long as its server runs: keep-roots.exe, once the server is up.
 *
 * The first program that asks for the machine's trusted roots copies those of the build machine into the registry, and
 * from version 9 on Wine removes every other one there, each time that no such copying is under way. A program that
 * finds the semaphore of the copying takes it for done. So this holds the semaphore, free to be passed, in a process
 * that counts as one of Wine's own: it keeps no server alive and ends with it.
 */
#include <windows.h>

/* Wine's request to become such a process; it answers with the event that is set at the end. */
static const ULONG MakeSystemProcess = 1000;
typedef LONG(WINAPI* SetInformation)(HANDLE process, ULONG request, void* data, ULONG size);

static int Hold(void) {
    HANDLE end = NULL;
    const SetInformation set =
        (SetInformation)(void*)GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtSetInformationProcess");
    if (set(GetCurrentProcess(), MakeSystemProcess, &end, sizeof end) < 0)
        return 1;
    WaitForSingleObject(end, INFINITE);
    return 0;
}

/* The holder inherits the semaphore, so that it is held from before this ends. */
static int StartHolder(void) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, NULL, TRUE};
    wchar_t command[] = L"keep-roots.exe hold";
    wchar_t program[MAX_PATH];
    STARTUPINFOW startup;
    PROCESS_INFORMATION process;
    if (CreateSemaphoreW(&inherited, 1, 1, L"crypt32_root_semaphore") == NULL)
        return 1;
    if (GetLastError() == ERROR_ALREADY_EXISTS)
        return 0;
    GetStartupInfoW(&startup);
    GetModuleFileNameW(NULL, program, MAX_PATH);
    return !CreateProcessW(program, command, NULL, NULL, TRUE, DETACHED_PROCESS, NULL, NULL, &startup, &process);
}

int main(int count, char** arguments) {
    (void)arguments;
    return count > 1 ? Hold() : StartHolder();
}
