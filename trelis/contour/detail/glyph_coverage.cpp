#include <trelis/contour/detail/glyph_coverage.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace trelis::detail {

namespace {

/// Strips between crossings are at least this high, in voxels.
constexpr double kLowestStrip = 1e-9;

/// Neighbouring edges that overlap by less, in voxels, count as ordered: an absolute part and one
/// for the rounding of large coordinates.
constexpr double kOverlapTolerance = 1e-10;
constexpr double kRelativeOverlapTolerance = 1e-12;

/// An edge with its x at the bottom and at the top of a strip.
struct StripEdge {
    const GlyphEdge* edge;
    double bottom;
    double top;
};

/// Sweeps upward in strips that hold no vertex, no row border and no crossing inside. What lies
/// between the edges of such a strip are trapezoids. Each edge adds, with its sign, the area to its
/// right to the squares of the row; for that an array holds the differences between neighbouring
/// squares.
class CoverageSweep {
  public:
    CoverageSweep(const std::vector<GlyphEdge>& edges, int xsize, int ysize)
        : edges_(edges),
          xsize_(xsize),
          ysize_(ysize),
          differences_(static_cast<std::size_t>(xsize) + 1, 0.0),
          firstColumn_(xsize) {
        double largest = 0.0;
        int contours = 0;
        for (const GlyphEdge& edge : edges) {
            largest = std::max({largest, std::fabs(edge.low.x), std::fabs(edge.high.x)});
            contours = std::max(contours, edge.contour + 1);
        }
        tolerance_ = kOverlapTolerance + kRelativeOverlapTolerance * largest;
        windings_.resize(static_cast<std::size_t>(contours), 0);
    }

    void run(const CoverageVisitor& visit) {
        const std::vector<double> borders = stripBorders();
        for (std::size_t i = 1; i < borders.size(); ++i) {
            const double bottom = borders[i - 1];
            const double top = borders[i];
            addStrip(bottom, top);
            if (top == std::floor(top) || i + 1 == borders.size()) {
                finishRow(static_cast<int>(std::ceil(top)) - 1, visit);
            }
        }
    }

  private:
    /// The ordinates of vertices and row borders within the grid, ascending.
    std::vector<double> stripBorders() const {
        std::vector<double> borders;
        if (edges_.empty()) {
            return borders;
        }
        double lowest = edges_.front().low.y;
        double highest = lowest;
        const auto add = [&](double y) {
            if (y > 0.0 && y < ysize_) {
                borders.push_back(y);
            }
        };
        for (const GlyphEdge& edge : edges_) {
            highest = std::max(highest, edge.high.y);
            add(edge.low.y);
            add(edge.high.y);
        }
        const double height = ysize_;
        const double last = std::clamp(std::ceil(highest), 0.0, height);
        for (double y = std::clamp(std::floor(lowest), 0.0, height); y <= last; ++y) {
            borders.push_back(y);
        }
        std::sort(borders.begin(), borders.end());
        borders.erase(std::unique(borders.begin(), borders.end()), borders.end());
        return borders;
    }

    void addStrip(double bottom, double top) {
        std::erase_if(active_, [&](const StripEdge& e) { return e.edge->high.y <= bottom; });
        for (; next_ < edges_.size() && edges_[next_].low.y <= bottom; ++next_) {
            if (edges_[next_].high.y > bottom) {
                active_.push_back({&edges_[next_], 0.0, 0.0});
            }
        }
        if (active_.empty()) {
            return;
        }
        // What is above a crossing waits until what is below it is done.
        waiting_.assign(1, top);
        while (!waiting_.empty()) {
            const double end = waiting_.back();
            order(bottom, end);
            const double crossing = crossingBetween(bottom, end);
            if (crossing < end) {
                waiting_.push_back(crossing);
            } else {
                addTrapezoids(end - bottom);
                bottom = end;
                waiting_.pop_back();
            }
        }
    }

