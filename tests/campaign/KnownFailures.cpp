#define WIN32_NO_STATUS // of the two headers that have them, the complete one
#include "KnownFailures.h"
#undef WIN32_NO_STATUS

#include <windows.h>

#include <bcrypt.h>
#include <ntstatus.h>
#include <objidl.h>
#include <wincrypt.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <new>
#include <rpc.h>
#include <set>

namespace {
/// Stands in for every function that tells of a failure by this value and the last error. What arguments it gets does
/// not matter: the caller takes them away again.
template <ULONG_PTR Value, DWORD Error> ULONG_PTR Fails() {
    SetLastError(Error);
    return Value;
}
template <ULONG_PTR Value, DWORD Error = ERROR_SUCCESS> void* Failure() {
    return reinterpret_cast<void*>(&Fails<Value, Error>);
}
template <DWORD Error> void* Null() {
    return Failure<0, Error>();
}
template <DWORD Error> void* Invalid() {
    return Failure<~ULONG_PTR{0}, Error>();
}
/// For an HRESULT, or an error code that is returned.
template <LONG Code> void* Returns() {
    return Failure<static_cast<ULONG_PTR>(static_cast<ULONG>(Code))>();
}

template <ULONG_PTR Value, int Number> ULONG_PTR FailsInTheRuntime() {
    _set_errno(Number);
    return Value;
}
template <ULONG_PTR Value, int Number> void* RuntimeFailure() {
    return reinterpret_cast<void*>(&FailsInTheRuntime<Value, Number>);
}

template <class Function> void* Address(Function* function) {
    return reinterpret_cast<void*>(function);
}

void* ThrowBadAlloc(std::size_t) {
    throw std::bad_alloc();
}

/// A function that closes fails all the same once it has closed: what is left open then is nobody's fault.
template <auto Close, class Argument> BOOL ClosesAndFails(Argument argument) {
    Close(argument);
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}
template <auto Close, class Argument> void* Closing() {
    return Address(&ClosesAndFails<Close, Argument>);
}

LSTATUS CloseKey(HKEY key) {
    RegCloseKey(key);
    return ERROR_INVALID_HANDLE;
}
int CloseDescriptor(int descriptor) {
    _close(descriptor);
    _set_errno(EIO);
    return -1;
}
int CloseStream(FILE* stream) {
    fclose(stream);
    _set_errno(EIO);
    return EOF;
}
int OpenDescriptor(int* descriptor, const wchar_t*, int, int, int) {
    *descriptor = -1;
    return EACCES;
}
int OpenStream(FILE** stream, const wchar_t*, const wchar_t*) {
    *stream = nullptr;
    return EACCES;
}
HRESULT Clear(VARIANTARG* value) {
    VariantClear(value);
    return DISP_E_ARRAYISLOCKED;
}
HRESULT Unmarshal(IStream* stream, REFIID, void** object) {
    *object = nullptr;
    CoReleaseMarshalData(stream);
    stream->Release();
    return E_OUTOFMEMORY;
}
HRESULT ReleaseMarshalled(IStream* stream) {
    CoReleaseMarshalData(stream);
    return E_FAIL;
}

constexpr LONG NotDone = static_cast<LONG>(STATUS_UNSUCCESSFUL);

BOOL CloseStore(HCERTSTORE store, DWORD flags) {
    CertCloseStore(store, flags);
    SetLastError(static_cast<DWORD>(CRYPT_E_PENDING_CLOSE));
    return FALSE;
}
NTSTATUS CloseProvider(void* provider) {
    return BCryptCloseAlgorithmProvider(provider, 0);
}
/// Both give back the certificate that they were to go on from.
PCCERT_CONTEXT EndEnumeration(HCERTSTORE, PCCERT_CONTEXT previous) {
    CertFreeCertificateContext(previous);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}
PCCERT_CONTEXT EndSearch(HCERTSTORE, DWORD, DWORD, DWORD, const void*, PCCERT_CONTEXT previous) {
    CertFreeCertificateContext(previous);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}
/// Names that cannot be had are empty texts.
DWORD NoName(PCCERT_CONTEXT, DWORD, DWORD, void*, wchar_t* text, DWORD size) {
    if (text && size != 0)
        *text = L'\0';
    return 1;
}
DWORD NoNameOfBlob(DWORD, CERT_NAME_BLOB*, DWORD, wchar_t* text, DWORD size) {
    return NoName(nullptr, 0, 0, nullptr, text, size);
}

constexpr const char* EndsTheProcess = "kept: raised on the worker, where nothing catches it";
constexpr const char* WaitsForEver = "kept: Start goes on waiting";
constexpr const char* RaisedThroughTheCall = "kept: raised through the call of the engine, which loses what it holds";
constexpr const char* StartUp = "called while the library is loaded, or for proxies";
} // namespace

