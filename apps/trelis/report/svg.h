#pragma once

#include <iterator>
#include <string>
#include <vector>

#include <fmt/format.h>

#include <trelis/contour/glyph.h>

namespace app::report {

/// Appends path data through the points, each moved by `place`, with `decimals` after the point.
template <typename Place>
void appendPath(const std::vector<EdgePoint>& points, bool closed, int decimals, const Place& place,
                std::string& data) {
    char command = 'M';
    for (const EdgePoint& point : points) {
        const EdgePoint at = place(point);
        fmt::format_to(std::back_inserter(data), "{}{:.{}f} {:.{}f}", command, at.x, decimals, at.y,
                       decimals);
        command = 'L';
    }
    if (closed && !points.empty()) {
        data += 'Z';
    }
}

/// Path data of closed contours.
template <typename Place>
std::string pathOf(const Glyph& contours, int decimals, const Place& place) {
    std::string data;
    for (const std::vector<EdgePoint>& contour : contours) {
        appendPath(contour, true, decimals, place, data);
    }
    return data;
}

}  // namespace app::report
