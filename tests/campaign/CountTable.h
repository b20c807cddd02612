#pragma once

// The table of counts that a campaign ends with:
//
//     CCountTable table({"calls", "succeeded", "failed"});
//     ++table["GetNew"][0];
//     table.Print();

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

class CCountTable {
public:
    using CCounts = std::vector<unsigned long long>;

    explicit CCountTable(std::vector<std::string> columns) : m_columns(std::move(columns)) {}

    /// The row of that name; new ones come last.
    CCounts& operator[](const std::string& name) {
        for (auto& [known, counts] : m_rows)
            if (known == name)
                return counts;
        return m_rows.emplace_back(name, CCounts(m_columns.size())).second;
    }

    unsigned long long Sum(std::size_t column) const {
        unsigned long long sum = 0;
        for (const auto& [name, counts] : m_rows)
            sum += counts[column];
        return sum;
    }

    void Print() const {
        CCounts sums(m_columns.size());
        std::printf("%-40s", "");
        for (const std::string& column : m_columns)
            std::printf(" %12s", column.c_str());
        std::printf("\n");
        for (const auto& [name, counts] : m_rows) {
            PrintRow(name, counts);
            for (std::size_t i = 0; i < sums.size(); ++i)
                sums[i] += counts[i];
        }
        PrintRow("all", sums);
        std::fflush(stdout);
    }

private:
    static void PrintRow(const std::string& name, const CCounts& counts) {
        std::printf("%-40s", name.c_str());
        for (const unsigned long long count : counts)
            std::printf(" %12llu", count);
        std::printf("\n");
    }

    std::vector<std::string> m_columns;
    std::vector<std::pair<std::string, CCounts>> m_rows;
};
