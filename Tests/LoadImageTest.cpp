#include "LoadImage.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "ImageFiles.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using Orvia::Memory::TSharedPtr;
using Orvia::VisionSystem::CLoadImage;
using Orvia::VisionSystem::VsImage;

constexpr const char* kPattern = "./LocalImages/*";

class LoadImageTest : public TempWorkDirTest {
protected:
    void SetUp() override { fs::create_directories(dir); }

    // A 4 x 2 grey PNG whose pixels all hold `value`, so each file can be recognised.
    void grey(const std::string& name, std::uint8_t value, int width = 4, int height = 2) {
        ASSERT_TRUE(writeGreyPng(dir / name, width, height, flatGrey(width, height, value)));
    }
    std::uint8_t nextValue(CLoadImage& loader) {
        TSharedPtr<VsImage> image;
        EXPECT_TRUE(loader.loadNextImage(image));
        return image ? image->data[0] : 0;
    }

    fs::path dir = workDir.path() / "LocalImages";
};

TEST_F(LoadImageTest, ThreeFilesComeInOrderAndThenFromTheFirstAgain) {
    grey("a.png", 10);
    grey("b.png", 20);
    grey("c.png", 30);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(nextValue(loader), 10);
    EXPECT_EQ(nextValue(loader), 20);
    EXPECT_EQ(nextValue(loader), 30);
    EXPECT_EQ(nextValue(loader), 10);
}

TEST_F(LoadImageTest, FilesAreListedInNameOrderWhateverTheirCreationOrder) {
    grey("0003.png", 3);
    grey("0001.png", 1);
    grey("0002.png", 2);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(loader.fileList(), (std::vector<std::string>{"./LocalImages/0001.png", "./LocalImages/0002.png",
                                                           "./LocalImages/0003.png"}));
}

TEST_F(LoadImageTest, UpperCaseExtensionIsAcceptedAndThePathKeepsItsCase) {
    grey("SCAN.PNG", 1);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(loader.fileList(), std::vector<std::string>{"./LocalImages/SCAN.PNG"});
}

TEST_F(LoadImageTest, TheLastDotDecidesTheExtension) {
    grey("a.b.png", 1);
    grey("c.png.txt", 2);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(loader.fileList(), std::vector<std::string>{"./LocalImages/a.b.png"});
}

TEST_F(LoadImageTest, OnlyBmpJpgAndPngAreTaken) {
    grey("keep.png", 1);
    ASSERT_TRUE(writeGreyBmp(dir / "keep.bmp", 4, 2, flatGrey(4, 2, 2)));
    ASSERT_TRUE(writeGreyJpg(dir / "keep.jpg", 4, 2, flatGrey(4, 2, 3)));
    ASSERT_TRUE(writeGreyJpg(dir / "drop.jpeg", 4, 2, flatGrey(4, 2, 4)));
    grey("drop.png2", 5);
    grey("drop.pn", 6);
    grey("png", 7);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(loader.fileList(), (std::vector<std::string>{"./LocalImages/keep.bmp", "./LocalImages/keep.jpg",
                                                           "./LocalImages/keep.png"}));
}

TEST_F(LoadImageTest, HiddenFilesAreSkipped) {
    grey(".x.png", 1);
    grey("y.png", 2);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(loader.fileList(), std::vector<std::string>{"./LocalImages/y.png"});
}

TEST_F(LoadImageTest, SubDirectoryNamedLikeAnImageIsSkippedAndNotSearched) {
    fs::create_directories(dir / "y.png");
    ASSERT_TRUE(writeGreyPng(dir / "y.png" / "inner.png", 4, 2, flatGrey(4, 2, 9)));
    grey("z.png", 2);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(loader.fileList(), std::vector<std::string>{"./LocalImages/z.png"});
}

TEST_F(LoadImageTest, CorruptFileFailsItsTurnAndTheNextFileFollows) {
    grey("1.png", 11);
    workDir.writeFile("LocalImages/2.png", "this is not a png");
    grey("3.png", 33);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(nextValue(loader), 11);
    TSharedPtr<VsImage> image;
    EXPECT_FALSE(loader.loadNextImage(image));
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(nextValue(loader), 33);
}

