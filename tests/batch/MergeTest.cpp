#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "batch/MergeFixture.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

TEST_F(Merge, TablesOfShardsAreThoseOfARunOverAllImages) {
    Run({"detect", "-o", File("out"), "--table", File("t{}.txt"), "--csv", File("c{}.csv")});
    ASSERT_NE(Contents(File("c0.csv")).find("d,1.tif"), std::string::npos);
    const std::vector<std::string> labels{"--labels", File("out"), "--labels", File("out/b")};
    const ProgramResult csv = MergeInto(File("all.csv"), Parts("c", ".csv"), With(All(), labels));
    EXPECT_EQ(csv.status, 0) << csv.messages;
    EXPECT_EQ(Contents(File("all.csv")), Contents(File("c0.csv")));
    // The record of the subfolder is found without being named.
    const ProgramResult table = MergeInto(File("all.txt"), Parts("t", ".txt"), With(All(), {"--labels", File("out")}));
    EXPECT_EQ(table.status, 0) << table.messages;
    EXPECT_EQ(Contents(File("all.txt")), Contents(File("t0.txt")));
    // Without the images they come in natural order, which is that of the run here.
    EXPECT_EQ(MergeInto(File("natural.csv"), Parts("c", ".csv")).status, 0);
    EXPECT_EQ(Contents(File("natural.csv")), Contents(File("c0.csv")));

    const ProgramResult again = MergeInto(File("all.csv"), Parts("c", ".csv"));
    EXPECT_EQ(again.status, 2);
    EXPECT_NE(again.messages.find("exists already; --overwrite replaces it."), std::string::npos) << again.messages;
    EXPECT_EQ(MergeInto(File("all.csv"), Parts("c", ".csv"), {"--overwrite"}).status, 0);

    const ProgramResult unsure = MergeInto(File("unsure.csv"), Parts("c", ".csv"), All());
    EXPECT_EQ(unsure.status, 1);
    EXPECT_NE(
        unsure.messages.find("'" + File("in/b/z.tif") + "' has no rows: it is missing, or has no object. --labels"),
        std::string::npos)
        << unsure.messages;
    EXPECT_FALSE(fs::exists(File("unsure.csv")));
}

TEST_F(Merge, ATableThatLacksImagesOrHasThemTwiceIsNotWritten) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")});
    const std::vector<std::string> labels{"--labels", File("out"), "--labels", File("out/b")};
    const std::string whole = Contents(File("c0.csv"));
    const std::size_t second = whole.find(File("in/a10.tif"));
    ASSERT_NE(second, std::string::npos);
    std::ofstream(File("first.csv"), std::ios::binary) << whole.substr(0, second);
    std::ofstream(File("rest.csv"), std::ios::binary) << whole.substr(0, whole.find('\n') + 1) << whole.substr(second);

    const ProgramResult missing = MergeInto(File("m.csv"), {File("rest.csv")}, With(All(), labels));
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.messages.find("error: '" + File("in/a2.tif") + "' is missing, although its labels were made.\n"),
              std::string::npos)
        << missing.messages;
    EXPECT_EQ(missing.messages.find("z.tif"), std::string::npos) << "has no object, and is not missing";
    const ProgramResult twice = MergeInto(File("m.csv"), {File("c0.csv"), File("first.csv")});
    EXPECT_EQ(twice.status, 1);
    EXPECT_NE(twice.messages.find("error: '" + File("in/a2.tif") + "' is in '" + File("c0.csv") + "' and in '" +
                                  File("first.csv") + "'.\n"),
              std::string::npos)
        << twice.messages;
    const ProgramResult other = MergeInto(File("m.csv"), {File("c0.csv")}, {"--images", File("in/b")});
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.messages.find("'" + File("in/a2.tif") + "' of '" + File("c0.csv") + "' is none of the images."),
              std::string::npos)
        << other.messages;
    EXPECT_FALSE(fs::exists(File("m.csv")));
    std::ofstream(File("x.csv")) << "image,other\n";
    EXPECT_NE(MergeInto(File("m.csv"), {File("c0.csv"), File("x.csv")}).messages.find("has other columns than"),
              std::string::npos);
    std::ofstream(File("y.csv")) << "name,other\n";
    EXPECT_NE(MergeInto(File("m.csv"), {File("y.csv")}).messages.find("is neither a measurement table nor"),
              std::string::npos);
}

TEST_F(Merge, LabelsOfOtherParametersAreRefused) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")}, 0);
    ASSERT_EQ(
        RunProgram({"detect", "--overwrite", "--exosome-size", "1.2", "-o", File("out"), File("in/a2.tif")}).status, 0);
    const ProgramResult run =
        MergeInto(File("m.csv"), {File("c0.csv")}, {"--labels", File("out"), "--labels", File("out/b")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("were made in another way than those of"), std::string::npos) << run.messages;
    EXPECT_NE(run.messages.find("exosome size"), std::string::npos) << run.messages;
    EXPECT_FALSE(fs::exists(File("m.csv")));
    // Once they are corrected, how they were made says nothing about them.
    std::ofstream(File("out/seg_a2.tif"), std::ios::binary | std::ios::app) << 'x';
    EXPECT_EQ(MergeInto(File("m.csv"), {File("c0.csv")}, {"--labels", File("out"), "--labels", File("out/b")}).status,
              0);
}

