#pragma once

// Two ways to do one thing, measured in turn in one process, so that whatever else the machine does meets both alike:
//
//     void Search(benchmark::State& state) {
//         CContest contest(state, 1.1);
//         contest.Run([&] { Ours(); }, [&] { Bare(); });
//     }
//
// What has to happen before each, and takes time of its own, is a third function, which is not measured.
//
// Each round does both once, with the order changed from round to round; a round may do them many times, where a single
// one is too short for the clock. The counters are nanoseconds of one of each (the medians of the rounds), the ratio of
// the two, and the goal for it; a row without a goal is only shown. make bench makes its table from them.
//
// A row may also prove what of another one, of the same name and size, is not the library's own: the other side then
// does besides what the platform or the rules ask for. Where that row keeps to the goal, the other one is called
// limited.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

class CContest {
public:
    static constexpr double Shown = 0;   ///< for a goal: none
    static constexpr double Proves = -1; ///< for a goal: none, and what it is beside contains what cannot be spared

    CContest(benchmark::State& state, double goal, int timesPerRound = 1)
        : m_state(state), m_goal(goal), m_times(timesPerRound) {}

    template <class Ours, class Other> void Run(Ours ours, Other other) {
        Run(std::move(ours), std::move(other), [] {});
    }
    template <class Ours, class Other, class Before> void Run(Ours ours, Other other, Before before) {
        const auto timeOurs = [&] {
            before();
            m_ours.push_back(Time(ours));
        };
        bool oursFirst = true;
        for ([[maybe_unused]] auto round : m_state) {
            if (oursFirst)
                timeOurs();
            before();
            m_other.push_back(Time(other));
            if (!oursFirst)
                timeOurs();
            oursFirst = !oursFirst;
        }
        Report();
    }

    /// For what is timed elsewhere: nanoseconds of one.
    void Add(double ours, double other) {
        m_ours.push_back(ours);
        m_other.push_back(other);
    }
    void Report() {
        const double ours = Median(m_ours);
        const double other = Median(m_other);
        m_state.counters["ours"] = ours;
        m_state.counters["other"] = other;
        m_state.counters["ratio"] = ours / other;
        m_state.counters["goal"] = std::max(m_goal, Shown);
        m_state.counters["proves"] = m_goal == Proves ? 1 : 0;
    }

    template <class Action> double Time(Action& action) const {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < m_times; ++i)
            action();
        return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / m_times;
    }

private:
    static double Median(std::vector<double> values) {
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        return *middle;
    }

    benchmark::State& m_state;
    double m_goal;
    int m_times;
    std::vector<double> m_ours;
    std::vector<double> m_other;
};

/// What a row is measured on, made once for all its repetitions, which come one after another; one of a kind at a time.
template <class T> T& FixtureOf(int64_t size) {
    static std::unique_ptr<T> fixture;
    static int64_t made = 0;
    if (!fixture || made != size) {
        fixture.reset();
        fixture = std::make_unique<T>(size);
        made = size;
    }
    return *fixture;
}
