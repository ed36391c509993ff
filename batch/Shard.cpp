#include "Shard.h"

#include <charconv>
#include <optional>

#include "ToolkitError.h"

namespace Korvane {

namespace {

std::optional<std::uint64_t> Whole(const std::string& text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

std::uint64_t Variable(const Environment& environment, const char* name) {
    const char* const text = environment(name);
    if (text == nullptr) {
        throw qvox::ToolkitError(std::string("slurm needs the task of a job array: ") + name + " is not set.");
    }
    const std::optional<std::uint64_t> number = Whole(text);
    if (!number) throw qvox::ToolkitError(std::string(name) + " is not a number: '" + text + "'.");
    return *number;
}

std::uint64_t VariableOr(const Environment& environment, const char* name, std::uint64_t otherwise) {
    return environment(name) == nullptr ? otherwise : Variable(environment, name);
}

/// The tasks of an array are first, first + step, ... last.
Shard ShardOfTask(const Environment& environment) {
    const std::uint64_t task = Variable(environment, "SLURM_ARRAY_TASK_ID");
    const std::uint64_t count = Variable(environment, "SLURM_ARRAY_TASK_COUNT");
    const std::uint64_t first = Variable(environment, "SLURM_ARRAY_TASK_MIN");
    const std::uint64_t step = VariableOr(environment, "SLURM_ARRAY_TASK_STEP", 1);
    const std::uint64_t last = VariableOr(environment, "SLURM_ARRAY_TASK_MAX", first + (count - 1) * step);
    const bool isEven = count > 0 && step > 0 && last == first + (count - 1) * step;
    if (!isEven || task < first || task > last || (task - first) % step != 0) {
        throw qvox::ToolkitError("slurm needs an array of evenly spaced tasks, as 0-15; of task " +
                                 std::to_string(task) + " among " + std::to_string(count) +
                                 " it does not tell the part. Give it as I/N.");
    }
    return {(task - first) / step + 1, count};
}

}  // namespace

bool Shard::Holds(std::uint64_t key) const { return key % count == number - 1; }

Shard ParseShard(const std::string& text, const Environment& environment) {
    if (text == "slurm") return ShardOfTask(environment);
    const std::size_t slash = text.find('/');
    if (slash != std::string::npos) {
        const std::optional<std::uint64_t> number = Whole(text.substr(0, slash));
        const std::optional<std::uint64_t> count = Whole(text.substr(slash + 1));
        if (number && count && *number >= 1 && *number <= *count) return {*number, *count};
    }
    throw qvox::ToolkitError("needs I/N with I from 1 to N, or slurm, not '" + text + "'");
}

}  // namespace Korvane
