#include "ScriptExecution/DocumentStoreXMLWriter.h"

#include "base/Utf8.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/InfoFileBytes.h"
#include "ScriptExecution/InfoFileFields.h"
#include "ScriptExecution/InfoFileValue.h"
#include "ScriptExecution/StateChangeInstance.h"
#include "logging/Checks.h"

#include <fcntl.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace {
using CContext = CDocumentStoreXMLWriter::CContext;
using enum InfoFileElement;

constexpr CCodeLocation WriteLocation(int line) {
    return {__FILE__, line, "CDocumentStoreXMLWriter::WriteDocumentStore"};
}

/// "2024-03-07T17:05:09"; a year beyond 9999 loses the last digit of its seconds.
std::wstring TimestampText(const FILETIME& utc) {
    SYSTEMTIME time{};
    if (!FileTimeToSystemTime(&utc, &time))
        CheckWin32Error(WriteLocation(__LINE__), GetLastError(), L"FileTimeToSystemTime failed");
    wchar_t text[20] = L"";
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"%04d%c%02d%c%02d%c%02d%c%02d%c%02d", time.wYear, L'-', time.wMonth,
                 L'-', time.wDay, L'T', time.wHour, L':', time.wMinute, L':', time.wSecond);
    if (*text == L'\0')
        CheckCrtError(WriteLocation(__LINE__), "_snwprintf_s", errno);
    return text;
}

void WriteElement(int& depth, InfoFileElement element, const std::wstring& value, std::wstring& file) {
    CContext(depth, InfoFileName(element), file).WriteValue(value);
}

void WriteStateChange(int& depth, const CStateChangeInstance& stateChange, std::wstring& file) {
    CContext section(depth, InfoFileName(StateChange), file);
    WriteElement(depth, When, TimestampText(stateChange.GetUTCTimestamp()), file);
    {
        CContext type(depth, InfoFileName(Type), file);
        const wchar_t* text = StateChangeTypeToText(stateChange.GetStateChangeType());
        if (!text)
            SanityCheckFailed(WriteLocation(__LINE__), L"State change type is not serializable");
        type.WriteValue(text);
    }
    WriteElement(depth, StateChangeGuid, CGuid(stateChange.GetId()).ToString(), file);
}

/// UTF-8 with the line ends of a text stream.
std::string ToFileBytes(const std::wstring& text) {
    std::wstring lines;
    lines.reserve(text.size() + text.size() / 16);
    for (const wchar_t c : text) {
        if (c == L'\n')
            lines += L'\r';
        lines += c;
    }
    return ToUtf8(lines);
}

/// What stands before and behind the value or the children of an element, which is the same for all of its kind.
struct CFrame {
    std::string before;
    std::string behind;
};

CFrame FrameOf(int& depth, InfoFileElement element, bool holdsText) {
    CFrame frame;
    std::wstring text;
    {
        CContext context(depth, InfoFileName(element), text);
        if (holdsText)
            context.WriteValue({});
        frame.before = ToFileBytes(std::exchange(text, {}));
    }
    frame.behind = ToFileBytes(text);
    return frame;
}

/// Whether a character reaches the file as it is, as one byte.
constexpr bool IsPlain(wchar_t c) {
    return c >= L' ' && c < 0x7F && c != L'%';
}

/// False, and nothing is added, when some character is not plain.
bool AppendPlain(std::string& bytes, const std::wstring& value) {
    const std::size_t before = bytes.size();
    bytes.resize(before + value.size());
    char* to = bytes.data() + before;
    bool plain = true;
    for (const wchar_t c : value) {
        plain = plain && IsPlain(c);
        *to++ = static_cast<char>(c);
    }
    if (!plain)
        bytes.resize(before);
    return plain;
}

/// How the records of a file are written.
class CRecordForm {
public:
    explicit CRecordForm(int depth) {
        const CFrame document = FrameOf(depth, Doc, false);
        ++depth;
        std::string before = document.before;
        for (const CInfoFileField& field : GetInfoFileFields()) {
            CFrame frame = FrameOf(depth, field.element, true);
            m_fields.emplace_back(&field, before + frame.before);
            before = std::move(frame.behind);
        }
        m_end = before + document.behind;
    }

