#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <unordered_map>
#include <vector>

namespace Korvane {

/// Paths in their order. Each folder is held once, and names lie side by side: a million paths in some folders take
/// little more than their names.
class PathList {
public:
    PathList() = default;
    PathList(std::initializer_list<std::string> paths) {
        for (const std::string& path : paths) push_back(path);
    }

    void push_back(const std::string& path);
    void clear() { *this = PathList(); }
    std::size_t size() const { return ends_.size(); }
    bool empty() const { return ends_.empty(); }
    std::string operator[](std::size_t index) const;

    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = std::string;
        using difference_type = std::ptrdiff_t;
        using pointer = const std::string*;
        using reference = std::string;

        Iterator(const PathList& list, std::size_t index) : list_(&list), index_(index) {}
        std::string operator*() const { return (*list_)[index_]; }
        Iterator& operator++() {
            ++index_;
            return *this;
        }
        bool operator==(const Iterator& other) const { return index_ == other.index_; }
        bool operator!=(const Iterator& other) const { return index_ != other.index_; }

    private:
        const PathList* list_;
        std::size_t index_;
    };
    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size()}; }

private:
    std::vector<std::string> folders_;  // with their last separators
    std::unordered_map<std::string, std::uint32_t> places_;
    std::vector<std::uint32_t> folderOf_;
    std::vector<std::uint64_t> ends_;  // of the names in the text; each begins where the one before ends
    std::string names_;
};

inline bool operator==(const PathList& list, const std::vector<std::string>& paths) {
    return std::vector<std::string>(list.begin(), list.end()) == paths;
}

}  // namespace Korvane