const std::vector<CKnownFailure>& KnownFailures() {
    static const std::vector<CKnownFailure> failures{
        // --- handles, threads, modules ---
        {"CloseHandle", Closing<&CloseHandle, HANDLE>()},
        {"CreateEventW", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"CreateThread", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"DuplicateHandle", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"WaitForSingleObject", Failure<WAIT_FAILED, ERROR_INVALID_HANDLE>()},
        {"SetEvent", nullptr, Tolerated::Nothing, EndsTheProcess},
        {"CoInitializeEx", nullptr, Tolerated::Nothing, WaitsForEver},
        {"InitializeCriticalSectionEx", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"GetModuleFileNameW", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"GetModuleHandleExW", Null<ERROR_MOD_NOT_FOUND>()},
        {"GetModuleHandleW", Null<ERROR_MOD_NOT_FOUND>()},
        {"GetProcAddress", Null<ERROR_PROC_NOT_FOUND>()},
        {"LoadLibraryExW", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"LoadLibraryW", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"SetThreadStackGuarantee", Null<ERROR_INVALID_PARAMETER>()},
        {"ConvertStringSecurityDescriptorToSecurityDescriptorW", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"VirtualProtect", nullptr, Tolerated::Nothing, StartUp},
        {"VirtualQuery", nullptr, Tolerated::Nothing, StartUp},
        // --- files ---
        {"CreateFileW", Invalid<ERROR_ACCESS_DENIED>()},
        {"DeleteFileW", Null<ERROR_ACCESS_DENIED>()},
        {"MoveFileExW", Null<ERROR_ACCESS_DENIED>()},
        {"FindFirstFileW", Invalid<ERROR_ACCESS_DENIED>(), Tolerated::Silence,
         "kept: no folder, no stores; a DEBUG line says so"},
        {"FindNextFileW", Null<ERROR_ACCESS_DENIED>()},
        {"FindClose", Closing<&FindClose, HANDLE>()},
        {"GetFileAttributesW", Invalid<ERROR_ACCESS_DENIED>()},
        {"GetFileAttributesExW", Null<ERROR_ACCESS_DENIED>()},
        {"GetFullPathNameW", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"GetShortPathNameW", Null<ERROR_ACCESS_DENIED>()},
        {"CreateDirectoryW", Null<ERROR_ACCESS_DENIED>()},
        {"SetFilePointerEx", Null<ERROR_INVALID_HANDLE>()},
        {"SHCreateDirectoryExW", Returns<ERROR_ACCESS_DENIED>()},
        {"SHGetFolderPathW", Failure<0x80004005, ERROR_PATH_NOT_FOUND>()},
        {"_chsize", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_close", Address(&CloseDescriptor)},
        {"_commit", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_filelength", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_filelengthi64", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_fstat64", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_lseek", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_open_osfhandle", RuntimeFailure<~ULONG_PTR{0}, EMFILE>()},
        {"_read", RuntimeFailure<~ULONG_PTR{0}, EIO>()},
        {"_write", RuntimeFailure<~ULONG_PTR{0}, ENOSPC>()},
        {"_wmkdir", RuntimeFailure<~ULONG_PTR{0}, EACCES>()},
        {"_wsopen_s", Address(&OpenDescriptor)},
        {"_wfopen_s", Address(&OpenStream), Tolerated::Silence,
         "kept: a store that cannot be read is passed over; a DEBUG line says so"},
        {"fclose", Address(&CloseStream)},
        {"fread", RuntimeFailure<0, EIO>()},
        {"setvbuf", RuntimeFailure<ULONG_PTR{1}, ENOMEM>()},
        {"fwrite", RuntimeFailure<0, ENOSPC>()},
        {"fputc", RuntimeFailure<~ULONG_PTR{0}, ENOSPC>()},
        {"fputs", RuntimeFailure<~ULONG_PTR{0}, ENOSPC>()},
        {"fputwc", RuntimeFailure<0xFFFF, ENOSPC>()},
        {"fwprintf", RuntimeFailure<~ULONG_PTR{0}, ENOSPC>()},
        {"vfprintf", RuntimeFailure<~ULONG_PTR{0}, ENOSPC>()},
        // --- memory ---
        {"malloc", RuntimeFailure<0, ENOMEM>()},
        {"calloc", RuntimeFailure<0, ENOMEM>()},
        {"realloc", RuntimeFailure<0, ENOMEM>()},
        {"_Znwy", Address(&ThrowBadAlloc)},
        {"_Znay", Address(&ThrowBadAlloc)},
        {"_ZnwyRKSt9nothrow_t", RuntimeFailure<0, ENOMEM>(), Tolerated::Growth,
         "kept: the system keeps what it opened for a class of which it gets no factory"},
        {"SysAllocString", Null<ERROR_SUCCESS>()},
        {"SysAllocStringLen", Null<ERROR_SUCCESS>(), Tolerated::Growth, RaisedThroughTheCall},
        // --- texts and times ---
        {"FormatMessageW", Null<ERROR_MR_MID_NOT_FOUND>()},
        {"MultiByteToWideChar", Null<ERROR_NO_UNICODE_TRANSLATION>()},
        {"WideCharToMultiByte", Null<ERROR_NO_UNICODE_TRANSLATION>()},
        {"GetEnvironmentVariableW", Null<ERROR_ENVVAR_NOT_FOUND>()},
        {"GetLocaleInfoW", Null<ERROR_INVALID_PARAMETER>()},
        {"SetThreadLocale", Null<ERROR_INVALID_PARAMETER>()},
        {"CompareStringOrdinal", Null<ERROR_INVALID_PARAMETER>()},
        {"FileTimeToSystemTime", Null<ERROR_INVALID_PARAMETER>()},
        {"SystemTimeToFileTime", Null<ERROR_INVALID_PARAMETER>()},
        {"_wsetlocale", RuntimeFailure<0, EINVAL>()},
        {"_wsplitpath_s", RuntimeFailure<ERANGE, ERANGE>()},
        {"_snwprintf", RuntimeFailure<~ULONG_PTR{0}, EINVAL>()},
        {"_snwprintf_s", RuntimeFailure<~ULONG_PTR{0}, EINVAL>()},
        {"_vscprintf", RuntimeFailure<~ULONG_PTR{0}, EINVAL>()},
        {"_vsnprintf_s", RuntimeFailure<~ULONG_PTR{0}, EINVAL>()},
        {"_vsnwprintf_s", RuntimeFailure<~ULONG_PTR{0}, EINVAL>()},
        // --- processes, windows, identities ---
        {"K32EnumProcesses", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"OpenProcess", Null<ERROR_ACCESS_DENIED>()},
        {"K32GetModuleFileNameExW", Null<ERROR_PARTIAL_COPY>(), Tolerated::Silence,
         "kept: the process is left out without a word"},
        {"EnumWindows", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"GetClassNameW", Null<ERROR_INVALID_WINDOW_HANDLE>()},
        {"GetWindowTextW", Null<ERROR_INVALID_WINDOW_HANDLE>(), Tolerated::Silence,
         "kept: the window is left out without a word"},
        {"GetWindowThreadProcessId", Null<ERROR_INVALID_WINDOW_HANDLE>(), Tolerated::Silence,
         "kept: the window is nobody's"},
        {"IsWindowVisible", Null<ERROR_INVALID_WINDOW_HANDLE>(), Tolerated::Silence,
         "kept: the window is left out without a word"},
        {"GetProcessWindowStation", Null<ERROR_ACCESS_DENIED>()},
        {"OpenWindowStationW", Null<ERROR_ACCESS_DENIED>()},
        {"SetProcessWindowStation", Null<ERROR_ACCESS_DENIED>(), Tolerated::Growth,
         "kept: a station in use cannot be closed"},
        {"CloseWindowStation", Closing<&CloseWindowStation, HWINSTA>()},
        {"GetThreadDesktop", Null<ERROR_ACCESS_DENIED>()},
        {"OpenDesktopW", Null<ERROR_ACCESS_DENIED>()},
        {"SetThreadDesktop", Null<ERROR_BUSY>()},
        {"CloseDesktop", Closing<&CloseDesktop, HDESK>()},
        {"WNetGetConnectionW", Returns<ERROR_NO_NETWORK>()},
        {"OpenProcessToken", Null<ERROR_ACCESS_DENIED>()},
        {"OpenThreadToken", Null<ERROR_ACCESS_DENIED>()},
        {"GetTokenInformation", Null<ERROR_ACCESS_DENIED>()},
        {"LookupPrivilegeValueW", Null<ERROR_NO_SUCH_PRIVILEGE>()},
        {"AdjustTokenPrivileges", Null<ERROR_ACCESS_DENIED>()},
        {"ImpersonateLoggedOnUser", Null<ERROR_ACCESS_DENIED>()},
        {"RevertToSelf", Null<ERROR_ACCESS_DENIED>()},
        {"CopySid", Null<ERROR_INSUFFICIENT_BUFFER>()},
        {"IsValidSid", Null<ERROR_SUCCESS>()},
        // --- the registry ---
        {"RegOpenKeyExW", Returns<ERROR_ACCESS_DENIED>()},
        {"RegGetValueW", Returns<ERROR_ACCESS_DENIED>()},
        {"RegCloseKey", Address(&CloseKey)},
        {"RegCreateKeyExW", Returns<ERROR_ACCESS_DENIED>()},
        {"RegDeleteTreeW", Returns<ERROR_ACCESS_DENIED>()},
        {"RegOverridePredefKey", Returns<ERROR_ACCESS_DENIED>()},
        // --- COM and automation ---
        {"CoCreateGuid", Returns<E_FAIL>()},
        {"UuidCreate", Returns<E_ACCESSDENIED>()},
        {"UuidToStringW", Returns<RPC_S_OUT_OF_MEMORY>()},
        {"UuidFromStringW", Returns<RPC_S_INVALID_STRING_UUID>()},
        {"CoCreateInstance", Returns<REGDB_E_CLASSNOTREG>()},
        {"CoMarshalInterThreadInterfaceInStream", Returns<E_OUTOFMEMORY>()},
        {"CoGetInterfaceAndReleaseStream", Address(&Unmarshal)},
        {"CoReleaseMarshalData", Address(&ReleaseMarshalled)},
        {"CreateErrorInfo", Returns<E_OUTOFMEMORY>()},
        {"GetErrorInfo", Returns<S_FALSE>()},
        {"SetErrorInfo", Returns<E_OUTOFMEMORY>()},
        {"LoadRegTypeLib", Returns<TYPE_E_LIBNOTREGISTERED>()},
        {"LoadTypeLibEx", Returns<TYPE_E_CANTLOADLIBRARY>()},
        {"RegisterTypeLib", Returns<TYPE_E_REGISTRYACCESS>()},
        {"UnRegisterTypeLib", Returns<TYPE_E_REGISTRYACCESS>()},
        {"SafeArrayCopy", Returns<E_OUTOFMEMORY>()},
        {"SafeArrayCreate", Null<ERROR_SUCCESS>()},
        {"SafeArrayGetVartype", Returns<E_INVALIDARG>()},
        {"SafeArrayPutElement", Returns<E_OUTOFMEMORY>()},
        {"VariantChangeType", Returns<DISP_E_TYPEMISMATCH>()},
        {"VariantCopy", Returns<E_OUTOFMEMORY>(), Tolerated::Growth, RaisedThroughTheCall},
        {"VariantClear", Address(&Clear)},
        {"NdrDllGetClassObject", nullptr, Tolerated::Nothing, StartUp},
        {"StringFromGUID2", Null<ERROR_SUCCESS>()},
        // --- certificates and signatures ---
        {"CertOpenStore", Null<ERROR_ACCESS_DENIED>()},
        {"CertCloseStore", Address(&CloseStore)},
        {"CertAddCertificateContextToStore", Null<ERROR_ACCESS_DENIED>()},
        {"CertCompareCertificateName", Null<ERROR_SUCCESS>()},
        {"CertCreateCertificateContext", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"CertEnumCertificatesInStore", Address(&EndEnumeration)},
        {"CertFindCertificateInStore", Address(&EndSearch)},
        {"CertFindExtension", Null<ERROR_SUCCESS>()},
        {"CertGetCertificateChain", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"CertGetCertificateContextProperty", Null<ERROR_NOT_ENOUGH_MEMORY>()},
        {"CertGetNameStringW", Address(&NoName)},
        {"CertGetPublicKeyLength", Null<ERROR_NOT_SUPPORTED>()},
        {"CertNameToStrW", Address(&NoNameOfBlob)},
        {"CryptAcquireCertificatePrivateKey", Null<ERROR_ACCESS_DENIED>()},
        {"CryptImportPublicKeyInfoEx2", Null<ERROR_NOT_SUPPORTED>()},
        {"PFXImportCertStore", Null<ERROR_NOT_SUPPORTED>()},
        {"BCryptOpenAlgorithmProvider", Returns<NotDone>()},
        {"BCryptCloseAlgorithmProvider", Closing<&CloseProvider, void*>()},
        {"BCryptCreateHash", Returns<NotDone>()},
        {"BCryptHashData", Returns<NotDone>()},
        {"BCryptFinishHash", Returns<NotDone>()},
        {"BCryptDestroyHash", Closing<&BCryptDestroyHash, void*>()},
        {"BCryptDestroyKey", Closing<&BCryptDestroyKey, void*>()},
        {"BCryptGetProperty", Returns<NotDone>()},
        {"BCryptImportKeyPair", Returns<NotDone>()},
        {"BCryptSignHash", Returns<NotDone>()},
        {"BCryptVerifySignature", Returns<NotDone>()},
        {"NCryptSignHash", Returns<NotDone>()},
        {"CertAddEncodedCertificateToStore", Null<ERROR_ACCESS_DENIED>()},
        {"CertComparePublicKeyInfo", Null<ERROR_SUCCESS>()},
        {"CertSetCertificateContextProperty", Null<ERROR_ACCESS_DENIED>()},
        {"CryptExportPublicKeyInfo", Null<ERROR_NOT_SUPPORTED>()},
        {"CryptImportKey", Null<ERROR_NOT_SUPPORTED>()},
        {"CryptAcquireContextA", Null<ERROR_ACCESS_DENIED>()},
        {"CryptAcquireContextW", Null<ERROR_ACCESS_DENIED>()},
        {"CryptCreateHash", Null<ERROR_NOT_SUPPORTED>()},
        {"CryptExportKey", Null<ERROR_ACCESS_DENIED>()},
        {"CryptGetProvParam", Null<ERROR_ACCESS_DENIED>()},
        {"CryptGetUserKey", Null<ERROR_ACCESS_DENIED>()},
        {"CryptSetHashParam", Null<ERROR_ACCESS_DENIED>()},
        {"CryptSignHashW", Null<ERROR_ACCESS_DENIED>()},
        // --- what the session tells ---
        {"GetUserNameW", Null<ERROR_ACCESS_DENIED>()},
        {"GetComputerNameW", Null<ERROR_ACCESS_DENIED>()},
        {"QueryFullProcessImageNameW", Null<ERROR_ACCESS_DENIED>()},
        {"ProcessIdToSessionId", Null<ERROR_ACCESS_DENIED>()},
        {"EnumChildWindows", Null<ERROR_INVALID_WINDOW_HANDLE>()},
        {"SendMessageTimeoutW", Null<ERROR_TIMEOUT>()},
        // --- files again, for the signer's commands ---
        {"FlushFileBuffers", Null<ERROR_DISK_FULL>()},
        {"GetFileSizeEx", Null<ERROR_ACCESS_DENIED>()},
        {"GetLongPathNameW", Null<ERROR_ACCESS_DENIED>()},
        {"GetFinalPathNameByHandleW", Null<ERROR_ACCESS_DENIED>()},
        {"ReadFile", Null<ERROR_READ_FAULT>()},
        {"ReplaceFileW", Null<ERROR_ACCESS_DENIED>()},
        {"WriteFile", Null<ERROR_DISK_FULL>()},
    };
    return failures;
}

bool CannotFail(const std::string& function) {
    // The compiler's runtime, the C++ classes of the logging library, and the system's own proxies.
    for (const char* prefix : {"_Z", "__cxa_", "_Unwind_", "__gxx_", "__dynamic_cast", "pthread_mutex_", "BSTR_User",
                               "VARIANT_User", "CStdStubBuffer_", "IUnknown_", "Ndr"})
        if (function.starts_with(prefix))
            return true;
    static const std::set<std::string> functions{
        // What only answers, and what has no way of saying that it failed.
        "AcquireSRWLockExclusive", "AcquireSRWLockShared", "CompareFileTime", "ConvertDefaultLocale",
        "CertDuplicateCertificateContext", "CertDuplicateStore", "CertFreeCertificateChain",
        "CertFreeCertificateContext", "CoUninitialize", "CryptDestroyHash", "CryptDestroyKey", "CryptReleaseContext",
        "DeleteCriticalSection", "DisableThreadLibraryCalls", "EnterCriticalSection", "FreeLibrary",
        "FreeLibraryAndExitThread", "GetCurrentProcess", "GetCurrentProcessId", "GetCurrentThread",
        "GetCurrentThreadId", "GetLastError", "GetLengthSid", "GetLocalTime", "GetSidIdentifierAuthority",
        "GetSidSubAuthority", "GetSidSubAuthorityCount", "GetSystemMetrics", "GetSystemTime", "GetSystemTimeAsFileTime",
        "GetThreadLocale", "GetTickCount64", "GetUserDefaultLCID", "InitializeCriticalSection", "IsDBCSLeadByteEx",
        "LeaveCriticalSection", "LocalFree", "NCryptFreeObject", "OutputDebugStringW", "RegisterClipboardFormatW",
        "ReleaseSRWLockExclusive", "ReleaseSRWLockShared", "RpcStringFreeW", "RtlDllShutdownInProgress",
        "SafeArrayDestroy", "SafeArrayGetDim", "SetLastError", "Sleep", "SysFreeString", "SysStringLen", "TlsGetValue",
        "TryAcquireSRWLockExclusive", "VariantInit",
        // The same of the C runtime.
        "__C_specific_handler", "__emutls_get_address", "___lc_codepage_func", "___mb_cur_max_func", "__iob_func",
        "_amsg_exit", "_assert", "_errno", "_initterm", "_lock", "_resetstkoflw", "_unlock", "_vsnprintf", "_wcserror",
        "_wcsicmp", "_wcsnicmp", "_wtoi", "abort", "feof", "ferror", "free", "getenv", "iswspace", "iswxdigit",
        "localeconv", "memcmp", "memcpy", "memmove", "memset", "strerror", "strlen", "strncmp", "strtoul", "towupper",
        "wcscmp", "wcslen"};
    return functions.contains(function);
}

Tolerated ToleratedOf(const std::string& function) {
    for (const CKnownFailure& failure : KnownFailures())
        if (function == failure.function)
            return failure.tolerated;
    return Tolerated::Nothing;
}
