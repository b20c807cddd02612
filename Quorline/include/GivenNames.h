#pragma once

// Which counters of a document's name a store has given away itself. They stay taken, whether a script has saved its
// copy or deleted it since, and the disk need not be asked about them:
//
//     given.Add(L"Report", 0);
//     given.FirstFree(L"Report", 0); // 1
//
// A counter of 0 stands for the name without one.

#include <map>
#include <string>

class CGivenNames {
public:
    void Add(const std::wstring& name, unsigned counter);

    /// The first counter from this one on that was not given away; 0 when there is none above it.
    unsigned FirstFree(const std::wstring& name, unsigned counter) const;

private:
    struct LessNoCase {
        bool operator()(const std::wstring& left, const std::wstring& right) const;
    };
    using Ranges = std::map<unsigned, unsigned>; ///< the first and the last of neighbours

    std::map<std::wstring, Ranges, LessNoCase> m_names;
};
