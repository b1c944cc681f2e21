// Renders what the camera sees in one frame: the laser fan is traced against the scene, each
// lit point that the camera sees directly becomes a Gaussian line across rows of its column.
#pragma once

#include "ScanSim/Scene.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace ScanSim {

constexpr int kBeltObject = -1; // ColumnSample.object for the belt itself

// One point of the laser line in one image column.
struct ColumnSample {
    float row = 0.0f;         // sub-pixel row of the line centre
    float intensity = 0.0f;   // peak grey before saturation, ambient and noise
    int object = kBeltObject; // index into SceneLayout::objects, or kBeltObject
    bool visible = true;      // false: lit by the laser but hidden from the camera
    Vec3 point;               // board coordinates of the lit point at this frame
};

// The geometric content of one frame: for each column, the lit points of the laser line that
// fall in it (at most kMaxSamplesPerColumn), visible or hidden from the camera.
//
// A sheet with thickness or an exposure during which the belt moves lights the surface over a
// window along the belt. Where that window holds an edge, the frame is traced at several belt
// positions across it (parts), each with its share of the light: part 0 is the frame's own
// position and is what column() and counts[0..width) hold; the others follow it in samples and
// counts. partWeights is empty for a frame of one instant.
struct ProfileTrace {
    static constexpr int kMaxSamplesPerColumn = 4;
    int frame = 0;
    int width = 0;
    std::vector<ColumnSample> samples; // parts * width * kMaxSamplesPerColumn
    std::vector<uint8_t> counts;       // samples used per column, parts * width
    std::vector<float> partWeights;    // share of the light of each part; empty: one part

    int parts() const { return partWeights.empty() ? 1 : static_cast<int>(partWeights.size()); }
    float partWeight(int part) const {
        return partWeights.empty() ? 1.0f : partWeights[static_cast<size_t>(part)];
    }
    const ColumnSample* column(int c) const { return column(0, c); }
    const ColumnSample* column(int part, int c) const {
        return &samples[(static_cast<size_t>(part) * static_cast<size_t>(width) + static_cast<size_t>(c)) *
                        kMaxSamplesPerColumn];
    }
    int count(int part, int c) const {
        return counts[static_cast<size_t>(part) * static_cast<size_t>(width) + static_cast<size_t>(c)];
    }
    // The brightest visible sample of a column at the frame's own position, or null.
    const ColumnSample* brightestVisible(int c) const;
};

// Where the light of one frame falls along the belt: offsets of the belt from the frame's own
// position (mm, offset 0 first) and the share of light of each. The sheet's Gaussian profile
// convolved with the travel during the exposure; one offset of weight 1 when both are 0.
struct ExposureWindow {
    std::vector<double> offsets;
    std::vector<double> weights;
};
ExposureWindow exposureWindow(double sheetFwhm, double exposureTravel);

// Per-column line positions, the form an on-camera extractor delivers.
struct LineForm {
    std::vector<float> rows;    // sub-pixel row per column; negative where there is no line
    std::vector<uint8_t> peaks; // peak grey per column; 0 where there is no line
};

// The camera's PipelineImage block that carries a LineForm.
constexpr size_t kPipelineCountOffset = 36;
constexpr size_t kPipelineFirstOffset = 48;
constexpr size_t kPipelineSecondOffset = 15408;
constexpr int kPipelineMaxCount = 3840;
constexpr size_t kPipelineImageSize = kPipelineSecondOffset + kPipelineMaxCount;
static_assert(kPipelineFirstOffset + kPipelineMaxCount * sizeof(float) == kPipelineSecondOffset);
static_assert(kPipelineImageSize == 19248);

// Fills a zeroed PipelineImage block of kPipelineImageSize bytes; false if the form holds more
// than kPipelineMaxCount columns.
bool buildPipelineImage(const LineForm& form, std::vector<uint8_t>& block);

// Packs Mono8 pixels (in stream order) into Mono4p: the top 4 bits of each pixel, two pixels a
// byte, the first pixel in the low nibble; an odd last pixel leaves the high nibble 0.
std::vector<uint8_t> packMono4p(const uint8_t* mono8, size_t pixelCount);

struct RenderedFrame {
    ProfileTrace trace;
    std::vector<uint8_t> mono8; // width * height
    LineForm line;
};

class CFrameRenderer {
public:
    explicit CFrameRenderer(Scene scene);
    // Objects placed by the caller (placeObject) instead of one after another; scene.objects
    // is not read.
    CFrameRenderer(Scene scene, SceneLayout layout);
    ~CFrameRenderer();
    CFrameRenderer(const CFrameRenderer&) = delete;
    CFrameRenderer& operator=(const CFrameRenderer&) = delete;

    const Scene& scene() const { return scene_; }
    const SceneLayout& layout() const { return layout_; }
    int frameCount() const { return layout_.frameCount; }
    int width() const { return scene_.station.camera.width; }
    int height() const { return scene_.station.camera.height; }

    // Board position of an object's footprint centre at a frame.
    Vec3 objectCentreAt(int object, int frame) const;

    // Each of these depends only on the scene, its seed and the frame number.
    void trace(int frame, ProfileTrace& out) const;
    void renderMono8(const ProfileTrace& trace, std::vector<uint8_t>& pixels) const;
    void renderLineForm(const ProfileTrace& trace, LineForm& out) const;
    void render(int frame, RenderedFrame& out) const;

private:
    void renderLines(const ProfileTrace& trace, std::vector<uint8_t>& pixels) const;
    void renderWindowLineForm(const ProfileTrace& trace, LineForm& out) const;

    struct Impl;
    Scene scene_;
    SceneLayout layout_;
    std::unique_ptr<Impl> impl_;
};

} // namespace ScanSim
