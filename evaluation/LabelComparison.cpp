#include "LabelComparison.h"

#include "operations/Shape.h"

namespace Korvane {

namespace {

/// Both tallies of a matching.
struct Tallies {
    Tally inside;
    Tally atEdge;

    Tally& At(ObjectPlace place) { return place == ObjectPlace::kInside ? inside : atEdge; }
};

Tallies CountMatching(const LabelOverlaps& objects, const ObjectMatching& matching) {
    Tallies tallies;
    const auto foundPlace = [&](std::size_t found) {
        return FoundAtEdge(objects, found) ? ObjectPlace::kAtEdge : ObjectPlace::kInside;
    };
    for (const ObjectMatch& match : matching.matches) {
        Tally& tally = tallies.At(objects.truth[match.truth].place);
        ++tally.matched;
        tally.iouSum += match.iou;
    }
    for (const std::size_t truth : matching.missed) ++tallies.At(objects.truth[truth].place).missed;
    for (const std::size_t found : matching.extra) ++tallies.At(foundPlace(found)).extra;
    for (const std::size_t truth : matching.split) ++tallies.At(objects.truth[truth].place).split;
    for (const std::size_t found : matching.merged) ++tallies.At(foundPlace(found)).merged;
    return tallies;
}

}  // namespace

LabelComparison CompareLabels(const qvox::LabelImage& truth, const qvox::LabelImage& found, double threshold) {
    LabelComparison comparison;
    comparison.objects = FindOverlaps(truth, found);
    comparison.matching = MatchObjects(comparison.objects, threshold);
    Tallies tallies = CountMatching(comparison.objects, comparison.matching);
    comparison.inside = tallies.inside;
    comparison.atEdge = tallies.atEdge;
    const qvox::PixelResolution perUm = found.Resolution();
    if (!(perUm.x > 0.0f) || !(perUm.y > 0.0f)) return comparison;
    const double pixelNm2 = 1e6 / (static_cast<double>(perUm.x) * static_cast<double>(perUm.y));
    const auto diameterNm = [pixelNm2](const EvaluatedObject& object) {
        return qvox::EquivalentDiameter(static_cast<double>(object.pixels) * pixelNm2);
    };
    for (const ObjectMatch& match : comparison.matching.matches) {
        const EvaluatedObject& object = comparison.objects.truth[match.truth];
        if (object.place == ObjectPlace::kAtEdge) continue;
        comparison.diameters.push_back({diameterNm(object), diameterNm(comparison.objects.found[match.found])});
    }
    return comparison;
}

Tally TallyInside(const LabelOverlaps& objects, double threshold) {
    return CountMatching(objects, MatchObjects(objects, threshold)).inside;
}

}  // namespace Korvane
