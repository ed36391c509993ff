#include "WorkQueue.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace Korvane {

void RunJobs(std::size_t count, unsigned workers, const std::function<bool()>& stop,
             const std::function<void(std::size_t)>& work) {
    std::atomic<std::size_t> next{0};
    const auto serve = [&] {
        while (!stop()) {
            const std::size_t index = next.fetch_add(1);
            if (index >= count) return;
            work(index);
        }
    };
    std::vector<std::thread> helpers;
    const std::size_t wanted = std::min<std::size_t>(workers, count);
    try {
        while (helpers.size() + 1 < wanted) helpers.emplace_back(serve);
    } catch (const std::system_error&) {
        // Fewer threads only make the run longer.
    }
    serve();
    for (std::thread& helper : helpers) helper.join();
}

}  // namespace Korvane
