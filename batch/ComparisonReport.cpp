#include "ComparisonReport.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>

#include "FigureData.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

std::string Decimals(double value, int decimals, const char* undefined) {
    if (std::isnan(value)) return undefined;
    std::array<char, 64> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
    return std::string(text.data(), end.ptr);
}

/// A score or a count of a tally; the columns of every table.
struct Column {
    const char* name;
    const char* key;
    double (*value)(const Tally& tally);
    int decimals;
};

const std::array<Column, 11> kColumns{{
    {"true", "true", [](const Tally& t) { return static_cast<double>(t.TrueObjects()); }, 0},
    {"matched", "matched", [](const Tally& t) { return static_cast<double>(t.matched); }, 0},
    {"missed", "missed", [](const Tally& t) { return static_cast<double>(t.missed); }, 0},
    {"false", "false", [](const Tally& t) { return static_cast<double>(t.extra); }, 0},
    {"split", "split", [](const Tally& t) { return static_cast<double>(t.split); }, 0},
    {"merged", "merged", [](const Tally& t) { return static_cast<double>(t.merged); }, 0},
    {"precision", "precision", Precision, 3},
    {"recall", "recall", Recall, 3},
    {"F1", "f1", [](const Tally& t) { return FScore(t); }, 3},
    {"mean IoU", "mean_iou", MeanIou, 3},
    {"PQ", "pq", PanopticQuality, 3},
}};

struct Totals {
    Tally inside;
    Tally atEdge;
    std::vector<DiameterPair> diameters;
};

Totals TotalsOf(const ComparisonReport& report) {
    Totals totals;
    for (const ComparedImage& image : report.images) {
        totals.inside += image.comparison.inside;
        totals.atEdge += image.comparison.atEdge;
        const std::vector<DiameterPair>& pairs = image.comparison.diameters;
        totals.diameters.insert(totals.diameters.end(), pairs.begin(), pairs.end());
    }
    return totals;
}

void AddTextRow(std::string& text, const std::string& name, std::size_t width, const Tally& tally) {
    text += name + std::string(width - name.size(), ' ');
    for (const Column& column : kColumns) {
        const std::string cell = Decimals(column.value(tally), column.decimals, "-");
        const std::size_t cells = std::max<std::size_t>(std::string(column.name).size(), 5);
        text += "  " + std::string(cells > cell.size() ? cells - cell.size() : 0, ' ') + cell;
    }
    text += "\n";
}

std::string ScoresText(const ComparisonReport& report, const Totals& totals) {
    std::size_t width = std::string("at the edge").size();
    for (const ComparedImage& image : report.images) width = std::max(width, image.path.size());
    std::string text(width, ' ');
    for (const Column& column : kColumns) {
        const std::string name = column.name;
        text += "  " + std::string(name.size() < 5 ? 5 - name.size() : 0, ' ') + name;
    }
    text += "\n";
    for (const ComparedImage& image : report.images) AddTextRow(text, image.path, width, image.comparison.inside);
    AddTextRow(text, "all", width, totals.inside);
    AddTextRow(text, "at the edge", width, totals.atEdge);
    return text;
}

std::string AgreementText(const Totals& totals) {
    const Agreement agreement = DiameterAgreement(totals.diameters);
    if (agreement.count == 0) return "";
    std::string text = "Diameter, found - true: bias " + Decimals(agreement.biasNm, 2, "-") + " nm";
    if (agreement.count > 1) {
        text += ", limits of agreement " + Decimals(agreement.lowerNm, 2, "-") + " to " +
                Decimals(agreement.upperNm, 2, "-") + " nm";
    }
    return text + " (" + std::to_string(agreement.count) + " matched).\n";
}

/// As RFC 4180 has it.
std::string CsvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

std::string AgreementCsv(const std::vector<DiameterPair>& pairs) {
    const Agreement agreement = DiameterAgreement(pairs);
    std::string text = "," + std::to_string(agreement.count);
    for (const double value : {agreement.biasNm, agreement.lowerNm, agreement.upperNm}) {
        text += "," + Decimals(value, 3, "");
    }
    return text;
}