TEST_F(LoadImageTest, FailureLeavesThePointerAsItWas) {
    grey("1.png", 11);
    workDir.writeFile("LocalImages/2.png", "corrupt");
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    TSharedPtr<VsImage> image;
    ASSERT_TRUE(loader.loadNextImage(image));
    const VsImage* first = image.get();
    EXPECT_FALSE(loader.loadNextImage(image));
    EXPECT_EQ(image.get(), first);
}

TEST_F(LoadImageTest, VanishedFileFailsItsTurn) {
    grey("1.png", 11);
    grey("2.png", 22);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    fs::remove(dir / "1.png");
    TSharedPtr<VsImage> image;
    EXPECT_FALSE(loader.loadNextImage(image));
    EXPECT_EQ(nextValue(loader), 22);
}

TEST_F(LoadImageTest, ColourImageArrivesAsOneGreyBytePerPixel) {
    std::vector<std::uint8_t> rgb;
    for (int i = 0; i < 6 * 3; ++i)
        rgb.insert(rgb.end(), {200, 100, 50});
    ASSERT_TRUE(writeRgbPng(dir / "colour.png", 6, 3, rgb));
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    TSharedPtr<VsImage> image;
    ASSERT_TRUE(loader.loadNextImage(image));
    EXPECT_EQ(image->width, 6);
    EXPECT_EQ(image->height, 3);
    EXPECT_EQ(image->size, 18);
    EXPECT_EQ(image->pixelFormat, 0u);
    // stb_image's luma: (77 R + 150 G + 29 B) >> 8.
    EXPECT_EQ(image->data[0], (77 * 200 + 150 * 100 + 29 * 50) >> 8);
}

TEST_F(LoadImageTest, SixteenBitPngIsReducedToEightBits) {
    const std::vector<std::uint16_t> samples(5 * 2, 0xABCD);
    ASSERT_TRUE(writeGrey16Png(dir / "deep.png", 5, 2, samples));
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    TSharedPtr<VsImage> image;
    ASSERT_TRUE(loader.loadNextImage(image));
    EXPECT_EQ(image->size, 10);
    EXPECT_EQ(image->data[0], 0xAB);
    EXPECT_EQ(image->data[9], 0xAB);
}

TEST_F(LoadImageTest, ImagesOfDifferentSizesAreServedAsTheyAre) {
    grey("a.png", 1, 4, 2);
    grey("b.png", 2, 7, 3);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    TSharedPtr<VsImage> image;
    ASSERT_TRUE(loader.loadNextImage(image));
    EXPECT_EQ(image->size, 8);
    ASSERT_TRUE(loader.loadNextImage(image));
    EXPECT_EQ(image->width, 7);
    EXPECT_EQ(image->size, 21);
}

TEST_F(LoadImageTest, MissingDirectoryFailsToOpen) {
    fs::remove(dir);
    CLoadImage loader(kPattern);
    EXPECT_FALSE(loader.openDir());
}

TEST_F(LoadImageTest, EmptyDirectoryFailsToOpen) {
    CLoadImage loader(kPattern);
    EXPECT_FALSE(loader.openDir());
}

TEST_F(LoadImageTest, DirectoryWithOnlyOtherFilesOpensButServesNothing) {
    workDir.writeFile("LocalImages/readme.txt", "x");
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_TRUE(loader.fileList().empty());
    TSharedPtr<VsImage> image;
    EXPECT_FALSE(loader.loadNextImage(image));
}

TEST_F(LoadImageTest, OpeningAgainKeepsThePlaceInTheList) {
    grey("a.png", 1);
    grey("b.png", 2);
    grey("c.png", 3);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(nextValue(loader), 1);
    ASSERT_TRUE(loader.openDir());
    EXPECT_EQ(nextValue(loader), 2);
}

TEST_F(LoadImageTest, FilesAddedAfterListingAreNotSeen) {
    grey("a.png", 1);
    CLoadImage loader(kPattern);
    ASSERT_TRUE(loader.openDir());
    grey("b.png", 2);
    EXPECT_EQ(nextValue(loader), 1);
    EXPECT_EQ(nextValue(loader), 1);
}

} // namespace
} // namespace quboid3d::test
