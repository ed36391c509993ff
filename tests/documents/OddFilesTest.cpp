// Several hundred odd and malformed TIFF files, where they are at hand, opened as the window opens its files. What
// becomes of them stands in docs/ODD_FILES.md, which must say the same.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "FailureText.h"
#include "ImageLoading.h"
#include "PathText.h"
#include "files/ImageFile.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;

const fs::path kOdd = korvane_test::TestData("odd");

struct Listed {
    std::string name;
    bool readByLibtiff = false;
};

/// The first and fourth columns of the listing: the file, and how the TIFF library's own copying program ended.
std::vector<Listed> ReadListing() {
    std::vector<Listed> files;
    std::ifstream listing(kOdd / "LISTING.tsv");
    std::string line;
    std::getline(listing, line);
    while (std::getline(listing, line)) {
        std::istringstream columns(line);
        std::string column[4];
        for (std::string& text : column) std::getline(columns, text, '\t');
        const bool read = column[3].find("rc=0") <= 1;
        files.push_back({column[0], read});
    }
    return files;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// The row of the document's second table that a kind belongs to.
std::string RowOf(const std::string& kind) {
    if (EndsWith(kind, "grey")) return kind;
    if (kind.find("grey with") != std::string::npos) return "grey with further channels";
    if (EndsWith(kind, "colour palette")) return "colour palette";
    return "colour";
}

/// The row of the document's third table.
std::string CauseOf(const std::string& message) {
    for (const char* cause :
         {"it is empty", "it is not a TIFF file that can be read", "it has too many strips or tiles",
          "the file is truncated", "the picture data are broken or incomplete"}) {
        if (message.find(std::string("': ") + cause) != std::string::npos) return cause;
    }
    return message;
}

struct Count {
    int files = 0;
    int readByLibtiff = 0;
    void Add(const Listed& file) {
        ++files;
        readByLibtiff += file.readByLibtiff ? 1 : 0;
    }
};

class OddFiles : public testing::Test {
protected:
    void SetUp() override {
        KORVANE_NEED_TEST_DATA("odd");
        std::ifstream file(korvane_test::SourceFile("docs/ODD_FILES.md"));
        document_.assign(std::istreambuf_iterator<char>(file), {});
        ASSERT_FALSE(document_.empty());
        for (const Listed& listed : ReadListing()) Open(listed);
    }

    void Open(const Listed& listed) {
        const std::string path = (kOdd / listed.name).string();
        ++all_;
        try {
            const Korvane::Position position = Korvane::LoadPosition(Korvane::PathText(path));
            EXPECT_FALSE(position.image.Empty()) << path;
            EXPECT_TRUE(position.labels.SameSizes(position.image)) << path;
            EXPECT_TRUE(listed.readByLibtiff) << path << " loads although the library does not read it";
            outcomes_["loaded"].Add(listed);
        } catch (const Korvane::UnsupportedPixelType&) {
            const std::string kind = qvox::InspectImageFile(path).typeText;
            kinds_[RowOf(kind)].Add(listed);
            outcomes_["of another kind"].Add(listed);
        } catch (const qvox::ToolkitError& error) {
            const std::string text = error.what();
            EXPECT_NE(text.find(path), std::string::npos) << text;
            EXPECT_FALSE(listed.readByLibtiff) << "the library reads what is refused here: " << text;
            causes_[CauseOf(text)].Add(listed);
            outcomes_["refused"].Add(listed);
        }
    }

    void ExpectInDocument(const std::map<std::string, Count>& rows) {
        for (const auto& [name, count] : rows) {
            const std::string row =
                "| " + name + " | " + std::to_string(count.files) + " | " + std::to_string(count.readByLibtiff) + " |";
            std::printf("%s\n", row.c_str());
            EXPECT_NE(document_.find("\n" + row), std::string::npos) << "docs/ODD_FILES.md lacks: " << row;
        }
    }

    std::string document_;
    int all_ = 0;
    std::map<std::string, Count> outcomes_;
    std::map<std::string, Count> kinds_;
    std::map<std::string, Count> causes_;
};

TEST_F(OddFiles, EndAsTheDocumentSays) {
    EXPECT_EQ(all_, 577);
    ExpectInDocument(outcomes_);
    ExpectInDocument(kinds_);
    ExpectInDocument(causes_);
}

}  // namespace
