#include <trelis/mlc/leaf_positions.h>

#include <algorithm>
#include <cmath>

#include <trelis/foundation/diagnostics.h>

namespace NMLC {

namespace {

float roundToGrid(float position) {
    return static_cast<float>(std::floor(static_cast<double>(position) * 100.0 + 0.5) * 0.01);
}

}  // namespace

void LeafPositionPair::SetPosition(Bank bank, float position) {
    positions_[static_cast<int>(bank)] = roundToGrid(position);
}

void LeafPositionPair::PushToPosition(Bank bank, float position) {
    SetPosition(bank, position);
    auto& [left, right] = positions_;
    if (bank == Bank::Left && left > right) {
        right = left;
    } else if (bank == Bank::Right && left > right) {
        left = right;
    }
}

void LeafPositionPair::CloseAt(float position) {
    SetPosition(Bank::Left, position);
    SetPosition(Bank::Right, position);
}

bool LeafPositionPair::operator==(const LeafPositionPair& other) const {
    const auto isSame = [&](Bank bank) {
        return std::abs(static_cast<double>(GetPosition(bank)) -
                        static_cast<double>(other.GetPosition(bank))) < kEpsilon;
    };
    return isSame(Bank::Left) && isSame(Bank::Right);
}

void LeafPositions::Zero() { std::fill(begin(), end(), LeafPositionPair()); }

bool LeafPositions::IsClosed() const {
    return std::all_of(begin(), end(),
                       [](const LeafPositionPair& pair) { return pair.IsClosed(); });
}

bool LeafPositions::operator==(const LeafPositions& other) const { return pairs_ == other.pairs_; }

void LeafPositions::trace() const {
    TrelisTrace(L">>> >>>>>>>>>>>> >>>>>>>>>>>>\n");
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        TrelisTrace(L"%3Iu %12.6f %12.6f\n", i,
                    static_cast<double>(pairs_[i].GetPosition(Bank::Left)),
                    static_cast<double>(pairs_[i].GetPosition(Bank::Right)));
    }
    TrelisTrace(L"<<< <<<<<<<<<<<< <<<<<<<<<<<<\n");
}

}  // namespace NMLC
