#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "support/TemporaryFolder.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;

const std::map<std::string, std::string> kPageOf{{"MANUAL.md", "manual.html"},
                                                 {"BATCH.md", "batch.html"},
                                                 {"MEASUREMENTS.md", "measurements.html"},
                                                 {"PIXEL_SIZES.md", "pixel_sizes.html"}};

const fs::path kDocuments = korvane_test::SourceFile("docs");

std::string Bytes(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::set<std::string> FilesBelow(const fs::path& folder) {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) files.insert(fs::relative(entry.path(), folder).string());
    }
    return files;
}

/// The values of an attribute wherever the page has it, in the page's order.
std::vector<std::string> Values(const pugi::xml_document& page, const char* attributes) {
    std::vector<std::string> values;
    for (const pugi::xpath_node& node : page.select_nodes(attributes)) {
        values.emplace_back(node.attribute().value());
    }
    return values;
}

std::set<std::string> ImagesOf(const std::string& document) {
    const std::string text = Bytes(kDocuments / document);
    const std::regex image(R"(!\[[^\]]*\]\(([^)]+)\))");
    std::set<std::string> images;
    for (std::sregex_iterator match(text.begin(), text.end(), image); match != std::sregex_iterator(); ++match) {
        images.insert((*match)[1].str());
    }
    return images;
}

class ManualPages : public testing::Test {
protected:
    void SetUp() override {
        if (std::string(KORVANE_PANDOC).find("pandoc") == std::string::npos) GTEST_SKIP() << "pandoc is not installed";
        for (const auto& [document, file] : kPageOf) {
            const pugi::xml_parse_result result = pages_[file].load_file((kPages / file).c_str());
            ASSERT_TRUE(result) << file << ": " << result.description() << " at " << result.offset;
        }
    }

    const fs::path kPages = KORVANE_MANUAL_PAGES;
    std::map<std::string, pugi::xml_document> pages_;
};

TEST_F(ManualPages, EachHasATitleAStyleSheetAndAContentsListOfItsHeadings) {
    for (const auto& [file, page] : pages_) {
        EXPECT_EQ(page.select_nodes("//h1").size(), 1u) << file;
        EXPECT_STRNE(page.select_node("//title").node().child_value(), " - Korvane") << file;
        for (const std::string& style : Values(page, "//link[@rel='stylesheet']/@href")) {
            EXPECT_EQ(Bytes(kPages / style), Bytes(kDocuments / "html" / style)) << file;
        }
        EXPECT_EQ(page.select_nodes("//link[@rel='stylesheet']").size(), 1u) << file;

        std::vector<std::string> headings;
        for (const std::string& id : Values(page, "//*[self::h2 or self::h3]/@id")) headings.push_back("#" + id);
        EXPECT_GT(headings.size(), 1u) << file;
        EXPECT_EQ(Values(page, "//nav[@class='contents']//a/@href"), headings) << file;
        EXPECT_EQ(Values(page, "//nav[@class='pages']//a/@href").size(), kPageOf.size()) << file;
        EXPECT_EQ(Values(page, "//nav[@class='pages']//a[@aria-current]/@href"), std::vector<std::string>{file});
    }
}

TEST_F(ManualPages, ShowEveryImageOfTheirDocumentsAndHoldNoOther) {
    std::set<std::string> all;
    for (const auto& [document, file] : kPageOf) {
        const std::set<std::string> wanted = ImagesOf(document);
        const std::vector<std::string> shown = Values(pages_[file], "//img/@src");
        EXPECT_EQ(std::set<std::string>(shown.begin(), shown.end()), wanted) << file;
        EXPECT_EQ(Values(pages_[file], "//img/@alt").size(), shown.size()) << file;
        for (const std::string& image : wanted) EXPECT_EQ(Bytes(kPages / image), Bytes(kDocuments / image)) << image;
        all.insert(wanted.begin(), wanted.end());
    }
    EXPECT_GT(all.size(), 10u);
    std::set<std::string> held;
    for (const std::string& file : FilesBelow(kPages)) {
        if (fs::path(file).extension() == ".png") held.insert(file);
    }
    EXPECT_EQ(held, all);
}

TEST_F(ManualPages, EveryLinkLeadsToAPlaceInThem) {
    std::map<std::string, std::set<std::string>> places;
    for (const auto& [file, page] : pages_) {
        for (const std::string& id : Values(page, "//@id")) {
            EXPECT_TRUE(places[file].insert(id).second) << file << " has two places named " << id;
        }
    }
    int across = 0;
    for (const auto& [file, page] : pages_) {
        for (const std::string& link : Values(page, "//main//a/@href")) {
            if (link.rfind("https://", 0) == 0) continue;
            const std::size_t hash = link.find('#');
            const std::string target = hash == 0 ? file : link.substr(0, hash);
            ASSERT_EQ(places.count(target), 1u) << file << " links to " << link;
            if (hash != link.npos) {
                EXPECT_EQ(places[target].count(link.substr(hash + 1)), 1u) << file << " links to " << link;
            }
            across += target != file ? 1 : 0;
        }
    }
    EXPECT_GT(across, 3);
}

TEST_F(ManualPages, NameTheProgramsAndNotTheScriptsOfTheSourceFolder) {
    for (const auto& [file, page] : pages_) {
        const std::string text = Bytes(kPages / file);
        for (const char* script : {"./run", "./test", "docs/make_"}) {
            EXPECT_EQ(text.find(script), text.npos) << file << " speaks of " << script;
        }
    }
}

TEST_F(ManualPages, AreTheSameBytesWhereverAndWheneverTheyAreMade) {
    const korvane_test::TemporaryFolder folder;
    const fs::path again = fs::path(folder.Path()) / "made again";
    const std::string command = "cd / && env LC_ALL=C TZ=Asia/Tokyo PANDOC='" KORVANE_PANDOC "' '" +
                                (kDocuments / "make_manual").string() + "' '" + again.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    const std::set<std::string> files = FilesBelow(again);
    EXPECT_EQ(files, FilesBelow(kPages));
    for (const std::string& file : files) EXPECT_EQ(Bytes(again / file), Bytes(kPages / file)) << file;
    for (const auto& [file, page] : pages_) {
        EXPECT_EQ(Bytes(kPages / file).find(kDocuments.parent_path().string()), std::string::npos) << file;
    }
}

}  // namespace