std::string CsvRow(const std::string& name, const Tally& inside, const Tally& atEdge,
                   const std::vector<DiameterPair>& pairs) {
    std::string row = CsvField(name);
    for (const Column& column : kColumns) {
        row += "," + Decimals(column.value(inside), column.decimals == 0 ? 0 : 6, "");
    }
    row += AgreementCsv(pairs);
    for (const std::size_t count : {atEdge.matched, atEdge.missed, atEdge.extra}) row += "," + std::to_string(count);
    return row + "\n";
}

/// One object of the list of objects; indices as in the comparison.
struct ObjectRow {
    const char* result;
    std::optional<std::size_t> truth;
    std::optional<std::size_t> found;
    double iou;
    std::optional<FaultyStage> stage;
};

std::vector<ObjectRow> ObjectRows(const ComparedImage& image) {
    const ObjectMatching& matching = image.comparison.matching;
    const double none = std::nan("");
    std::vector<ObjectRow> rows;
    for (const ObjectMatch& match : matching.matches) {
        rows.push_back({"matched", match.truth, match.found, match.iou, {}});
    }
    for (std::size_t i = 0; i < matching.missed.size(); ++i) {
        rows.push_back({"missed", matching.missed[i], {}, none, {}});
        if (image.stages) rows.back().stage = image.stages->missed[i];
    }
    for (std::size_t i = 0; i < matching.extra.size(); ++i) {
        rows.push_back({"false", {}, matching.extra[i], none, {}});
        if (image.stages) rows.back().stage = image.stages->extra[i];
    }
    return rows;
}

bool IsAtEdge(const LabelComparison& comparison, const ObjectRow& row) {
    if (row.truth) return comparison.objects.truth[*row.truth].place == ObjectPlace::kAtEdge;
    return FoundAtEdge(comparison.objects, *row.found);
}

/// "Missed: 3 never a candidate, 1 filtered out." of the objects away from the edge whose stages are known.
std::string MistakesText(const ComparisonReport& report, const std::string& result, const char* title,
                         const char* (*textOf)(FaultyStage)) {
    std::map<FaultyStage, std::size_t> counts;
    for (const ComparedImage& image : report.images) {
        for (const ObjectRow& row : ObjectRows(image)) {
            if (row.result == result && row.stage && !IsAtEdge(image.comparison, row)) ++counts[*row.stage];
        }
    }
    std::string text;
    for (const auto& [stage, count] : counts) {
        text += (text.empty() ? std::string(title) + ": " : ", ") + std::to_string(count) + " " + textOf(stage);
    }
    return text.empty() ? text : text + ".\n";
}

std::string LabelText(const std::vector<EvaluatedObject>& objects, const std::optional<std::size_t>& index) {
    return index ? std::to_string(objects[*index].label) : std::string();
}

Json NumberOrNull(double value) { return std::isnan(value) ? Json(nullptr) : Json(value); }

Json TallyJson(const Tally& tally) {
    Json json;
    for (const Column& column : kColumns) {
        const double value = column.value(tally);
        json[column.key] = column.decimals == 0 ? Json(static_cast<std::size_t>(value)) : NumberOrNull(value);
    }
    return json;
}

Json AgreementJson(const std::vector<DiameterPair>& pairs) {
    const Agreement agreement = DiameterAgreement(pairs);
    return {{"count", agreement.count},
            {"biasNm", NumberOrNull(agreement.biasNm)},
            {"lowerLimitNm", NumberOrNull(agreement.lowerNm)},
            {"upperLimitNm", NumberOrNull(agreement.upperNm)}};
}

Json ObjectsJson(const ComparedImage& image) {
    Json list = Json::array();
    const LabelOverlaps& objects = image.comparison.objects;
    for (const ObjectRow& row : ObjectRows(image)) {
        Json json;
        json["result"] = row.result;
        json["trueLabel"] = row.truth ? Json(objects.truth[*row.truth].label) : Json(nullptr);
        json["foundLabel"] = row.found ? Json(objects.found[*row.found].label) : Json(nullptr);
        json["iou"] = NumberOrNull(row.iou);
        json["atEdge"] = IsAtEdge(image.comparison, row);
        json["stage"] = row.stage ? Json(StageWord(*row.stage)) : Json(nullptr);
        list.push_back(json);
    }
    return list;
}

}  // namespace