TEST_F(Merge, LabelsThatWereCorrectedAwayAreNotMissed) {
    Run({"detect", "-o", File("out")}, 0);
    qvox::LabelImage none;
    qvox::LoadImageFile(File("out/seg_a2.tif"), none, qvox::StoredValues());
    const qvox::LabelImage found = none;
    std::fill(none.begin(), none.end(), std::uint16_t{0});
    qvox::SaveImageFile(File("out/seg_a2.tif"), none);
    Run({"measure", "--labels", File("out"), "--csv", File("c{}.csv")});
    const ProgramResult run = MergeInto(File("m.csv"), Parts("c", ".csv"), With(All(), {"--labels", File("out")}));
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("m.csv")), Contents(File("c0.csv")));
    EXPECT_EQ(Contents(File("m.csv")).find("a2.tif"), std::string::npos);
    // Corrected labels that do have objects ought to have rows.
    qvox::SaveImageFile(File("out/seg_a2.tif"), found);
    std::ofstream(File("out/seg_a2.tif"), std::ios::binary | std::ios::app) << 'x';
    const ProgramResult late = MergeInto(File("n.csv"), Parts("c", ".csv"), With(All(), {"--labels", File("out")}));
    EXPECT_EQ(late.status, 1);
    EXPECT_NE(late.messages.find("a2.tif' is missing, although its labels were made."), std::string::npos)
        << late.messages;
}

TEST_F(Merge, ATableThatWasCutOffIsRefused) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")}, 0);
    const std::string whole = Contents(File("c0.csv"));
    std::ofstream(File("cut.csv"), std::ios::binary) << whole.substr(0, whole.size() - 20);
    const ProgramResult run = MergeInto(File("m.csv"), {File("cut.csv")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.messages.find("cut.csv' ends in the middle of a row: it was cut off."), std::string::npos)
        << run.messages;
    EXPECT_FALSE(fs::exists(File("m.csv")));
}

TEST_F(Merge, FindsTheRecordsOfImagesThatWereMoved) {
    // Two images of one name: the folders tell them apart.
    fs::copy(File("in/a2.tif"), File("in/b/a2.tif"));
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")}, 0);
    fs::rename(File("in"), File("moved/in"));
    const std::vector<std::string> known{"--images", File("moved/in"), "--recursive", "--labels", File("out")};
    const ProgramResult old = MergeInto(File("m.csv"), {File("c0.csv")}, known);
    EXPECT_EQ(old.status, 1);
    EXPECT_NE(old.messages.find("is none of the images. It is not there any more: if it was moved, measure writes"),
              std::string::npos)
        << old.messages;
    ASSERT_EQ(
        RunProgram({"measure", "--recursive", "--labels", File("out"), "--csv", File("new.csv"), File("moved/in")})
            .status,
        0);
    const ProgramResult run = MergeInto(File("m.csv"), {File("new.csv")}, known);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("m.csv")), Contents(File("new.csv")));
    // An image that is really new has no labels, whatever its name is.
    qvox::SaveImageFile(File("moved/in/new/a99.tif"), Vesicles(1));
    const ProgramResult more = MergeInto(File("more.csv"), {File("new.csv")}, known);
    EXPECT_NE(more.messages.find("a99.tif' is missing: no record tells of its labels."), std::string::npos)
        << more.messages;
}

TEST_F(Merge, TablesOfFoldersComeInTheOrderOfARun) {
    // Its images come after those of the folder that it lies in, and before those of b.
    for (const char* const name : {"in/a/n1.tif", "in/a/n2.tif", "in/a/n3.tif", "in/a/n4.tif"}) {
        fs::copy(File("in/a2.tif"), File(name));
    }
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")});
    EXPECT_EQ(MergeInto(File("natural.csv"), Parts("c", ".csv")).status, 0);
    EXPECT_EQ(Contents(File("natural.csv")), Contents(File("c0.csv")));
    // A list instead of folders; --recursive is then for the labels.
    const ProgramResult all = RunThere({"info", "--json", "--recursive", "in"});
    const nlohmann::json known = nlohmann::json::parse(all.output);
    std::ofstream list(File("list.txt"));
    for (const nlohmann::json& image : known.at("images")) list << image.at("path").get<std::string>() << "\n";
    list.close();
    const ProgramResult run = MergeInto(File("listed.csv"), Parts("c", ".csv"),
                                        {"--files-from", File("list.txt"), "--labels", File("out"), "--recursive"});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("listed.csv")), Contents(File("c0.csv")));
    EXPECT_EQ(
        MergeInto(File("listed.csv"), Parts("c", ".csv"), {"--files-from", File("list.txt"), "--recursive"}).status, 2);
}

