#pragma once

// The bytes of a store's info file. The file is written whole for each document that is reserved; of thousands of
// records all but the new one are as they were, and what they are in the file is kept from the time before:
//
//     text.Begin(head);
//     text.SetRecords(documents, appendRecord);
//     text.End(tail);
//     Write(text.GetBytes());

#include "InternalSavedDocument.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class CInfoFileBytes {
public:
    /// What stands before the records. Behind another head than the last one nothing is kept.
    void Begin(std::string_view head);

    using CRecords = std::span<const std::unique_ptr<CInternalSavedDocument>>;
    /// Adds the text of a record, which follows from the record alone.
    using CAppend = std::function<void(const CInternalSavedDocument&, std::string&)>;

    /// Made into text are the first record that has changed since the last time, and all behind it.
    void SetRecords(CRecords records, const CAppend& append);

    void End(std::string_view tail) { m_bytes += tail; }

    /// The whole file, until it is begun again.
    std::string_view GetBytes() const { return m_bytes; }

private:
    struct CKeptRecord {
        std::uint64_t revision; ///< of the record when it was made into text
        std::size_t end;        ///< of its text
    };

    std::string m_bytes;
    std::size_t m_headSize = 0;
    std::vector<CKeptRecord> m_kept;
};
