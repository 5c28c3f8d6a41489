#include <trelis/mlc/leaf_configuration.h>

#include <cstddef>
#include <span>

#include <trelis/mlc/tandem.h>

namespace NMLC {

namespace {

/// The layer that is equivalent to the two of the dual-layer family; millimetres.
constexpr int kFineLeafPairs = 56;
constexpr double kFirstFineCentre = -137.5;
constexpr double kFineWidth = 5.0;
constexpr float kFineLimit = 140.0F;

constexpr double kHalfPi = 1.5707963267948966;

std::unique_ptr<LeafConfiguration> make5mmLeaves(const LeafConfiguration& twoLayers) {
    auto fine = std::make_unique<LeafConfiguration>(kFineLeafPairs, MLCType::Generic,
                                                    twoLayers.GetMinimumLeafGap(), true);
    for (int i = 0; i < kFineLeafPairs; ++i) {
        LeafPair& pair = fine->GetLeafPair(i);
        pair.centre = static_cast<float>(kFirstFineCentre + kFineWidth * i);
        pair.width = static_cast<float>(kFineWidth);
        for (Leaf& leaf : pair.leaves) {
            leaf.unscaledMinimum = -kFineLimit;
            leaf.unscaledMaximum = kFineLimit;
        }
    }
    return fine;
}

/// The layer that has the leaf pairs with these indices.
std::unique_ptr<LeafConfiguration> makeLayer(const LeafConfiguration& twoLayers,
                                             std::span<const int> pairs) {
    auto layer = std::make_unique<LeafConfiguration>(static_cast<int>(pairs.size()),
                                                     MLCType::Generic, 0.0F, true);
    for (const int pair : pairs) {
        if (pair < twoLayers.GetLeafPairCount()) {
            LeafPair& copy = layer->GetLeafPair(pair - pairs.front());
            copy.centre = twoLayers.GetLeafPair(pair).centre;
            copy.width = twoLayers.GetLeafPair(pair).width;
        }
    }
    return layer;
}

}  // namespace

LeafConfiguration::LeafConfiguration(int leafPairCount, MLCType type, float minimumLeafGap,
                                     bool ruleSetFlag)
    : minimumLeafGap_(minimumLeafGap), ruleSetFlag_(ruleSetFlag), type_(type) {
    SetParallelWithYJaws(false);
    ResizeLeafPairs(leafPairCount);
}

LeafConfiguration::~LeafConfiguration() = default;

void LeafConfiguration::ResizeLeafPairs(int count) {
    leafPairs_.resize(static_cast<std::size_t>(count));
    for (LeafPair& pair : leafPairs_) {
        for (Leaf& leaf : pair.leaves) {
            leaf.scaler = &scaler_;
        }
    }
}

void LeafConfiguration::SetParallelWithYJaws(bool parallel) {
    parallelWithYJaws_ = parallel;
    mlcToBeam_.Identity();
    if (parallel) {
        mlcToBeam_.RotateZ(-kHalfPi);
    } else {
        mlcToBeam_.SetUnitAxisY(-mlcToBeam_.GetUnitAxisY());
    }
}

template <typename Make>
const LeafConfiguration* LeafConfiguration::derive(Derived& derived, const Make& make) const {
    if (!HasTwoLayers()) {
        return nullptr;
    }
    std::call_once(derived.once, [&] { derived.configuration = make(); });
    return derived.configuration.get();
}

const LeafConfiguration* LeafConfiguration::Get5mmLeafConfiguration() const {
    return derive(fiveMm_, [this] { return make5mmLeaves(*this); });
}

const LeafConfiguration* LeafConfiguration::GetDistalLeafConfiguration() const {
    return derive(distal_, [this] { return makeLayer(*this, Tandem::s_distalLeafPairs); });
}

const LeafConfiguration* LeafConfiguration::GetProximalLeafConfiguration() const {
    return derive(proximal_, [this] { return makeLayer(*this, Tandem::s_proximalLeafPairs); });
}

}  // namespace NMLC
