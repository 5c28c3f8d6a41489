#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <trelis/export.h>
#include <trelis/foundation/matrix.h>
#include <trelis/mlc/mlc_types.h>

namespace NMLC {

/// The travel limits of one leaf. A copy refers to the same scaler as the original: that of the
/// configuration which holds the original and must outlive the copy. For the same reason, fill the
/// leaves of a configuration member by member: an assigned leaf brings its own scaler along.
struct Leaf {
    float unscaledMinimum = 0.0F;
    float unscaledMaximum = 0.0F;
    /// The scaler of the owning configuration, which sets it; without one the scaler is 1.
    const float* scaler = nullptr;
    /// Free for the application; the library does not read it.
    std::wstring label;

    /// The effective limits: the scaler times the unscaled ones.
    double GetMinPlanPosition() const { return GetScaler() * static_cast<double>(unscaledMinimum); }
    double GetMaxPlanPosition() const { return GetScaler() * static_cast<double>(unscaledMaximum); }

  private:
    double GetScaler() const { return scaler == nullptr ? 1.0 : static_cast<double>(*scaler); }
};

/// A pair of opposing leaves: its place across the leaf travel and the limits of its leaves.
struct LeafPair {
    float centre = 0.0F;
    float width = 0.0F;
    /// By bank, `Left` first.
    std::array<Leaf, 2> leaves;

    Leaf& GetLeaf(Bank bank) { return leaves[static_cast<std::size_t>(bank)]; }
    const Leaf& GetLeaf(Bank bank) const { return leaves[static_cast<std::size_t>(bank)]; }

    /// The edges across the leaf travel. The scaler does not apply to them.
    double GetLowerEdge() const {
        return static_cast<double>(centre) - static_cast<double>(width) * 0.5;
    }
    double GetUpperEdge() const {
        return static_cast<double>(centre) + static_cast<double>(width) * 0.5;
    }
};

/// One collimator head: its leaf pairs in the order of their centres, their limits, and how its
/// frame maps onto that of the beam. A dual-layer configuration holds 57 pairs, the 28 of the
/// distal layer first. It owns its pairs, whose leaves point to its scaler, and the configurations
/// derived from it, and stays where it is: it is neither copied nor moved. Concurrent calls of
/// const members are safe. Indices and banks are not checked.
class LeafConfiguration {
  public:
    /// Makes default leaf pairs, to be filled through `GetLeafPair`. The jaw correction of types 6
    /// to 8 takes a pair whose gap is above `minimumLeafGap` as open, that of types 3 and 5 passes
    /// over pairs at this gap. The flag selects one of two rule sets for the validation of a single
    /// segment. Throws what std::vector throws for a count that is negative or too large.
    TRELIS_API LeafConfiguration(int leafPairCount, MLCType type, float minimumLeafGap,
                                 bool ruleSetFlag);
    TRELIS_API ~LeafConfiguration();
    LeafConfiguration(const LeafConfiguration&) = delete;
    LeafConfiguration& operator=(const LeafConfiguration&) = delete;

    /// How far beyond the aperture's edge the correction places a jaw along the leaf travel, when
    /// the leaves travel along X or along Y.
    float xJawMargin = 0.0F;
    float yJawMargin = 0.0F;

    /// For the jaw correction of `MLCType::Generic` only. The jaws across the leaves stay within
    /// +-`acrossJawLimit` if `limitAcrossJaws` is set and the limit is no NaN. Where one of them is
    /// opened beyond +-`shieldedHalfWidth`, the jaws along the leaf travel close to
    /// `alongJawOverlap` behind the most retracted leaf tip, closed pairs included, or else the
    /// jaws across to +-`shieldedHalfWidth`.
    float acrossJawLimit = 0.0F;
    float shieldedHalfWidth = 0.0F;
    float alongJawOverlap = 0.0F;
    bool limitAcrossJaws = false;

