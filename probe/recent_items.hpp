#pragma once

#include <cstddef>
#include <vector>

namespace vantrel::kelvane::probe {

// The last `capacity` items, oldest first, kept in slots that are assigned
// anew instead of allocated: copying an item into a slot reuses the storage of
// the item it replaces (a string's buffer, a vector's elements). A host that
// keeps the last thousand module log lines in a deque frees and allocates one
// long-lived block per line, and those blocks of every age, scattered among
// each scan's short-lived ones, make malloc slower for everything else.
template <class T> class recent_items {
public:
    explicit recent_items(std::size_t capacity) : slots_(capacity == 0 ? 1 : capacity) {}

    void push(const T& item) {
        slots_[(first_ + count_) % slots_.size()] = item;
        if (count_ < slots_.size()) {
            ++count_;
        } else {
            first_ = (first_ + 1) % slots_.size();
        }
    }

    // The items pushed since the last take(), oldest first (at most `capacity`).
    std::vector<T> take() {
        std::vector<T> items;
        items.reserve(count_);
        for (std::size_t i = 0; i < count_; ++i) {
            items.push_back(slots_[(first_ + i) % slots_.size()]);
        }
        first_ = (first_ + count_) % slots_.size();
        count_ = 0;
        return items;
    }

    std::size_t size() const { return count_; }

private:
    std::vector<T> slots_;
    std::size_t first_ = 0; // the oldest item
    std::size_t count_ = 0;
};

} // namespace vantrel::kelvane::probe