    void Append(const CInternalSavedDocument& document, std::string& bytes) {
        for (const auto& [field, before] : m_fields) {
            bytes += before;
            field->read(document, m_value);
            if (!AppendPlain(bytes, m_value))
                // kept: the value itself is the format text of the print.
                bytes += ToFileBytes(FormatInfoFileValue(m_value));
        }
        bytes += m_end;
    }

private:
    std::vector<std::pair<const CInfoFileField*, std::string>> m_fields; ///< with what stands before its value
    std::string m_end;
    std::wstring m_value;
};

/// What has been composed and is not in the file's text yet, when an exception comes, is in the other.
void WriteRoot(const CDocumentStoreInfo& info, CInfoFileBytes& file, std::wstring& text) {
    text += L"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    const CInternalDocumentStore& store = *info.GetInternalDocumentStore();
    int depth = 0;
    CContext root(depth, InfoFileName(DocStore), text);
    CGuid guid; // kept: a store without an identifier is written with a fresh one
    store.GetGuid(guid);
    WriteElement(depth, StoreGuid, guid.ToString(), text);
    if (const CStateChangeInstance* stateChange = info.GetStateChangeInstance())
        WriteStateChange(depth, *stateChange, text);
    CContext section(depth, InfoFileName(Docs), text);
    file.Begin(ToFileBytes(std::exchange(text, {})));
    CRecordForm form(depth);
    file.SetRecords(*store.GetSavedDocumentList(), [&form](const CInternalSavedDocument& document, std::string& bytes) {
        form.Append(document, bytes);
    });
}

/// In one call of the system.
void WriteBytes(int file, std::string_view bytes) {
    if (bytes.size() > INT_MAX)
        CheckWin32Error(WriteLocation(__LINE__), ERROR_FILE_TOO_LARGE, L"Info file too large");
    SetLastError(ERROR_DISK_FULL); // what a write that went through in part is told by, where the runtime says -1 to it
    const int written = _write(file, bytes.data(), static_cast<unsigned>(bytes.size()));
    if (written != static_cast<int>(bytes.size()))
        CheckCrtError(WriteLocation(__LINE__), "_write", written < 0 ? errno : ENOSPC);
}

/// Until here, a file that was written may still be lost with the machine's power.
void Flush(int file) {
    if (_commit(file) != 0)
        CheckCrtError(WriteLocation(__LINE__), "_commit", errno);
}

struct CFileRemover {
    void operator()(const wchar_t* path) const noexcept { DeleteFileW(path); }
};
} // namespace

CDocumentStoreXMLWriter::CContext::CContext(int& depth, const wchar_t* name, std::wstring& file)
    : m_depth(depth), m_name(name), m_file(file), m_exceptions(std::uncaught_exceptions()) {
    IncrementIndent();
    WriteTabs();
    m_file.append(L"<").append(m_name).append(L">\n");
}

// NOLINTNEXTLINE(bugprone-exception-escape): it says that it may.
CDocumentStoreXMLWriter::CContext::~CContext() noexcept(false) {
    if (std::uncaught_exceptions() > m_exceptions)
        return;
    WriteTabs();
    m_file.append(L"\n</").append(m_name).append(L">\n");
    DecrementIndent();
}

void CDocumentStoreXMLWriter::CContext::WriteValue(const std::wstring& value) {
    WriteTabs();
    // kept: the value itself is the format text of the print.
    m_file += FormatInfoFileValue(value);
}

void CDocumentStoreXMLWriter::CContext::IncrementIndent() {
    if (m_depth == INT_MAX)
        SanityCheckFailed({__FILE__, __LINE__, "CContext::IncrementIndent"}, L"indenting too deep");
    ++m_depth;
}

void CDocumentStoreXMLWriter::CContext::DecrementIndent() {
    if (m_depth == 0)
        SanityCheckFailed({__FILE__, __LINE__, "CContext::DecrementIndent"}, L"negative indent level");
    --m_depth;
}

