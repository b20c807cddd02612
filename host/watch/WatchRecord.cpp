#include "WatchRecord.h"

#include "Console.h"
#include "ExitCode.h"
#include "SystemText.h"
#include "base/UniqueHandle.h"

#include <nlohmann/json.hpp>
#include <shlobj.h>

#include <filesystem>
#include <fstream>
#include <iterator>

using nlohmann::json;

namespace {
constexpr const wchar_t* RecordFolder = L"\\Morvane\\Talvinor";
constexpr const wchar_t* RecordName = L"\\watch.json";

json ToJson(const std::vector<std::wstring>& texts) {
    json list = json::array();
    for (const auto& text : texts)
        list.push_back(ToUtf8(text));
    return list;
}

std::vector<std::wstring> TextsFromJson(const json& list) {
    std::vector<std::wstring> texts;
    for (const std::string& text : list.get<std::vector<std::string>>())
        texts.push_back(FromUtf8(text));
    return texts;
}

[[noreturn]] void RefuseToWrite(const std::wstring& path) {
    throw CCommandError(ExitCode::Failed, L"'" + path + L"' cannot be written: " + DescribeCode(GetLastError()) +
                                              L"; see that its folder may be written");
}
} // namespace

std::wstring WatchRecordPath() {
    wchar_t folder[MAX_PATH] = L"";
    const HRESULT hr = SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, folder);
    if (FAILED(hr))
        throw CCommandError(ExitCode::Failed, L"the user has no folder for application data: " +
                                                  DescribeCode(static_cast<unsigned long>(hr)));
    const std::wstring path = std::wstring(folder) + RecordFolder;
    SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
    return path + RecordName;
}

CWatchRecord ReadWatchRecord(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    CWatchRecord record;
    try {
        const json value = json::parse(text);
        record.watching = value.at("watching").get<bool>();
        record.checkpoints = TextsFromJson(value.at("checkpoints"));
        record.asked = TextsFromJson(value.at("asked"));
    } catch (const json::exception&) {
        return {};
    }
    return record;
}

void WriteWatchRecord(const std::wstring& path, const CWatchRecord& record) {
    const std::string text = json{
        {"watching", record.watching},
        {"checkpoints", ToJson(record.checkpoints)},
        {"asked",
         ToJson(record.asked)}}.dump(2, ' ', true);
    const std::wstring fresh = path + L".new";
    {
        const CUniqueHandle file(
            CreateFileW(fresh.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD written = 0;
        if (!file || WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE ||
            FlushFileBuffers(file.Get()) == FALSE)
            RefuseToWrite(fresh);
    }
    if (MoveFileExW(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == FALSE)
        RefuseToWrite(path);
}
