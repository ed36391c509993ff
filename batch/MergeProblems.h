#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Korvane {

/// Why parts do not make a whole. Only the first of each kind are kept: a million images may be missing.
class MergeProblems {
public:
    void Add(const std::string& kind, const std::string& text) {
        for (Kind& known : kinds_) {
            if (known.name != kind) continue;
            if (++known.count <= kTold) texts_.push_back(text);
            return;
        }
        kinds_.push_back({kind, 1});
        texts_.push_back(text);
    }
    bool Empty() const { return texts_.empty(); }
    /// One each, and for the kinds of which there are more than those their number.
    std::vector<std::string> Texts() const {
        std::vector<std::string> texts = texts_;
        for (const Kind& kind : kinds_) {
            if (kind.count > kTold) texts.push_back(std::to_string(kind.count) + " images " + kind.name + " in all.");
        }
        return texts;
    }

private:
    static constexpr std::size_t kTold = 10;
    struct Kind {
        std::string name;
        std::size_t count;
    };
    std::vector<Kind> kinds_;
    std::vector<std::string> texts_;
};

}  // namespace Korvane
