#pragma once

#include <cstddef>
#include <vector>

#include <apps/trelis/study/study.h>

namespace app {

/// Removes contours with the points of an earlier one, wherever they begin and in either direction:
/// each pair would leave a hole. Returns how many there were.
std::size_t removeRepeatedContours(std::vector<std::vector<Vector>>& contours);

/// Looks for contours that cross others in their plane. Those that only touch do not, and what is
/// crossed along less than a 256th of an outline or by less than 0.05 mm may not be found. The time
/// for all searches together is bounded.
class CrossingSearch {
  public:
    bool finds(const std::vector<std::vector<Vector>>& contours);

    /// Whether the time was too short to look at all contours.
    bool isCutShort() const { return isCutShort_; }

  private:
    bool spend(std::size_t points);

    std::size_t remaining_ = 30'000'000;  // points looked at
    bool isCutShort_ = false;
};

}  // namespace app