    MLCType GetType() const { return type_; }
    float GetMinimumLeafGap() const { return minimumLeafGap_; }
    bool GetRuleSetFlag() const { return ruleSetFlag_; }

    int GetLeafPairCount() const { return static_cast<int>(leafPairs_.size()); }
    LeafPair& GetLeafPair(int i) { return leafPairs_[static_cast<std::size_t>(i)]; }
    const LeafPair& GetLeafPair(int i) const { return leafPairs_[static_cast<std::size_t>(i)]; }

    /// Drops pairs at the end or appends default ones; lets all leaves point to the scaler.
    /// References to pairs become invalid. Throws as the constructor does.
    TRELIS_API void ResizeLeafPairs(int count);

    /// How far the leaves of a bank may spread apart: 10000 at first, stored without the scaler.
    double GetMaxLeafSpan(Bank bank) const {
        return static_cast<double>(GetMaxLeafSpanUnscaled(bank)) * static_cast<double>(scaler_);
    }
    float GetMaxLeafSpanUnscaled(Bank bank) const { return maxLeafSpan_[static_cast<int>(bank)]; }
    void SetMaxLeafSpan(Bank bank, float span) { maxLeafSpan_[static_cast<int>(bank)] = span; }

    /// How far a leaf of the bank may stand out of its jaw: 10000 at first, never scaled.
    float GetMaxLeafExposure(Bank bank) const { return maxLeafExposure_[static_cast<int>(bank)]; }
    void SetMaxLeafExposure(Bank bank, float exposure) {
        maxLeafExposure_[static_cast<int>(bank)] = exposure;
    }

    /// The factor of all leaf limits and of `GetMaxLeafSpan`, 1 at first.
    float GetScaler() const { return scaler_; }
    void SetScaler(float scaler) { scaler_ = scaler; }

    /// Whether the leaves travel along the beam's Y axis, as the Y jaws do; false at first. Setting
    /// it replaces the transform: by a rotation about Z by -pi/2 for true, by the reflection of Y
    /// for false.
    bool ParallelWithYJaws() const { return parallelWithYJaws_; }
    TRELIS_API void SetParallelWithYJaws(bool parallel);

    /// From the frame of the collimator to that of the beam.
    const MMatrix& GetMLCToBeamTransform() const { return mlcToBeam_; }

    /// Whether this is one of the dual-layer family.
    bool HasTwoLayers() const { return type_ == MLCType::Tandem1 || type_ == MLCType::Tandem2; }

    /// Configurations derived from a dual-layer one, null for every other type. Each is made by the
    /// first call and kept: what changes here later does not reach it. They are generic, with the
    /// rule-set flag set and default spans, exposures, scaler and transform.
    ///
    /// The single layer that stands for both: 56 pairs of 5 mm from -137.5, with the limits -140
    /// and 140 and the minimum leaf gap of this.
    TRELIS_API const LeafConfiguration* Get5mmLeafConfiguration() const;
    /// The layers: pairs 0 to 27 and 28 to 56, their centres and widths only, with a minimum leaf
    /// gap of 0. Pairs that this does not have stay default ones.
    TRELIS_API const LeafConfiguration* GetDistalLeafConfiguration() const;
    TRELIS_API const LeafConfiguration* GetProximalLeafConfiguration() const;

  private:
    struct Derived {
        std::once_flag once;
        std::unique_ptr<LeafConfiguration> configuration;
    };

    template <typename Make>
    const LeafConfiguration* derive(Derived& derived, const Make& make) const;

    float minimumLeafGap_;
    bool ruleSetFlag_;
    MLCType type_;
    std::vector<LeafPair> leafPairs_;
    float maxLeafSpan_[2] = {10000.0F, 10000.0F};
    float maxLeafExposure_[2] = {10000.0F, 10000.0F};
    MMatrix mlcToBeam_;
    bool parallelWithYJaws_ = false;
    float scaler_ = 1.0F;
    mutable Derived fiveMm_;
    mutable Derived distal_;
    mutable Derived proximal_;
};

}  // namespace NMLC
