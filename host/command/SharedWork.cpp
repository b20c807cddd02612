#include "SharedWork.h"

#include <algorithm>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

namespace {
constexpr std::size_t WorthAThread = 32; // fewer are done before a thread has started
constexpr std::size_t MostThreads = 4;   // who looks after the files has to keep up
} // namespace

void ShareWork(std::size_t count, const std::function<void(CIndexes&)>& work) {
    CIndexes indexes(count);
    const std::size_t threads =
        std::min<std::size_t>({count / WorthAThread, std::thread::hardware_concurrency(), MostThreads});
    std::vector<std::future<void>> others;
    try {
        while (others.size() + 1 < threads)
            others.push_back(std::async(std::launch::async, [&] { work(indexes); }));
    } catch (const std::system_error&) {
        // Those that there are do it.
    }
    work(indexes);
    for (auto& other : others)
        other.get();
}
