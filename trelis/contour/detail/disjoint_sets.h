#pragma once

#include <cstddef>
#include <numeric>
#include <vector>

namespace trelis::detail {

/// A division of 0 to count - 1 into sets, at first of one each.
class DisjointSets {
  public:
    explicit DisjointSets(std::size_t count) : parents_(count) {
        std::iota(parents_.begin(), parents_.end(), std::size_t{0});
    }

    /// The same number for all of a set.
    std::size_t find(std::size_t i) const {
        while (parents_[i] != i) {
            i = parents_[i];
        }
        return i;
    }

    void join(std::size_t a, std::size_t b) { parents_[find(a)] = find(b); }

  private:
    std::vector<std::size_t> parents_;
};

}  // namespace trelis::detail
