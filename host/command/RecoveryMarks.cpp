#include "RecoveryMarks.h"

#include "base/UniqueHandle.h"
#include "ExitCode.h"
#include "InfoFileText.h"

CRecoveryMarks::~CRecoveryMarks() {
    if (!m_overwritten)
        return;
    try {
        WriteStore(m_store);
    } catch (const std::exception&) {
        // The marks are there all the same; the next one to write the record brings it into shape.
    }
}

void CRecoveryMarks::Set(std::size_t document, TEMP_DOCUMENT_STATUS status) {
    CInternalSavedDocument& record = *m_documents.at(document);
    const TEMP_DOCUMENT_STATUS before = record.GetStatus();
    if (status == before)
        return;
    record.SetStatus(status);
    if (Overwrite(document, status)) {
        m_overwritten = true;
        return;
    }
    // Not the library's layout, or somebody else has written it meanwhile.
    m_values.clear();
    try {
        WriteStore(m_store);
    } catch (const CCommandError&) {
        record.SetStatus(before);
        throw;
    }
}

/// False, with the file untouched, when the value does not stand where it should.
bool CRecoveryMarks::Overwrite(std::size_t document, TEMP_DOCUMENT_STATUS status) {
    if (m_values.empty())
        FindValues();
    if (document >= m_values.size())
        return false;
    const CUniqueHandle file(CreateFileW(m_store.InfoPath().c_str(), GENERIC_READ | GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                         0, nullptr));
    if (!file)
        return false;
    const std::string_view value = RecoveredValue(status);
    std::string around(RecoveredValueFrame.size() + value.size(), '\0');
    LARGE_INTEGER place{};
    place.QuadPart = m_values[document] - static_cast<long long>(RecoveredValueFrame.size());
    DWORD count = 0;
    if (!SetFilePointerEx(file.Get(), place, nullptr, FILE_BEGIN) ||
        !ReadFile(file.Get(), around.data(), static_cast<DWORD>(around.size()), &count, nullptr) ||
        count != around.size() || !around.starts_with(RecoveredValueFrame) ||
        (!around.ends_with(RecoveredValue(TEMP_DOCUMENT_RECOVERED)) &&
         !around.ends_with(RecoveredValue(TEMP_DOCUMENT_NOT_RECOVERED))))
        return false;
    place.QuadPart = m_values[document];
    return SetFilePointerEx(file.Get(), place, nullptr, FILE_BEGIN) &&
           WriteFile(file.Get(), value.data(), static_cast<DWORD>(value.size()), &count, nullptr) &&
           count == value.size();
}

void CRecoveryMarks::FindValues() {
    const std::string text = ReadInfoFile(m_store.InfoPath());
    std::vector<long long> found;
    for (std::size_t frame = text.find(RecoveredValueFrame); frame != std::string::npos;
         frame = text.find(RecoveredValueFrame, frame + 1))
        found.push_back(static_cast<long long>(frame + RecoveredValueFrame.size()));
    // A value of another element that looks like one of these would put every place behind it out of step.
    if (found.size() == m_documents.size())
        m_values = std::move(found);
}