std::string ComparisonText(const ComparisonReport& report) {
    const Totals totals = TotalsOf(report);
    return ScoresText(report, totals) + AgreementText(totals) +
           MistakesText(report, "missed", "Missed", MissedText) +
           MistakesText(report, "false", "False", ExtraText);
}

std::string ComparisonCsv(const ComparisonReport& report) {
    std::string text = "image";
    for (const Column& column : kColumns) text += std::string(",") + column.key;
    text += ",diameters,bias_nm,lower_limit_nm,upper_limit_nm,edge_matched,edge_missed,edge_false\n";
    for (const ComparedImage& image : report.images) {
        const LabelComparison& comparison = image.comparison;
        text += CsvRow(image.path, comparison.inside, comparison.atEdge, comparison.diameters);
    }
    const Totals totals = TotalsOf(report);
    return text + CsvRow("all", totals.inside, totals.atEdge, totals.diameters);
}

std::string ComparedObjectsCsv(const ComparisonReport& report) {
    std::string text = "image,result,true_label,found_label,iou,at_edge,stage\n";
    for (const ComparedImage& image : report.images) {
        const LabelOverlaps& objects = image.comparison.objects;
        for (const ObjectRow& row : ObjectRows(image)) {
            text += CsvField(image.path) + "," + row.result + "," + LabelText(objects.truth, row.truth) + "," +
                    LabelText(objects.found, row.found) + "," + Decimals(row.iou, 6, "") + "," +
                    (IsAtEdge(image.comparison, row) ? "1" : "0") + "," + (row.stage ? StageWord(*row.stage) : "") +
                    "\n";
        }
    }
    return text;
}

std::string ComparisonJson(const ComparisonReport& report) {
    const Totals totals = TotalsOf(report);
    Json json;
    json["threshold"] = report.threshold;
    json["all"] = TallyJson(totals.inside);
    json["atEdge"] = TallyJson(totals.atEdge);
    json["diameter"] = AgreementJson(totals.diameters);
    json["images"] = Json::array();
    for (const ComparedImage& image : report.images) {
        Json entry;
        entry["path"] = image.path;
        entry["scores"] = TallyJson(image.comparison.inside);
        entry["atEdge"] = TallyJson(image.comparison.atEdge);
        entry["diameter"] = AgreementJson(image.comparison.diameters);
        if (!image.stages) entry["stagesUnknown"] = image.whyNoStages;
        entry["objects"] = ObjectsJson(image);
        json["images"].push_back(entry);
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Figure AgreementFigure(const ComparisonReport& report) {
    const std::vector<DiameterPair> pairs = TotalsOf(report).diameters;
    const Agreement agreement = DiameterAgreement(pairs);
    FigureData data;
    data.BeginBlock({"mean_nm", "difference_nm"});
    for (const DiameterPair& pair : pairs) {
        data.Row({(pair.trueNm + pair.foundNm) / 2.0, pair.foundNm - pair.trueNm});
    }
    Figure figure;
    figure.name = "diameter_agreement";
    figure.settings = "set xlabel " + GnuplotString("Mean of true and found diameter (nm)") + " noenhanced\n" +
                      "set ylabel " + GnuplotString("Found - true diameter (nm)") + " noenhanced\n" +
                      "set key outside below\n";
    figure.plot = "plot DATA index 0 using 1:2 with points linetype 1 title " +
                  GnuplotString(std::to_string(pairs.size()) + " matched objects");
    const auto line = [&figure](double value, const std::string& name, const char* type) {
        if (std::isnan(value)) return;
        figure.plot += ", " + GnuplotNumber(value) + " with lines linetype " + type + " title " +
                       GnuplotString(name + " " + Decimals(value, 2, "") + " nm");
    };
    line(agreement.biasNm, "bias", "2");
    line(agreement.lowerNm, "lower limit", "3");
    line(agreement.upperNm, "upper limit", "4");
    figure.plot += "\n";
    figure.data = data.Text();
    return figure;
}

}  // namespace Korvane
