#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

#include <trelis/trelis.h>

namespace {

using NMLC::Bank;
using NMLC::LeafPositions;
using Jaws = NControlPoint::Collimator;

/// 60 leaf pairs of 5 mm, of a type whose jaws follow the open pairs.
class Head : public NMLC::LeafConfiguration {
  public:
    Head() : LeafConfiguration(60, NMLC::MLCType::Type3, 0.5F, true) {
        for (int i = 0; i < GetLeafPairCount(); ++i) {
            NMLC::LeafPair& pair = GetLeafPair(i);
            pair.centre = static_cast<float>(5.0 * i - 147.5);
            pair.width = 5.0F;
            for (NMLC::Leaf& leaf : pair.leaves) {
                leaf.unscaledMinimum = -200.0F;
                leaf.unscaledMaximum = 200.0F;
            }
        }
        SetMaxLeafSpan(Bank::Left, 150.0F);
        SetMaxLeafSpan(Bank::Right, 150.0F);
        xJawMargin = 5.0F;
    }
};

/// A target that bends round something on its left, with a hole.
Glyph targetWithHole() {
    Glyph outlines(2);
    for (int i = 0; i < 200; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / 200;
        const double c = std::cos(angle);
        const double y = 56.0 * std::sin(angle);
        outlines[0].push_back({46.0 * c * c + 26.0 * c + 0.15 * y - 34.0, y});
        outlines[1].push_back({7.0 * c + 14.0, 0.2 * y + 8.0});
    }
    return outlines;
}

double openArea(const Head& head, const LeafPositions& positions) {
    double area = 0.0;
    for (int i = 0; i < head.GetLeafPairCount(); ++i) {
        area += static_cast<double>(head.GetLeafPair(i).width) *
                positions.GetLeafPair(static_cast<std::size_t>(i)).GetGap();
    }
    return area;
}

/// Draws in the beam's frame, whose y runs down the page as that of a picture does. That of the
/// collimator runs up and is what the axis shows.
class BeamsEyeView {
  public:
    BeamsEyeView(const std::string& path, const Head& head) : svg_(path), head_(head) {
        svg_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"860\" height=\"788\" "
                "viewBox=\"-110 -88 215 197\" font-family=\"sans-serif\" font-size=\"4.2\" "
                "fill=\"#263238\">\n<clipPath id=\"view\">";
        addBox(-kWidth, -kHeight, kWidth, kHeight, "");
        svg_ << "</clipPath>\n";
        addBox(-110, -88, 105, 109, "fill=\"#ffffff\"");
        svg_ << "<g clip-path=\"url(#view)\">\n";
        addBox(-kWidth, -kHeight, kWidth, kHeight, kBeam);
    }

    void addTarget(const Glyph& outlines) {
        svg_ << "<path " << kTarget << " fill-rule=\"evenodd\" d=\"";
        for (const std::vector<EdgePoint>& contour : outlines) {
            char command = 'M';
            for (const EdgePoint& point : contour) {
                const auto p = head_.GetMLCToBeamTransform().TransformEdgePoint(point);
                svg_ << command << p.x << ' ' << p.y;
                command = 'L';
            }
            svg_ << 'Z';
        }
        svg_ << "\"/>\n";
    }

    /// Leaf by leaf, from the tips in the outline of the bank.
    void addBank(const LeafPositions& positions, Bank bank) {
        std::vector<EdgePoint> outline;
        NMLC::GetBankOutline(positions, head_, 0.0, bank, outline, 1.0);
        const bool isLeft = bank == Bank::Left;
        for (std::size_t i = 0; i < outline.size() / 2; i += 2) {
            addBox(outline[i].x, outline[i].y, isLeft ? -kFar : kFar, outline[i + 1].y,
                   isLeft ? kLeftBank : kRightBank);
        }
    }

    void addJaws(const Jaws& jaws) {
        addBox(-kFar, -kFar, jaws.X1, kFar, kJaw);
        addBox(jaws.X2, -kFar, kFar, kFar, kJaw);
        addBox(-kFar, -jaws.Y1, kFar, kFar, kJaw);
        addBox(-kFar, -kFar, kFar, -jaws.Y2, kJaw);
    }

