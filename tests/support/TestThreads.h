#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

#include "operations/PartRunner.h"

namespace korvane_test {

/// Runs parts on so many threads of its own, or, with one, on the caller's from the last to the first.
inline qvox::PartRunner RunOnThreads(unsigned threads) {
    return [threads](std::size_t count, const std::function<void(std::size_t)>& part) {
        if (threads <= 1) {
            for (std::size_t i = count; i-- > 0;) part(i);
            return;
        }
        std::atomic<std::size_t> next{0};
        const auto serve = [&] {
            for (std::size_t i = next++; i < count; i = next++) part(i);
        };
        std::vector<std::thread> helpers;
        for (unsigned i = 0; i < threads; ++i) helpers.emplace_back(serve);
        for (std::thread& helper : helpers) helper.join();
    };
}

/// Calls check(threads, run) with runners of 1, 2 and 3 threads.
template <typename Check>
void ForEachNumberOfThreads(Check check) {
    for (const unsigned threads : {1u, 2u, 3u}) check(threads, RunOnThreads(threads));
}

}  // namespace korvane_test
