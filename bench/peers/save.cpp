// The bare parts of a whole save, for comparison: save SCRIPT SIGNATURE FOLDER APPLICATIONS. As the command does, it
// has a process of its own do the work. For each application one search; for each of its processes the signature
// verified, the save script run in an engine of its own with a store that hands out paths, one log line, and the
// store's record, as long as the library's would be, written and put in place of the one before.

#include "bare/BareSearch.h"
#include "bare/BareVerify.h"

#include <atlbase.h>
#include <atlcom.h>

#include <activscp.h>
#include <log4cxx/logger.h>

#include <fstream>
#include <filesystem>
#include <iterator>
#include <map>

namespace {
constexpr CLSID vbScript = {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0x00, 0xAA, 0x00, 0x4A, 0x55, 0xE8}};
constexpr std::size_t RecordSize = 700; // bytes of a document's record in an info file

/// An object with the one member that a bare save's script asks of it: the method GetNew or the property Id.
class CItem : public CComObjectRootEx<CComSingleThreadModel>, public IDispatch {
public:
    BEGIN_COM_MAP(CItem)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* id) override {
        *id = 1;
        return S_OK;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
                        UINT*) override {
        if (parameters->cArgs == 0)
            return CComVariant(static_cast<int>(process)).Detach(result);
        return CComVariant(Reserve(parameters->rgvarg[parameters->cArgs - 1].bstrVal).c_str()).Detach(result);
    }

    std::wstring folder;
    DWORD process = 0;

    void WriteRecord() const {
        const std::string bytes(400 + m_documents * RecordSize, 'x');
        const std::wstring sibling = folder + L"\\info.new";
        CUniqueHandle file(CreateFileW(sibling.c_str(), GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD written = 0;
        WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
        FlushFileBuffers(file.Get());
        file.Reset();
        MoveFileExW(sibling.c_str(), (folder + L"\\info.xml").c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    }

private:
    std::wstring Reserve(const std::wstring& name) {
        const std::wstring path = folder + L"\\" + name + L".txt";
        CUniqueHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
        DeleteFileW(path.c_str());
        ++m_documents;
        WriteRecord();
        return path;
    }

    std::size_t m_documents = 0;
};

class CSite : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScriptSite {
public:
    BEGIN_COM_MAP(CSite)
    COM_INTERFACE_ENTRY(IActiveScriptSite)
    END_COM_MAP()

    STDMETHODIMP GetLCID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** object, ITypeInfo**) override {
        if ((mask & SCRIPTINFO_IUNKNOWN) != 0)
            CComPtr<IUnknown>(items[name]).CopyTo(object);
        return S_OK;
    }
    STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
    STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return S_OK; }
    STDMETHODIMP OnScriptError(IActiveScriptError*) override {
        failed = true;
        return S_OK;
    }
    STDMETHODIMP OnEnterScript() override { return S_OK; }
    STDMETHODIMP OnLeaveScript() override { return S_OK; }

    std::map<std::wstring, CComPtr<IUnknown>> items;
    bool failed = false;
};

template <class T> CComPtr<T> Make(CComObjectNoLock<T>*& object) {
    CComObjectNoLock<T>::CreateInstance(&object);
    return CComPtr<T>(object);
}

bool RunScript(const wchar_t* text, IUnknown* store, DWORD process) {
    CComObjectNoLock<CSite>* site = nullptr;
    CComObjectNoLock<CItem>* item = nullptr;
    const auto siteOwner = Make(site);
    const auto itemOwner = Make(item);
    item->process = process;
    site->items[L"TalvinorDocumentStore"] = store;
    site->items[L"Process"] = static_cast<IDispatch*>(item);
    CComPtr<IActiveScript> engine;
    if (FAILED(engine.CoCreateInstance(vbScript)) || FAILED(engine->SetScriptSite(site)))
        return false;
    const CComQIPtr<IActiveScriptParse> parser(engine);
    parser->InitNew();
    for (const auto& [name, object] : site->items)
        engine->AddNamedItem(name.c_str(), SCRIPTITEM_ISVISIBLE | SCRIPTITEM_ISPERSISTENT);
    OutputDebugStringW(text);
    CComVariant result;
    EXCEPINFO exception{};
    parser->ParseScriptText(text, nullptr, nullptr, nullptr, 0, 1, SCRIPTTEXT_ISVISIBLE | SCRIPTTEXT_ISPERSISTENT,
                            &result, &exception);
    engine->SetScriptState(SCRIPTSTATE_CONNECTED);
    engine->Close();
    return !site->failed;
}

std::vector<char> ReadAll(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The text is UTF-16 without a mark.
int Save(wchar_t** values) {
    const std::vector<char> textBytes = ReadAll(values[0]);
    const std::vector<char> signature = ReadAll(values[1]);
    const std::wstring text(reinterpret_cast<const wchar_t*>(textBytes.data()), textBytes.size() / sizeof(wchar_t));
    const CBareVerify verify(text, {signature.begin(), signature.end()});
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const auto logger = log4cxx::Logger::getLogger("Quorline.ScriptRunner");
    bool done = true;
    {
        CComObjectNoLock<CItem>* store = nullptr;
        const auto storeOwner = Make(store);
        store->folder = values[2];
        std::filesystem::create_directories(store->folder);
        for (int application = 0; application < _wtoi(values[3]); ++application) {
            const std::wstring name = L"\\benchapp" + std::to_wstring(application) + L".exe";
            CBareSearch search;
            for (const auto& [process, path] : search.Run()) {
                if (!path.ends_with(name))
                    continue;
                LOG4CXX_INFO(logger, L"Running script '" << values[0] << L"'");
                done = done && verify.Run() && RunScript(text.c_str(), static_cast<IDispatch*>(store), process);
                // The library's host names the scripts in the record when each has ended.
                store->WriteRecord();
            }
        }
        store->WriteRecord();
    }
    CoUninitialize();
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

int SaveInWorker() {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    SetEnvironmentVariableW(L"BENCH_WORKER", L"1");
    // Of a caller without a console nobody may see one open.
    const DWORD window = GetConsoleWindow() == nullptr ? CREATE_NO_WINDOW : 0;
    if (!CreateProcessW(nullptr, GetCommandLineW(), nullptr, nullptr, TRUE, window, nullptr, nullptr, &startup,
                        &started))
        return EXIT_FAILURE;
    const CUniqueHandle thread(started.hThread);
    const CUniqueHandle process(started.hProcess);
    DWORD code = EXIT_FAILURE;
    WaitForSingleObject(process.Get(), INFINITE);
    GetExitCodeProcess(process.Get(), &code);
    return static_cast<int>(code);
}
} // namespace

int wmain(int count, wchar_t** values) {
    if (count != 5)
        return EXIT_FAILURE;
    return GetEnvironmentVariableW(L"BENCH_WORKER", nullptr, 0) != 0 ? Save(values + 1) : SaveInWorker();
}