    /// Sorts the edges as they are in the middle of a strip.
    void order(double bottom, double top) {
        for (StripEdge& e : active_) {
            e.bottom = e.edge->xAt(bottom);
            e.top = e.edge->xAt(top);
        }
        // They are nearly in order already, where inserting is fastest.
        for (std::size_t i = 1; i < active_.size(); ++i) {
            const StripEdge e = active_[i];
            std::size_t place = i;
            for (; place > 0 && comesBefore(e, active_[place - 1]); --place) {
                active_[place] = active_[place - 1];
            }
            active_[place] = e;
        }
    }

    static bool comesBefore(const StripEdge& a, const StripEdge& b) {
        const double middleOfA = a.bottom + a.top;
        const double middleOfB = b.bottom + b.top;
        return middleOfA != middleOfB ? middleOfA < middleOfB : a.edge < b.edge;
    }

    /// Where some neighbours cross inside the strip, else its top.
    double crossingBetween(double bottom, double top) const {
        for (std::size_t i = 1; i < active_.size(); ++i) {
            const double below = active_[i].bottom - active_[i - 1].bottom;
            const double above = active_[i].top - active_[i - 1].top;
            if (below < -tolerance_ || above < -tolerance_) {
                const double y = bottom + below / (below - above) * (top - bottom);
                if (y - bottom > kLowestStrip && top - y > kLowestStrip) {
                    return y;
                }
            }
        }
        return top;
    }

    void addTrapezoids(double height) {
        bool inside = false;
        for (const StripEdge& e : active_) {
            int& winding = windings_[static_cast<std::size_t>(e.edge->contour)];
            const bool wasAround = winding != 0;
            winding += e.edge->direction;
            if (wasAround != (winding != 0)) {
                inside = !inside;
                addRightOf(std::min(e.bottom, e.top), std::max(e.bottom, e.top),
                           inside ? height : -height);
            }
        }
        // Not 0 already only where an edge is too flat to count.
        for (const StripEdge& e : active_) {
            windings_[static_cast<std::size_t>(e.edge->contour)] = 0;
        }
    }

    /// Adds the area to the right of an edge that rises by `height` from x = low to x = high.
    void addRightOf(double low, double high, double height) {
        if (low >= xsize_) {
            touch(xsize_ - 1, xsize_ - 1);
            return;
        }
        if (high <= 0.0) {
            touch(0, 0);
            differences_[0] += height;
            return;
        }
        if (low < 0.0) {
            const double cut = height * (-low / (high - low));
            differences_[0] += cut;
            height -= cut;
            low = 0.0;
        }
        if (high > xsize_) {
            height *= (xsize_ - low) / (high - low);
            high = xsize_;
        }
        const int first = static_cast<int>(low);
        const int last = std::min(static_cast<int>(high), xsize_ - 1);
        touch(low > 0.0 ? first : 0, high < xsize_ ? last : xsize_ - 1);
        if (first == last) {
            addInColumn(first, height, (low + high) / 2);
            return;
        }
        const double rise = height / (high - low);
        addInColumn(first, rise * (first + 1 - low), (low + first + 1) / 2);
        for (int column = first + 1; column < last; ++column) {
            addInColumn(column, rise, column + 0.5);
        }
        addInColumn(last, rise * (high - last), (last + high) / 2);
    }

    void addInColumn(int column, double height, double middle) {
        const double toTheLeft = height * (middle - column);
        const auto i = static_cast<std::size_t>(column);
        differences_[i] += height - toTheLeft;
        differences_[i + 1] += toTheLeft;
    }

    void touch(int first, int last) {
        firstColumn_ = std::min(firstColumn_, first);
        lastColumn_ = std::max(lastColumn_, last);
    }