TEST_F(Merge, RowsThatWereMeasuredWithOtherOptionsAreRefused) {
    Run({"detect", "-o", File("out")}, 0);
    const auto merged = [this](const std::vector<std::string>& first, const std::vector<std::string>& second) {
        for (const int part : {1, 2}) {
            std::vector<std::string> arguments{"measure",
                                               "--recursive",
                                               "--overwrite",
                                               "--labels",
                                               File("out"),
                                               "--csv",
                                               File("m" + std::to_string(part) + ".csv"),
                                               "--shard",
                                               std::to_string(part) + "/2"};
            arguments = With(With(arguments, part == 1 ? first : second), {"in"});
            EXPECT_EQ(RunThere(arguments).status, 0);
        }
        return MergeInto(File("all.csv"), {File("m1.csv"), File("m2.csv")}, {"--overwrite"});
    };
    const ProgramResult size = merged({}, {"--pixel-size", "3"});
    EXPECT_EQ(size.status, 1);
    EXPECT_NE(size.messages.find("m2.csv' are measured with --pixel-size 3, the first ones of whole images with the "
                                 "pixel sizes that they store.\n"),
              std::string::npos)
        << size.messages;
    EXPECT_EQ(merged({"--pixel-size", "3"}, {"--pixel-size", "3.5"}).status, 1);
    EXPECT_EQ(merged({"--pixel-size", "3"}, {"--pixel-size", "3"}).status, 0);
    // It is of no use where images store one.
    EXPECT_EQ(merged({"--pixel-size-if-missing", "3"}, {"--pixel-size-if-missing", "4"}).status, 0);
}

TEST_F(Merge, TakesLabelsThatWereDrawnByHand) {
    Run({"detect", "-o", File("out")}, 0);
    // One image with labels, one without objects, and a folder in which nothing was detected.
    fs::copy(File("in/a2.tif"), File("in/b/e.tif"));
    fs::copy(File("out/seg_a2.tif"), File("out/b/seg_e.tif"));
    fs::copy(File("in/b/z.tif"), File("in/b/f.tif"));
    fs::copy(File("out/b/seg_z.tif"), File("out/b/seg_f.tif"));
    fs::copy(File("in/a2.tif"), File("in/c/g.tif"));
    fs::copy(File("out/seg_a2.tif"), File("out/c/seg_g.tif"));
    const auto measured = [this](const std::string& table) {
        return RunProgram({"measure", "--recursive", "--labels", File("out"), "--csv", File(table), File("in")});
    };
    ASSERT_EQ(measured("m.csv").status, 0);
    const std::string table = Contents(File("m.csv"));
    ASSERT_NE(table.find("g.tif"), std::string::npos);
    const std::vector<std::string> known = With(All(), {"--labels", File("out")});
    const ProgramResult run = MergeInto(File("all.csv"), {File("m.csv")}, known);
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(Contents(File("all.csv")), table);
    const ProgramResult records = MergeInto(File("all"), {File("out"), File("out/b")}, All());
    EXPECT_EQ(records.status, 0) << records.messages;

    // A folder of labels without any record is enough; one without labels is none.
    const ProgramResult drawn =
        MergeInto(File("c.csv"), {File("m.csv")}, {"--labels", File("out/c"), "--labels", File("out"), "--recursive"});
    EXPECT_EQ(drawn.status, 0) << drawn.messages;
    fs::create_directory(File("bare"));
    const ProgramResult bare = MergeInto(File("bare.csv"), {File("m.csv")}, {"--labels", File("bare")});
    EXPECT_EQ(bare.status, 1);
    EXPECT_NE(bare.messages.find("The folder '" + File("bare") + "' holds neither labels nor a record of any."),
              std::string::npos)
        << bare.messages;

    const std::size_t rows = table.find(File("in/c/g.tif"));
    std::ofstream(File("less.csv"), std::ios::binary) << table.substr(0, rows);
    fs::remove(File("out/b/seg_f.tif"));
    const ProgramResult less = MergeInto(File("all2.csv"), {File("less.csv")}, known);
    EXPECT_EQ(less.status, 1);
    EXPECT_NE(less.messages.find("g.tif' is missing, although it has labels: '" + File("out") + "/"), std::string::npos)
        << less.messages;
    EXPECT_NE(less.messages.find("f.tif' is missing: no record tells of its labels."), std::string::npos)
        << less.messages;
}

TEST_F(Merge, ATableGoesToTheStandardOutput) {
    Run({"detect", "-o", File("out"), "--csv", File("c{}.csv")});
    const ProgramResult run = MergeInto("-", Parts("c", ".csv"), {"--quiet"});
    EXPECT_EQ(run.status, 0) << run.messages;
    EXPECT_EQ(run.output, Contents(File("c0.csv")));
    EXPECT_TRUE(run.messages.empty()) << run.messages;
    EXPECT_FALSE(fs::exists("-"));
    const ProgramResult records = MergeInto("-", {File("out")});
    EXPECT_EQ(records.status, 2);
    EXPECT_NE(records.messages.find("Only tables can go to the standard output"), std::string::npos)
        << records.messages;
}

}  // namespace

}  // namespace korvane_test
