#include "benchmarks/measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

// Short, so that most turns end before the system lets another program run.
constexpr double kTurnSeconds = 0.0002;

double SecondsOf(const std::function<void()>& work, std::size_t calls) {
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t n = 0; n != calls; ++n)
        work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::size_t CallsPerTurn(const std::function<void()>& work) {
    std::size_t calls = 1;
    for (;;) {
        // Twice: another program may have been running meanwhile.
        const double seconds = std::min(SecondsOf(work, calls), SecondsOf(work, calls));
        if (seconds >= kTurnSeconds / 4)
            return std::max<std::size_t>(
                static_cast<std::size_t>(static_cast<double>(calls) * kTurnSeconds / seconds), 1);
        calls *= 4;
    }
}

} // namespace

double At(double quantile, std::vector<double> values) {
    const auto place = static_cast<std::ptrdiff_t>(quantile * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + place, values.end());
    return values[static_cast<std::size_t>(place)];
}

double Median(std::vector<double> values) {
    return At(0.5, std::move(values));
}

std::vector<double> MedianSeconds(const std::vector<std::function<void()>>& contenders, unsigned rounds,
    const std::function<void()>& beforeTurn) {
    return SecondsAt(0.5, contenders, rounds, beforeTurn);
}

std::vector<double> SecondsAt(double quantile, const std::vector<std::function<void()>>& contenders,
    unsigned rounds, const std::function<void()>& beforeTurn) {
    std::vector<std::size_t> calls;
    for (const auto& work : contenders) {
        beforeTurn();
        calls.push_back(CallsPerTurn(work));
    }
    std::vector<std::vector<double>> seconds(contenders.size());
    for (unsigned round = 0; round != rounds; ++round)
        for (std::size_t n = 0; n != contenders.size(); ++n) {
            beforeTurn();
            seconds[n].push_back(SecondsOf(contenders[n], calls[n]) / static_cast<double>(calls[n]));
        }
    std::vector<double> results;
    results.reserve(seconds.size());
    for (auto& values : seconds)
        results.push_back(At(quantile, std::move(values)));
    return results;
}