    void finishRow(int row, const CoverageVisitor& visit) {
        if (firstColumn_ > lastColumn_) {
            return;
        }
        const auto first = static_cast<std::size_t>(firstColumn_);
        const auto end = static_cast<std::size_t>(lastColumn_) + 1;
        double covered = 0.0;
        for (std::size_t i = first; i < end; ++i) {
            covered += differences_[i];
            differences_[i] = covered;
        }
        visit(row, firstColumn_, std::span(differences_).subspan(first, end - first));
        std::fill(differences_.begin() + firstColumn_, differences_.begin() + lastColumn_ + 2, 0.0);
        firstColumn_ = xsize_;
        lastColumn_ = -1;
    }

    const std::vector<GlyphEdge>& edges_;
    int xsize_;
    int ysize_;
    double tolerance_;
    std::size_t next_ = 0;           ///< the first edge that the sweep has not reached
    std::vector<StripEdge> active_;  ///< the edges at the strip, by x
    std::vector<double> waiting_;    ///< tops of the parts of a strip, the lowest last
    std::vector<int> windings_;  ///< of each contour, left of the edge at hand; 0 between strips
    std::vector<double> differences_;
    int firstColumn_;
    int lastColumn_ = -1;
};

/// Maps the box around a glyph onto one square.
class UnitSquare {
  public:
    explicit UnitSquare(const Glyph& glyph) {
        for (const std::vector<EdgePoint>& contour : glyph) {
            for (const EdgePoint& p : contour) {
                low_ = {std::min(low_.x, p.x), std::min(low_.y, p.y)};
                high_ = {std::max(high_.x, p.x), std::max(high_.y, p.y)};
            }
        }
    }

    double areaOf(Glyph glyph) const {
        for (std::vector<EdgePoint>& contour : glyph) {
            for (EdgePoint& p : contour) {
                p = {(p.x - low_.x) / (high_.x - low_.x), (p.y - low_.y) / (high_.y - low_.y)};
            }
        }
        double area = 0.0;
        forEachCoveredRow(edgesOf(glyph), 1, 1, [&](int, int, std::span<const double> fractions) {
            area = fractions.front();
        });
        return area;
    }

  private:
    EdgePoint low_{std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    EdgePoint high_{std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
};

}  // namespace

std::vector<GlyphEdge> edgesOf(const Glyph& glyph) {
    constexpr std::size_t kFewestPoints = 3;
    std::vector<GlyphEdge> edges;
    for (std::size_t contour = 0; contour < glyph.size(); ++contour) {
        const std::vector<EdgePoint>& points = glyph[contour];
        if (points.size() < kFewestPoints) {
            continue;
        }
        EdgePoint from = points.back();
        for (const EdgePoint& to : points) {
            const bool rises = from.y < to.y;
            const EdgePoint& low = rises ? from : to;
            const EdgePoint& high = rises ? to : from;
            const double slope = (high.x - low.x) / (high.y - low.y);
            if (std::isfinite(slope)) {
                edges.push_back({low, high, slope, static_cast<int>(contour), rises ? 1 : -1});
            }
            from = to;
        }
    }
    std::stable_sort(edges.begin(), edges.end(),
                     [](const GlyphEdge& a, const GlyphEdge& b) { return a.low.y < b.low.y; });
    return edges;
}

bool isUsable(const EdgePoint& point) {
    constexpr double kLargest = 1e100;
    return std::fabs(point.x) <= kLargest && std::fabs(point.y) <= kLargest;
}

void forEachCoveredRow(const std::vector<GlyphEdge>& edges, int xsize, int ysize,
                       const CoverageVisitor& visit) {
    if (xsize > 0 && ysize > 0) {
        CoverageSweep(edges, xsize, ysize).run(visit);
    }
}

SharedArea sharedArea(const Glyph& first, const Glyph& second) {
    Glyph both = first;
    both.insert(both.end(), second.begin(), second.end());
    const UnitSquare square(both);
    SharedArea areas{square.areaOf(first), square.areaOf(second), 0.0};
    // What is in one of them only is where an odd number of all contours winds around.
    areas.shared = (areas.first + areas.second - square.areaOf(both)) / 2.0;
    return areas;
}

}  // namespace trelis::detail
