#include "WorkQueue.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace Korvane {

unsigned UsableProcessors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    // The fixed-size mask is refused on machines of more than 1024 processors; the count of all is then as good.
    if (sched_getaffinity(0, sizeof(set), &set) == 0) return static_cast<unsigned>(std::max(1, CPU_COUNT(&set)));
    return std::max(1u, std::thread::hardware_concurrency());
}

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
