#pragma once

// The same done to many things by a few threads at once. Reading thousands of small files is mostly waiting, for the
// disk or for whoever looks after it.
//
//     ShareWork(stores.size(), [&](CIndexes& indexes) {
//         while (const auto index = indexes.Next())
//             Read(stores[*index]);
//     });

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>

/// Gives each index below the count to one of those who ask. Any thread.
class CIndexes {
public:
    explicit CIndexes(std::size_t count) : m_count(count) {}

    std::optional<std::size_t> Next() noexcept {
        const std::size_t index = m_next++;
        return index < m_count ? std::optional(index) : std::nullopt;
    }

private:
    const std::size_t m_count;
    std::atomic<std::size_t> m_next{0};
};

/// Returns when all threads have, the caller's among them; for few things it is the only one. The threads act as the
/// process. What one of them throws is thrown here, when the others have done the rest.
void ShareWork(std::size_t count, const std::function<void(CIndexes&)>& work);