    void addAxesAndLegend(const Jaws& jaws) {
        for (int mm = -90; mm <= 90; mm += 10) {
            addBox(mm, -kFar, mm, kFar, kGrid);
            addBox(-kFar, mm, kFar, mm, kGrid);
        }
        svg_ << "</g>\n";
        addBox(-kWidth, -kHeight, kWidth, kHeight,
               "fill=\"none\" stroke=\"#263238\" stroke-width=\"0.4\"");
        for (int mm = -80; mm <= 80; mm += 20) {
            addText(mm, kHeight + 6.0, "middle", std::to_string(mm));
            if (std::abs(mm) < kHeight) {
                addText(-kWidth - 1.5, 1.5 - mm, "end", std::to_string(mm));
            }
        }
        addText(jaws.X1, -kHeight - 2.0, "middle", "X1");
        addText(jaws.X2, -kHeight - 2.0, "middle", "X2");
        addText(kWidth + 2.0, 1.5 - jaws.Y1, "start", "Y1");
        addText(kWidth + 2.0, 1.5 - jaws.Y2, "start", "Y2");
        addText(0.0, kHeight + 12.0, "middle", "x along the leaves, mm");
        svg_ << "<g transform=\"translate(-105 0) rotate(-90)\">";
        addText(0.0, 0.0, "middle", "y across the leaves, mm");
        svg_ << "</g>\n";
        addKey(-90.0, kTarget, "target");
        addKey(-60.0, kBeam, "beam");
        addKey(-32.0, kLeftBank, "left bank");
        addKey(3.0, kRightBank, "right bank");
        addKey(42.0, kJaw, "jaws, over the leaves");
        svg_ << "</svg>\n";
    }

  private:
    void addBox(double x1, double y1, double x2, double y2, const std::string& style) {
        svg_ << "<path d=\"M" << x1 << ' ' << y1 << 'H' << x2 << 'V' << y2 << 'H' << x1 << "Z\" "
             << style << "/>\n";
    }

    void addText(double x, double y, const std::string& anchor, const std::string& text) {
        svg_ << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\">"
             << text << "</text>\n";
    }

    void addKey(double x, const std::string& style, const std::string& text) {
        // The target is translucent and lies over the beam.
        addBox(x, kHeight + 18.0, x + 6.0, kHeight + 23.0, kBeam);
        addBox(x, kHeight + 18.0, x + 6.0, kHeight + 23.0, style);
        addText(x + 8.0, kHeight + 22.0, "start", text);
    }

    static constexpr double kWidth = 95.0;
    static constexpr double kHeight = 80.0;
    static constexpr double kFar = 300.0;
    static constexpr const char* kBeam = "fill=\"#fff3c4\"";
    static constexpr const char* kTarget =
        "fill=\"#d81b60\" fill-opacity=\"0.35\" stroke=\"#ad1457\" stroke-width=\"0.9\"";
    static constexpr const char* kLeftBank =
        "fill=\"#5b8db8\" stroke=\"#e3edf5\" stroke-width=\"0.25\"";
    static constexpr const char* kRightBank =
        "fill=\"#6fa287\" stroke=\"#e6f2ec\" stroke-width=\"0.25\"";
    static constexpr const char* kJaw =
        "fill=\"#263238\" fill-opacity=\"0.4\" stroke=\"#263238\" stroke-width=\"0.5\"";
    static constexpr const char* kGrid =
        "fill=\"none\" stroke=\"#263238\" stroke-width=\"0.1\" stroke-opacity=\"0.6\"";

    std::ofstream svg_;
    const Head& head_;
};

}  // namespace

/// Fits a collimator to a target in each mode and brings its jaws, which stand as an earlier field
/// left them, into agreement. With a folder as argument, draws the beam's-eye view.
int main(int argc, char** argv) {
    const Head head;
    const Glyph target = targetWithHole();
    LeafPositions positions;
    for (const auto& [mode, name] : {std::pair(NMLC::OpenLeavesMeetingPoint::Inside, "inside"),
                                     std::pair(NMLC::OpenLeavesMeetingPoint::Outside, "outside"),
                                     std::pair(NMLC::OpenLeavesMeetingPoint::Middle, "middle")}) {
        NMLC::FitLeaves(target, head, mode, NMLC::ClosedLeavesMeetingPoint::Left, positions, 1.0,
                        1.0);
        int first = 0;
        int last = 0;
        NMLC::GetApertureStartAndEndLeafPairs(positions, first, last);
        std::printf("%-8s pairs %d to %d open, %6.1f mm2, the others closed at %.2f\n", name, first,
                    last, openArea(head, positions),
                    static_cast<double>(positions.GetLeafPair(0).GetPosition(Bank::Left)));
    }

    Jaws jaws{-30.0, 30.0, -75.0, 75.0};
    const bool changed =
        NMLC::CorrectCollimatorJawPositions(head, positions, {}, jaws, false, false, false);
    std::printf("jaws %s: X %.2f to %.2f, Y %.2f to %.2f\n", changed ? "moved" : "kept", jaws.X1,
                jaws.X2, jaws.Y1, jaws.Y2);

    if (argc > 1) {
        BeamsEyeView view(std::string(argv[1]) + "/fit_collimator.svg", head);
        view.addBank(positions, Bank::Left);
        view.addBank(positions, Bank::Right);
        view.addTarget(target);
        view.addJaws(jaws);
        view.addAxesAndLegend(jaws);
    }
    return 0;
}
