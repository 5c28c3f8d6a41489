#include <trelis/mlc/bank_outline.h>

#include <algorithm>

namespace NMLC {

namespace {

/// How far the back of a leaf lies behind its position; beyond every field. Millimetres.
constexpr double kLeafLength = 5000.0;

/// By how much a leaf reaches under its neighbour, in millimetres.
double tongueWidth(const LeafConfiguration& configuration) {
    switch (configuration.GetType()) {
        case MLCType::Generic:
            return configuration.ParallelWithYJaws() ? 0.0 : 0.33;
        case MLCType::Type4:
            return 0.1;
        case MLCType::Type8:
            return 0.15;
        case MLCType::Type3:
        case MLCType::Type5:
        case MLCType::Type7:
            return 0.5;
        default:
            return 0.0;
    }
}

/// The leaves of one bank in its own frame.
class BankOfLeaves {
  public:
    BankOfLeaves(const LeafPositions& positions, const LeafConfiguration& configuration, Bank bank,
                 double edgeScale)
        : positions_(positions),
          configuration_(configuration),
          bank_(bank),
          edgeScale_(edgeScale),
          tongue_(tongueWidth(configuration)) {}

    int count() const {
        return std::min(positions_.GetLeafPairCount(), configuration_.GetLeafPairCount());
    }

    /// The coordinate along the travel that lies `distance` behind the position of leaf i.
    double behind(int i, double distance) const {
        return bank_ == Bank::Right ? position(i) + distance : position(i) - distance;
    }

    double lowerEdge(int i) const {
        return configuration_.GetLeafPair(i).GetLowerEdge() * edgeScale_;
    }
    double upperEdge(int i) const {
        return configuration_.GetLeafPair(i).GetUpperEdge() * edgeScale_;
    }

    /// How far the boundary between leaves i and i + 1 moves towards i + 1.
    double boundaryShift(int i) const {
        if (i < 0 || i + 1 >= count()) {
            return 0.0;
        }
        const bool nextIsRetracted =
            bank_ == Bank::Right ? position(i + 1) > position(i) : position(i) > position(i + 1);
        return nextIsRetracted ? tongue_ : -tongue_;
    }

  private:
    double position(int i) const {
        return static_cast<double>(
            positions_.GetLeafPair(static_cast<std::size_t>(i)).GetPosition(bank_));
    }

    const LeafPositions& positions_;
    const LeafConfiguration& configuration_;
    Bank bank_;
    double edgeScale_;
    double tongue_;
};

}  // namespace

void GetBankOutline(const LeafPositions& positions, const LeafConfiguration& configuration,
                    double tipOffset, Bank bank, std::vector<EdgePoint>& outline,
                    double edgeScale) {
    const BankOfLeaves leaves(positions, configuration, bank, edgeScale);
    const MMatrix& toBeam = configuration.GetMLCToBeamTransform();
    outline.clear();
    outline.reserve(static_cast<std::size_t>(leaves.count()) * 4);
    const auto emit = [&](double x, double y) {
        const auto point = toBeam.TransformEdgePoint({x, y});
        outline.emplace_back(point.x, point.y);
    };
    for (int i = 0; i < leaves.count(); ++i) {
        const double tip = leaves.behind(i, tipOffset / 2.0);
        emit(tip, leaves.lowerEdge(i) + leaves.boundaryShift(i - 1));
        emit(tip, leaves.upperEdge(i) + leaves.boundaryShift(i));
    }
    for (int i = leaves.count() - 1; i >= 0; --i) {
        const double back = leaves.behind(i, kLeafLength);
        emit(back, leaves.upperEdge(i));
        emit(back, leaves.lowerEdge(i));
    }
}

}  // namespace NMLC
