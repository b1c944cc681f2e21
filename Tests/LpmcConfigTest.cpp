// The configuration record: the defaults a fresh instance reports, the round trip through the
// record, the library's own block, the checks of every range, and the regions.
#include <cmath>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "Config.h"

namespace {

using namespace lpmc;

const LpmcImageSize kSizes[3] = {{2048, 512}, {640, 480}, {100, 100}};

struct Record {
    LpmcImageRegion regions[3]{};
    LpmcConfig cfg{};
    Record() {
        for (int i = 0; i < 3; ++i) {
            cfg.region[i] = &regions[i];
        }
        writeConfig(defaultSettings(1, kSizes), cfg);
    }
};

// Each (offset, value) written alone over `good`'s own block makes the record refused.
void expectEachRefused(const Record& good, std::initializer_list<std::pair<size_t, double>> broken) {
    for (const auto& [at, value] : broken) {
        Record r;
        std::memcpy(r.cfg.libraryOwn, good.cfg.libraryOwn, sizeof good.cfg.libraryOwn);
        std::memcpy(r.cfg.libraryOwn + at, &value, 8);
        ScanSettings s;
        EXPECT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_ERR_CONFIG) << "offset " << at << " value " << value;
    }
}

TEST(LpmcConfigTest, DefaultsAreThoseTheReadmeStates) {
    Record r;
    EXPECT_EQ(r.cfg.cameraCount, 1);
    EXPECT_EQ(r.regions[0].x, 0);
    EXPECT_EQ(r.regions[0].width, 2048);
    EXPECT_EQ(r.regions[0].height, 512);
    EXPECT_EQ(r.cfg.thresh[0], 16);
    EXPECT_EQ(r.cfg.laserline_type, 0);
    EXPECT_EQ(r.cfg.laserline_extract_method, 0);
    EXPECT_EQ(r.cfg.scan_chessboard_height, 0.0);
    EXPECT_EQ(r.cfg.scan_encode_step[0], 1.0);
    EXPECT_EQ(r.cfg.scan_encode_flag[0], 0);
    EXPECT_EQ(r.cfg.scan_gauss_radius[0], 0);
    EXPECT_EQ(r.cfg.scan_mult_package_flag, 1);
    EXPECT_EQ(r.cfg.scan_end_frame_num, 10);
    EXPECT_EQ(r.cfg.scan_noise_factor, 3);
    EXPECT_EQ(r.cfg.scan_deep_img_w, 256);
    EXPECT_EQ(r.cfg.scan_deep_img_h, 256);
    EXPECT_EQ(r.cfg.scan_min_l, 20.0);
    EXPECT_EQ(r.cfg.scan_min_w, 20.0);
    EXPECT_EQ(r.cfg.scan_min_h, 10.0);
    EXPECT_EQ(r.cfg.scan_max_l, 5000.0);
    EXPECT_EQ(r.cfg.scan_max_w, 3000.0);
    EXPECT_EQ(r.cfg.scan_max_h, 3000.0);
    EXPECT_EQ(r.cfg.scan_volume_finite_flag, 0);
    EXPECT_EQ(r.cfg.scan_package_intime_flag, 1);
    EXPECT_EQ(r.cfg.scan_package_distance, 10.0);
    uint32_t magic, version;
    double floorLevel;
    int32_t minPoints;
    std::memcpy(&magic, reinterpret_cast<const uint8_t*>(&r.cfg) + 184, 4);
    std::memcpy(&version, reinterpret_cast<const uint8_t*>(&r.cfg) + 188, 4);
    std::memcpy(&floorLevel, reinterpret_cast<const uint8_t*>(&r.cfg) + 192, 8);
    std::memcpy(&minPoints, reinterpret_cast<const uint8_t*>(&r.cfg) + 220, 4);
    EXPECT_EQ(magic, 0x434D504CU);
    EXPECT_EQ(version, 1U);
    EXPECT_EQ(floorLevel, 5.0);
    EXPECT_EQ(minPoints, 50);
    double heightStep, minRunLength;
    std::memcpy(&heightStep, reinterpret_cast<const uint8_t*>(&r.cfg) + 224, 8);
    std::memcpy(&minRunLength, reinterpret_cast<const uint8_t*>(&r.cfg) + 232, 8);
    EXPECT_EQ(heightStep, 10.0);
    EXPECT_EQ(minRunLength, 3.0);
    for (size_t i = 240; i < 304; ++i) {
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(&r.cfg)[i], 0) << "byte " << i;
    }
}

