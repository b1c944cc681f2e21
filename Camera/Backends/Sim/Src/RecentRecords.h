// The most recent entries of one of a simulated device's records. A device serving a station for
// hours is fetched from millions of times; its records keep what a test looks at without growing,
// and once full a new entry takes the oldest one's place without allocating.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Orvia::Sim::Detail {

template <class T>
class CRecentRecords {
public:
    explicit CRecentRecords(std::size_t limit) : limit_(limit) {}

    // Adds `entry`, in place of the oldest when the record is full; the entry as kept.
    const T& add(T entry) {
        if (entries_.size() < limit_) {
            if (entries_.empty())
                entries_.reserve(limit_);
            entries_.push_back(std::move(entry));
            return entries_.back();
        }
        T& slot = entries_[oldest_];
        slot = std::move(entry);
        oldest_ = (oldest_ + 1) % limit_;
        return slot;
    }
    // Oldest first.
    std::vector<T> list() const {
        std::vector<T> out(entries_.begin() + static_cast<std::ptrdiff_t>(oldest_), entries_.end());
        out.insert(out.end(), entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(oldest_));
        return out;
    }
    void clear() {
        entries_.clear();
        oldest_ = 0;
    }

private:
    std::size_t limit_;
    std::vector<T> entries_;
    std::size_t oldest_ = 0; // where the oldest entry is once the record is full
};

} // namespace Orvia::Sim::Detail
