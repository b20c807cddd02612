#include "ScriptExecution/InfoFileBytes.h"

void CInfoFileBytes::Begin(std::string_view head) {
    if (std::string_view(m_bytes).substr(0, m_headSize) != head)
        m_kept.clear();
    if (m_kept.empty()) {
        m_bytes = head;
        m_headSize = head.size();
    }
}

void CInfoFileBytes::SetRecords(CRecords records, const CAppend& append) {
    std::size_t same = 0;
    while (same < m_kept.size() && same < records.size() && records[same]->GetRevision() != 0 &&
           records[same]->GetRevision() == m_kept[same].revision)
        ++same;
    m_kept.resize(same);
    m_bytes.resize(same == 0 ? m_headSize : m_kept.back().end);

    for (std::size_t i = same; i < records.size(); ++i) {
        const std::size_t before = m_bytes.size();
        append(*records[i], m_bytes);
        m_kept.push_back({records[i]->GetRevision(), m_bytes.size()});
        // Those that follow are about as long, and a text of this size is better not moved.
        if (i == same)
            m_bytes.reserve(before + (m_bytes.size() - before + 32) * (records.size() - same));
    }
}