TEST(LpmcConfigTest, WhatIsWrittenReadsBackUnchanged) {
    Record r;
    r.cfg.thresh[0] = 40;
    r.cfg.laserline_extract_method = 2;
    r.cfg.scan_chessboard_height = 5.0;
    r.cfg.scan_encode_flag[0] = 1;
    r.cfg.scan_encode_step[0] = 0.8;
    r.cfg.scan_gauss_radius[0] = 2;
    r.cfg.scan_mult_package_flag = 0;
    r.cfg.scan_end_frame_num = 30;
    r.cfg.scan_noise_factor = 2;
    r.cfg.scan_deep_img_w = 1000;
    r.cfg.scan_deep_img_h = 2500;
    r.cfg.scan_min_l = 30.0;
    r.cfg.scan_max_h = 800.0;
    r.cfg.scan_volume_finite_flag = 1;
    r.cfg.scan_package_intime_flag = 0;
    r.cfg.scan_package_distance = 100.0;
    ScanSettings s;
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    Record back;
    writeConfig(s, back.cfg);
    EXPECT_EQ(std::memcmp(&back.cfg.thresh, &r.cfg.thresh,
                          offsetof(LpmcConfig, scan_package_distance) + 8 - offsetof(LpmcConfig, thresh)),
              0);
    EXPECT_EQ(s.method, ExtractMethod::Gauss3);
    EXPECT_TRUE(s.camera[0].encoder);
    EXPECT_FALSE(s.multiPackage);
    EXPECT_FALSE(s.inTime);
}

