#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include <trelis/export.h>
#include <trelis/mlc/mlc_types.h>

namespace NMLC {

/// The positions of the two leaves of a pair along the leaf travel, in millimetres; 0 at first.
/// Every write rounds to the nearest 0.01, halves up. Banks are not checked.
class LeafPositionPair {
  public:
    float GetPosition(Bank bank) const { return positions_[static_cast<int>(bank)]; }
    TRELIS_API void SetPosition(Bank bank, float position);

    /// Sets the position; the other leaf is pushed along, so that the two touch, where they would
    /// cross.
    TRELIS_API void PushToPosition(Bank bank, float position);

    /// Moves both leaves to one position.
    TRELIS_API void CloseAt(float position);
    void Zero() { *this = LeafPositionPair(); }

    /// `Right` minus `Left`: below 0 when the leaves overlap.
    double GetGap() const {
        return static_cast<double>(positions_[1]) - static_cast<double>(positions_[0]);
    }

    /// Whether the leaves overlap by `LeafPositionEpsilon` or more.
    bool HasCollision() const { return -GetGap() >= kEpsilon; }
    /// Whether the gap is above `gap` less `LeafPositionEpsilon`.
    bool HasGap(double gap) const { return GetGap() > gap - kEpsilon; }
    /// Whether gap and overlap are below `LeafPositionEpsilon`.
    bool IsClosed() const { return std::abs(GetGap()) < kEpsilon; }
    /// Whether gap and overlap are below `gap` + 0.01: this tolerance, intended, is another one.
    bool IsClosed(double gap) const { return std::abs(GetGap()) < gap + 0.01; }

    /// Whether both positions differ by less than `LeafPositionEpsilon`.
    TRELIS_API bool operator==(const LeafPositionPair& other) const;

  private:
    static constexpr auto kEpsilon = static_cast<double>(LeafPositionEpsilon);

    float positions_[2] = {0.0F, 0.0F};
};

/// The leaf positions of one segment, or control point, in the order of the leaf pairs of a
/// configuration. A plain value. Indices are not checked.
class LeafPositions {
  public:
    LeafPositions() = default;
    /// That many pairs at 0. Throws what std::vector throws for a count that is negative or too
    /// large, as `Resize` does.
    explicit LeafPositions(int count) : pairs_(static_cast<std::size_t>(count)) {}

    /// Drops pairs at the end or appends pairs at 0.
    void Resize(int count) { pairs_.resize(static_cast<std::size_t>(count)); }
    void Clear() { pairs_.clear(); }
    /// Moves all leaves to 0.
    TRELIS_API void Zero();

    int GetLeafPairCount() const { return static_cast<int>(pairs_.size()); }
    LeafPositionPair& GetLeafPair(std::size_t i) { return pairs_[i]; }
    const LeafPositionPair& GetLeafPair(std::size_t i) const { return pairs_[i]; }

    /// All pairs in order.
    auto begin() { return pairs_.begin(); }
    auto begin() const { return pairs_.begin(); }
    auto end() { return pairs_.end(); }
    auto end() const { return pairs_.end(); }

    /// Whether every pair is closed, as it is without pairs.
    TRELIS_API bool IsClosed() const;

    /// Whether there are as many pairs and each equals its counterpart.
    TRELIS_API bool operator==(const LeafPositions& other) const;

    /// Writes a table of all positions with `TrelisTrace`.
    TRELIS_API void trace() const;

  private:
    std::vector<LeafPositionPair> pairs_;
};

}  // namespace NMLC