void CDocumentStoreXMLWriter::Open() {
    int file = -1;
    if (const errno_t error =
            _wsopen_s(&file, m_path.c_str(), _O_WRONLY | _O_CREAT | _O_BINARY, _SH_DENYNO, _S_IREAD | _S_IWRITE);
        error != 0)
        CheckCrtError(QUORLINE_HERE, "_tfopen_s", error); // kept: the name under which this failure is known
    m_file.Reset(file);
}

/// False when the file cannot be replaced; throws when the new text cannot be written. Either way nothing is left over.
bool CDocumentStoreXMLWriter::Replace(std::string_view bytes) {
    // Not every system keeps a file that is marked read-only from being replaced.
    const DWORD attributes = GetFileAttributesW(m_path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0)
        return false;

    // Shared for deletion, so that it can take the other's place while it is open.
    const std::wstring sibling = GetSiblingPath(m_path);
    CUniqueHandle handle(CreateFileW(sibling.c_str(), GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle)
        return false;
    std::unique_ptr<const wchar_t, CFileRemover> leftover(sibling.c_str());
    CUniqueDescriptor file(_open_osfhandle(reinterpret_cast<std::intptr_t>(handle.Get()), _O_BINARY));
    if (!file)
        return false;
    handle.Detach();
    WriteBytes(file.Get(), bytes);
    Flush(file.Get());
    if (!MoveFileExW(sibling.c_str(), m_path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return false;
    static_cast<void>(leftover.release()); // it is the file now
    m_file = std::move(file);
    return true;
}

void CDocumentStoreXMLWriter::WriteInPlace(std::string_view bytes) {
    Open();
    const int file = m_file.Get();
    const long oldSize = std::max(_filelength(file), 0L);
    const std::string_view overwriting = bytes.substr(0, static_cast<std::size_t>(oldSize));
    try {
        // What goes beyond the old end comes first: a full disk then refuses it while the old record is still whole.
        if (overwriting.size() < bytes.size()) {
            _lseek(file, oldSize, SEEK_SET);
            WriteBytes(file, bytes.substr(overwriting.size()));
            _lseek(file, 0, SEEK_SET);
        }
        if (!overwriting.empty())
            WriteBytes(file, overwriting);
    } catch (const COSException&) {
        _chsize(file, oldSize);
        throw;
    }
    if (_chsize(file, static_cast<long>(bytes.size())) != 0)
        CheckCrtError(WriteLocation(__LINE__), "_chsize", errno);
    Flush(file);
}

void CDocumentStoreXMLWriter::WriteDocumentStore(CDocumentStoreInfo& info) {
    CInfoFileBytes file;
    WriteDocumentStore(info, file);
}

void CDocumentStoreXMLWriter::WriteDocumentStore(CDocumentStoreInfo& info, CInfoFileBytes& file) {
    if (!info.GetInternalDocumentStore())
        SanityCheckFailed(QUORLINE_HERE, L"Null pStore argument passed to WriteDocumentStore");

    // The text is complete, with the line ends that a text stream would make, before any file is touched.
    std::wstring text;
    std::exception_ptr failure;
    try {
        WriteRoot(info, file, text);
        file.End(ToFileBytes(text));
    } catch (const COSException&) {
        throw; // the record that is there is worth more than half of a new one
    } catch (const CMorvaneException&) {
        // kept: a state change that cannot be written down leaves the file written up to there.
        file.Begin(ToFileBytes(text));
        failure = std::current_exception();
    }
    m_file.Reset();
    if (!Replace(file.GetBytes()))
        WriteInPlace(file.GetBytes());
    if (failure)
        std::rethrow_exception(failure);
}

void CDocumentStoreXMLWriter::WriteDocumentStore(CInternalDocumentStore* pStore, CStateChangeInstance* pStateChange) {
    if (!pStore)
        SanityCheckFailed(QUORLINE_HERE, L"Null pStore argument passed to WriteDocumentStore");
    std::wstring path;
    RequireSuccess(QUORLINE_HERE, pStore->GetInfoFilePath(path, InfoFileExtension), L"GetInfoFilePath");
    CDocumentStoreXMLWriter writer(path);
    CDocumentStoreInfo info(pStateChange, pStore);
    writer.WriteDocumentStore(info);
    writer.Close();
}
