#include "Orvia/Infra/FileFind.h"

#include <gtest/gtest.h>

#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::Infra::CFileFind;

struct Seen {
    std::string path;
    bool directory;
    bool hidden;
    bool operator==(const Seen&) const = default;
};

std::vector<Seen> listAll(const std::string& pattern) {
    std::vector<Seen> seen;
    CFileFind finder;
    if (!finder.findFile(pattern))
        return seen;
    do {
        seen.push_back({finder.getFilePath(), finder.isDirectory(), finder.isHidden()});
    } while (finder.findNextFile());
    return seen;
}

class FileFindTest : public TempWorkDirTest {};

TEST_F(FileFindTest, ListsEveryEntryInNameOrderWithItsKind) {
    workDir.writeFile("d/b.txt");
    workDir.writeFile("d/a.png");
    workDir.writeFile("d/.hidden");
    workDir.writeFile("d/sub/inner.png");
    const std::vector<Seen> expected{{"./d/.hidden", false, true},
                                     {"./d/a.png", false, false},
                                     {"./d/b.txt", false, false},
                                     {"./d/sub", true, false}};
    EXPECT_EQ(listAll("./d/*"), expected);
}

TEST_F(FileFindTest, WildcardsSelectNames) {
    workDir.writeFile("d/img1.png");
    workDir.writeFile("d/img2.bmp");
    workDir.writeFile("d/other.png");
    EXPECT_EQ(listAll("d/img?.*"),
              (std::vector<Seen>{{"d/img1.png", false, false}, {"d/img2.bmp", false, false}}));
    EXPECT_EQ(listAll("d/*.png"),
              (std::vector<Seen>{{"d/img1.png", false, false}, {"d/other.png", false, false}}));
}

TEST_F(FileFindTest, NothingMatchingGivesFalse) {
    workDir.writeFile("d/x.txt");
    CFileFind finder;
    EXPECT_FALSE(finder.findFile("./d/*.png"));
    EXPECT_FALSE(finder.findFile("./missing/*"));
    EXPECT_FALSE(finder.findNextFile());
    EXPECT_EQ(finder.getFilePath(), "");
}

TEST_F(FileFindTest, FindNextFileStopsAtTheEnd) {
    workDir.writeFile("d/only.png");
    CFileFind finder;
    ASSERT_TRUE(finder.findFile("./d/*"));
    EXPECT_FALSE(finder.findNextFile());
    EXPECT_EQ(finder.getFilePath(), "./d/only.png");
    EXPECT_EQ(finder.getFileName(), "only.png");
}

} // namespace
} // namespace quboid3d::test