TEST(LpmcConfigTest, OutOfRangeValuesAreRefused) {
    auto refused = [](auto edit) {
        Record r;
        edit(r.cfg);
        ScanSettings s;
        return readConfig(r.cfg, 1, kSizes, s);
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(refused([](LpmcConfig& c) { c.thresh[0] = 0; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.thresh[0] = 256; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_gauss_radius[0] = 4; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.laserline_extract_method = 5; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.laserline_extract_method = -1; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_end_frame_num = 0; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_noise_factor = -1; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_deep_img_w = 0; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_deep_img_h = 4097; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_min_w = -1.0; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([nan](LpmcConfig& c) { c.scan_max_l = nan; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([nan](LpmcConfig& c) { c.scan_chessboard_height = nan; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.scan_package_distance = -3.0; }), LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) {
                  c.scan_encode_flag[0] = 1;
                  c.scan_encode_step[0] = 0.0;
              }),
              LPMC_ERR_CONFIG);
    EXPECT_EQ(refused([](LpmcConfig& c) { c.region[0] = nullptr; }), LPMC_ERR_NULL_ARGUMENT);
    // Slots of cameras not in use aren't read.
    EXPECT_EQ(refused([](LpmcConfig& c) {
                  c.thresh[1] = 0;
                  c.region[2] = nullptr;
              }),
              LPMC_OK);
}

TEST(LpmcConfigTest, TheOwnBlockFallsBackToDefaultsWhenCleared) {
    Record r;
    std::memset(r.cfg.libraryOwn, 0, sizeof r.cfg.libraryOwn);
    ScanSettings s;
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_EQ(s.own.objectFloor, OwnSettings{}.objectFloor);
    EXPECT_EQ(s.own.minObjectPoints, OwnSettings{}.minObjectPoints);
    Record bad;
    const double q = 1.5;
    std::memcpy(bad.cfg.libraryOwn + kOwnQuantileAt, &q, 8);
    EXPECT_EQ(readConfig(bad.cfg, 1, kSizes, s), LPMC_ERR_CONFIG);
    for (const auto& [at, value] : {std::pair{kOwnHeightStepAt, 0.0}, std::pair{kOwnMinRunLengthAt, -1.0},
                                    std::pair{kOwnFloorAt, 0.0}, std::pair{kOwnBandAt, -0.5}}) {
        Record broken;
        std::memcpy(broken.cfg.libraryOwn + at, &value, 8);
        EXPECT_EQ(readConfig(broken.cfg, 1, kSizes, s), LPMC_ERR_CONFIG) << "offset " << at;
    }
    Record set;
    const double floorLevel = 12.5;
    std::memcpy(set.cfg.libraryOwn + kOwnFloorAt, &floorLevel, 8);
    ASSERT_EQ(readConfig(set.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_EQ(s.own.objectFloor, 12.5);
}

TEST(LpmcConfigTest, TheLaserFanIsUnknownUntilACallerStatesIt) {
    Record r;
    ScanSettings s;
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_FALSE(s.own.fanKnown());
    const double fan[3] = {-20.0, 1905.0, 35.0};
    std::memcpy(r.cfg.libraryOwn + LPMC_OWN_FAN_APEX_X, &fan[0], 8);
    std::memcpy(r.cfg.libraryOwn + LPMC_OWN_FAN_APEX_HEIGHT, &fan[1], 8);
    std::memcpy(r.cfg.libraryOwn + LPMC_OWN_FAN_ANGLE, &fan[2], 8);
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_TRUE(s.own.fanKnown());
    EXPECT_EQ(s.own.fanApexX, -20.0);
    EXPECT_EQ(s.own.fanApexHeight, 1905.0);
    EXPECT_EQ(s.own.fanAngleDeg, 35.0);
    Record back;
    writeConfig(s, back.cfg);
    EXPECT_EQ(std::memcmp(back.cfg.libraryOwn, r.cfg.libraryOwn, sizeof r.cfg.libraryOwn), 0);
    // An apex on or below the belt, an opening of a half turn or more, a negative angle.
    expectEachRefused(r, {{LPMC_OWN_FAN_APEX_HEIGHT, 0.0},
                          {LPMC_OWN_FAN_ANGLE, 180.0},
                          {LPMC_OWN_FAN_ANGLE, -5.0},
                          {LPMC_OWN_FAN_APEX_X, std::numeric_limits<double>::infinity()}});
}

TEST(LpmcConfigTest, TheLightWindowSitsAfterTheFanAndIsUnknownUntilACallerStatesIt) {
    EXPECT_EQ(offsetof(LpmcConfig, libraryOwn) + LPMC_OWN_SHEET_FWHM, 264u);
    EXPECT_EQ(offsetof(LpmcConfig, libraryOwn) + LPMC_OWN_EXPOSURE_SHARE, 272u);
    Record r;
    ScanSettings s;
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_FALSE(s.own.windowKnown());
    const double window[2] = {1.0, 0.4};
    std::memcpy(r.cfg.libraryOwn + LPMC_OWN_SHEET_FWHM, &window[0], 8);
    std::memcpy(r.cfg.libraryOwn + LPMC_OWN_EXPOSURE_SHARE, &window[1], 8);
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_TRUE(s.own.windowKnown());
    EXPECT_EQ(s.own.sheetFwhm, 1.0);
    EXPECT_EQ(s.own.exposureShare, 0.4);
    Record back;
    writeConfig(s, back.cfg);
    EXPECT_EQ(std::memcmp(back.cfg.libraryOwn, r.cfg.libraryOwn, sizeof r.cfg.libraryOwn), 0);
    // Bytes 280..303 stay zero.
    for (size_t at = LPMC_OWN_EXPOSURE_SHARE + 8; at < sizeof back.cfg.libraryOwn; ++at) {
        EXPECT_EQ(back.cfg.libraryOwn[at], 0) << "offset " << at;
    }
    // A negative or absurdly thick sheet, an exposure longer than the frame period, a NaN.
    expectEachRefused(r, {{LPMC_OWN_SHEET_FWHM, -0.5},
                          {LPMC_OWN_SHEET_FWHM, 25.0},
                          {LPMC_OWN_EXPOSURE_SHARE, 1.5},
                          {LPMC_OWN_EXPOSURE_SHARE, -0.1},
                          {LPMC_OWN_EXPOSURE_SHARE, std::numeric_limits<double>::quiet_NaN()}});
}

TEST(LpmcConfigTest, RegionsAreClippedToTheImage) {
    Record r;
    ScanSettings s;
    r.regions[0] = {100, 50, 5000, 5000};
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_EQ(s.camera[0].region.x, 100);
    EXPECT_EQ(s.camera[0].region.y, 50);
    EXPECT_EQ(s.camera[0].region.width, 1948);
    EXPECT_EQ(s.camera[0].region.height, 462);
    r.regions[0] = {7, 7, 0, 0}; // no size: the whole image
    ASSERT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_OK);
    EXPECT_EQ(s.camera[0].region.x, 0);
    EXPECT_EQ(s.camera[0].region.width, 2048);
    r.regions[0] = {3000, 0, 10, 10}; // entirely outside
    EXPECT_EQ(readConfig(r.cfg, 1, kSizes, s), LPMC_ERR_CONFIG);
}

} // namespace
