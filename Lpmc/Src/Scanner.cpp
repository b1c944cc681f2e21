#include "Scanner.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "WallClock.h"

namespace lpmc {
namespace {

constexpr uint32_t kRunsPerFrame = 256;
constexpr uint32_t kSlotMargin = 64; // frames kept beyond an object's longest span

// Line form of one camera: rows and peaks straight from the camera's arrays.
void copyLineForm(const LpmcInput& in, int32_t cam, int32_t width, float* rows, uint8_t* peaks) {
    const int32_t count = std::min(in.pipelineCount[cam], width);
    const auto* srcRows = static_cast<const float*>(in.pipelineFirst[cam]);
    const auto* srcPeaks = static_cast<const uint8_t*>(in.pipelineSecond[cam]);
    for (int32_t c = 0; c < count; ++c) {
        const float r = srcRows[c];
        rows[c] = std::isfinite(r) && r >= 0.0f ? r : kNoLine;
        peaks[c] = srcPeaks != nullptr ? srcPeaks[c] : 0;
    }
    std::fill(rows + count, rows + width, kNoLine);
    std::fill(peaks + count, peaks + width, uint8_t{0});
}

// The laser plane within a degree of vertical in board coordinates: then the line lies at the
// same place along the belt at every height.
bool laserPlaneIsVertical(const CameraModel& m) {
    const auto& r = m.rotation;
    const auto& p = m.plane;
    const double nx = r[0] * p[0] + r[3] * p[1] + r[6] * p[2], ny = r[1] * p[0] + r[4] * p[1] + r[7] * p[2],
                 nz = r[2] * p[0] + r[5] * p[1] + r[8] * p[2];
    constexpr double kSinOneDegree = 0.01745;
    return std::fabs(nz) <= kSinOneDegree * std::sqrt(nx * nx + ny * ny + nz * nz);
}

// How far the laser plane moves along the belt (board Y) per mm up (board Z), at any X: 0 for
// a vertical plane, and for a plane along the belt, which has no place along it.
double laserPlaneYPerZ(const CameraModel& m) {
    const auto& r = m.rotation;
    const auto& p = m.plane;
    const double ny = r[1] * p[0] + r[4] * p[1] + r[7] * p[2], nz = r[2] * p[0] + r[5] * p[1] + r[8] * p[2];
    return std::fabs(ny) > 1e-9 * std::fabs(nz) ? -nz / ny : 0.0;
}

} // namespace

int32_t CScanner::create(const LpmcCreateParam& p) {
    if (p.cameraCount < 1 || p.cameraCount > LPMC_MAX_CAMERAS || p.frameNum < 0) {
        return LPMC_ERR_CREATE_PARAM;
    }
    cameraCount_ = p.cameraCount;
    frameNum_ = p.frameNum == 0 ? kDefaultFrameNum : p.frameNum;
    for (int32_t i = 0; i < cameraCount_; ++i) {
        const LpmcImageSize& size = p.imageSize[i];
        if (size.width < 2 || size.height < 2 || size.width > kMaxImageWidth ||
            size.height > kMaxImageHeight) {
            return LPMC_ERR_CREATE_PARAM;
        }
        sizes_[static_cast<size_t>(i)] = size;
        const int32_t rc = loadCameraModel(p.calib[i], models_[static_cast<size_t>(i)]);
        if (rc != LPMC_OK) {
            return rc;
        }
    }
    for (int32_t i = 0; i < cameraCount_; ++i) {
        const size_t k = static_cast<size_t>(i);
        const int64_t valid = tables_[k].build(models_[k], sizes_[k].width, sizes_[k].height);
        if (tables_[k].width() == 0) {
            return LPMC_ERR_NO_MEMORY;
        }
        // A calibration under which no pixel sees the laser plane in front of the camera.
        if (valid == 0) {
            return LPMC_ERR_CALIBRATION;
        }
    }
    settings_ = defaultSettings(cameraCount_, sizes_.data());
    configured_ = false;
    return LPMC_OK;
}

int32_t CScanner::getConfig(LpmcConfig& config) const {
    for (int32_t i = 0; i < cameraCount_; ++i) {
        if (config.region[i] == nullptr) {
            return LPMC_ERR_NULL_ARGUMENT;
        }
    }
    writeConfig(settings_, config);
    return LPMC_OK;
}

int32_t CScanner::setConfig(const LpmcConfig& config) {
    configured_ = false;
    ScanSettings s;
    const int32_t rc = readConfig(config, cameraCount_, sizes_.data(), s);
    if (rc != LPMC_OK) {
        return rc;
    }
    uint32_t pointsPerFrame = 0;
    for (int32_t i = 0; i < cameraCount_; ++i) {
        const size_t k = static_cast<size_t>(i);
        const CameraSettings& c = s.camera[k];
        LineSettings line;
        line.thresh = c.thresh;
        line.gaussRadius = c.gaussRadius;
        line.method = s.method;
        const size_t width = static_cast<size_t>(sizes_[k].width);
        rows_[k].reset(new (std::nothrow) float[width]);
        peaks_[k].reset(new (std::nothrow) uint8_t[width]);
        if (!rows_[k] || !peaks_[k] ||
            !extractors_[k].configure(sizes_[k].width, sizes_[k].height, c.region, line)) {
            return LPMC_ERR_NO_MEMORY;
        }
        ProfileSettings& ps = profile_[k];
        ps.region = c.region;
        ps.heightOffset = s.chessboardHeight;
        ps.heightFactor = models_[k].heightFactor;
        ps.objectFloor = s.own.objectFloor;
        ps.maxGap = s.packageDistance;
        ps.maxHeightStep = s.own.heightStep;
        ps.minRunLength = s.own.minRunLength;
        ps.minRunPoints = std::max(1, s.noiseFactor);
        ps.splitAtSeams = s.multiPackage;
        ps.seamPeak = 3 * c.thresh;
        ps.beltStrength = s.own.windowKnown();
        pointsPerFrame += static_cast<uint32_t>(c.region.width);
    }
    const uint32_t slots =
        static_cast<uint32_t>(frameNum_) + static_cast<uint32_t>(s.endFrameNum) + kSlotMargin;
    if (!store_.configure(slots, pointsPerFrame, kRunsPerFrame * static_cast<uint32_t>(cameraCount_))) {
        return LPMC_ERR_NO_MEMORY;
    }
    belt_.reset(new (std::nothrow) CBeltBins);
    beltBefore_.reset(new (std::nothrow) CBeltBins);
    if (!belt_ || !beltBefore_ || !beltHistory_.configure()) {
        return LPMC_ERR_NO_MEMORY;
    }
    TrackerSettings ts;
    ts.heightStep = s.own.heightStep;
    ts.multiPackage = s.multiPackage;
    ts.joinDistance = s.packageDistance;
    ts.endFrames = s.endFrameNum;
    ts.maxFrames = frameNum_;
    ts.beltZ = -s.chessboardHeight;
    ts.heightFactor = models_[0].heightFactor;
    ts.strongPeak = 3 * s.camera[0].thresh;
    holes_.configure(s.endFrameNum, std::max(3, s.noiseFactor));
    blind_.clear();
    blind_.reserve(CHoleTracker::kMaxOpen);
    beltMinX_ = 1e30f;
    beltMaxX_ = -1e30f;
    {
        const CameraModel& m = models_[0];
        const auto& r = m.rotation;
        const Vec3& t = m.translation;
        cameraCentre_ = {-(r[0] * t.x + r[3] * t.y + r[6] * t.z), -(r[1] * t.x + r[4] * t.y + r[7] * t.z),
                         -(r[2] * t.x + r[5] * t.y + r[8] * t.z)};
    }
    fan_.configure(models_[0], s.own, s.chessboardHeight);
    ts.cameraY = cameraCentre_.y;
    ts.cameraZ = cameraCentre_.z;
    tracker_.configure(ts, &store_);
    FitSettings fs;
    fs.frontFromOcclusion = laserPlaneIsVertical(models_[0]);
    fs.facesFromTilt = !fs.frontFromOcclusion;
    fs.cameraCentre = cameraCentre_;
    fs.beltZ = -s.chessboardHeight;
    fs.heightFactor = models_[0].heightFactor;
    fs.edgeCompensation = s.own.edgeCompensation != 0;
    fs.heightQuantile = s.own.heightQuantile;
    fs.heightBand = s.own.heightBand;
    fs.heightStep = s.own.heightStep;
    fs.maxHeight = std::min(20000.0, 1.5 * std::max(1000.0, s.maxHeight));
    fs.finiteVolume = s.finiteVolume;
    fs.gridWidth = s.deepImageWidth;
    fs.gridHeight = s.deepImageHeight;
    fs.sheetFwhm = s.own.sheetFwhm;
    fs.exposureShare = s.own.exposureShare;
    fs.lineThreshold = s.camera[0].thresh;
    fs.pointsPerFrame = pointsPerFrame;
    if (!fitter_.configure(fs)) {
        return LPMC_ERR_NO_MEMORY;
    }
    pointCapacity_ = size_t{slots} * pointsPerFrame;
    // Zeroed here, so that every page is in place before the first frame: a result that first
    // reaches a page would otherwise wait for the system to map it, some ten milliseconds for a
    // large package, on the thread that fetches the camera's frames.
    points_.reset(new (std::nothrow) float[3 * pointCapacity_]());
    aux_.reset(new (std::nothrow) float[3 * pointCapacity_]());
    if (!points_ || !aux_) {
        return LPMC_ERR_NO_MEMORY;
    }
    completed_.clear();
    completed_.reserve(2 * CObjectTracker::kMaxOpen);
    queue_.clear();
    queue_.reserve(kQueueCapacity);
    pending_.clear();
    pending_.reserve(kQueueCapacity);
    nextSeq_ = 0;
    scannedBeforeLoss_ = 0;
    haveFrame_ = false;
    travel_ = Travel{};
    settings_ = s;
    configured_ = true;
    return LPMC_OK;
}

int32_t CScanner::checkInput(const LpmcInput& in) const {
    for (int32_t i = 0; i < cameraCount_; ++i) {
        if (in.imageType[i] == LPMC_IMAGE_MONO8) {
            const LpmcImageDesc* d = in.image[i];
            if (d == nullptr || d->pixels == nullptr) {
                return LPMC_ERR_NULL_ARGUMENT;
            }
            if (d->width != sizes_[static_cast<size_t>(i)].width ||
                d->height != sizes_[static_cast<size_t>(i)].height) {
                return LPMC_ERR_INPUT;
            }
        } else if (in.imageType[i] == LPMC_IMAGE_LINE) {
            if (in.pipelineFirst[i] == nullptr) {
                return LPMC_ERR_NULL_ARGUMENT;
            }
            if (in.pipelineCount[i] < 0 || in.pipelineCount[i] > kMaxLineFormCount) {
                return LPMC_ERR_INPUT;
            }
        } else {
            return LPMC_ERR_INPUT;
        }
        if (!std::isfinite(in.timestamp[i])) {
            return LPMC_ERR_INPUT;
        }
    }
    if (in.missingFrames < LPMC_FRAMES_RESTARTED) {
        return LPMC_ERR_INPUT;
    }
    return LPMC_OK;
}

// Frames lost before frame `seq`: whatever was being scanned then, or starts in it, wasn't seen
// whole. After a restart the timestamps may begin anywhere, so no travel is taken across it.
void CScanner::noteLostFrames(int32_t missingFrames, uint64_t seq) {
    if (missingFrames == 0) {
        return;
    }
    scannedBeforeLoss_ = seq + 1;
    if (missingFrames == LPMC_FRAMES_RESTARTED) {
        haveFrame_ = false;
    }
}

// Belt travel: from the timestamps and the calibrated velocity, never backwards, or one encoder
// step per frame along the velocity's direction (+Y when it has none).
void CScanner::advanceTravel(const LpmcInput& in, FrameInfo& info) {
    const CameraModel& m = models_[0];
    const CameraSettings& c0 = settings_.camera[0];
    const double t0 = in.timestamp[0];
    Travel step;
    if (c0.encoder) {
        const double speed = std::hypot(m.speedVx, m.speedVy);
        const double dx = speed > 0.0 ? m.speedVx / speed : 0.0, dy = speed > 0.0 ? m.speedVy / speed : 1.0;
        // Frames lost on the way were encoder steps all the same.
        const double steps = 1.0 + std::max(0, in.missingFrames);
        step = haveFrame_ ? Travel{steps * dx * c0.encoderStep, steps * dy * c0.encoderStep} : Travel{};
    } else if (haveFrame_) {
        const double dt = std::max(0.0, t0 - lastTimestamp_);
        step = {m.speedVx * dt, m.speedVy * dt};
    }
    travel_.x += step.x;
    travel_.y += step.y;
    info.step = step;
    info.timestamp = t0;
    for (int32_t i = 0; i < cameraCount_; ++i) {
        const double dt = c0.encoder ? 0.0 : in.timestamp[i] - t0;
        info.travel[i] = {travel_.x + m.speedVx * dt, travel_.y + m.speedVy * dt};
    }
    lastTimestamp_ = haveFrame_ ? std::max(lastTimestamp_, t0) : t0;
    haveFrame_ = true;
}

// Where the belt, as far as it has ever shown, is out of sight at one end of the profile with
// nothing seen there but the belt further in: something that shows no line stands there.
void CScanner::addEdgeHoles(const ProfileOutput& out) {
    if (out.beltMinX > out.beltMaxX) {
        return; // no belt at all in this frame
    }
    const float minWidth = static_cast<float>(out.minHoleWidth);
    if (beltMinX_ <= beltMaxX_) {
        if (out.beltMinX - beltMinX_ > minWidth && out.objectMinX > out.beltMinX &&
            frameHoleCount_ < kHolesPerFrame) {
            frameHoles_[frameHoleCount_++] = ProfileHole{beltMinX_, out.beltMinX, out.beltY};
        }
        if (beltMaxX_ - out.beltMaxX > minWidth && out.objectMaxX < out.beltMaxX &&
            frameHoleCount_ < kHolesPerFrame) {
            frameHoles_[frameHoleCount_++] = ProfileHole{out.beltMaxX, beltMaxX_, out.beltY};
        }
    }
    beltMinX_ = std::min(beltMinX_, out.beltMinX);
    beltMaxX_ = std::max(beltMaxX_, out.beltMaxX);
}

void CScanner::takeProfiles(const LpmcInput& in, FrameSlot& slot) {
    ProfileOutput out;
    out.points = slot.points;
    out.strengths = slot.strengths;
    out.runs = slot.runs;
    out.runCapacity = store_.runsPerFrame();
    std::swap(belt_, beltBefore_);
    belt_->clear();
    out.belt = belt_.get();
    out.holes = frameHoles_.data();
    out.holeCapacity = kHolesPerFrame;
    for (int32_t i = 0; i < cameraCount_; ++i) {
        const size_t k = static_cast<size_t>(i);
        float* rows = rows_[k].get();
        if (in.imageType[i] == LPMC_IMAGE_MONO8) {
            extractors_[k].extract(in.image[i]->pixels, rows, peaks_[k].get());
        } else {
            copyLineForm(in, i, sizes_[k].width, rows, peaks_[k].get());
        }
        buildProfile(rows, tables_[k], profile_[k], static_cast<uint8_t>(i), out, peaks_[k].get());
    }
    slot.pointCount = out.pointCount;
    slot.runCount = out.runCount;
    if (out.beltPeakCount > 0) { // gathered only where the light window is known
        for (int32_t b = 0; b < kBeltPeakBins; ++b) {
            slot.info.beltBins[b] = out.beltBinCount[b] > 0
                                        ? static_cast<uint8_t>(out.beltBinSum[b] / out.beltBinCount[b])
                                        : uint8_t{0};
        }
        slot.info.beltPeak = static_cast<float>(out.beltPeakSum) / static_cast<float>(out.beltPeakCount);
    }
    frameHoleCount_ = out.holeCount;
    addEdgeHoles(out);
    markOwnShadows(slot);
    partShadowedGaps(slot);
}

// Two surfaces of one profile with a stretch without line between them that the laser shadow of
// the one nearer the fan's apex covers: the belt of a narrow gap between two packages side by
// side lies there unlit. They are parted as at a seam, inside a run as between two runs.
void CScanner::partShadowedGaps(FrameSlot& slot) const {
    constexpr float kInnerGap = 5.0f; // mm without line worth a look
    if (!fan_.known() || !settings_.multiPackage) {
        return;
    }
    const ProfilePoint* p = slot.points;
    const auto shadowed = [&](const ProfilePoint& a, const ProfilePoint& b) {
        return fan_.shadowCovers(a.x, a.h, b.x, b.h) || fan_.shadowCovers(b.x, b.h, a.x, a.h);
    };
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        ProfileRun& run = slot.runs[r];
        for (uint32_t i = run.first + 1; i < run.first + run.count; ++i) {
            if (std::fabs(p[i].x - p[i - 1].x) > kInnerGap && shadowed(p[i - 1], p[i]) &&
                slot.runCount < store_.runsPerFrame()) {
                ProfileRun left, right;
                splitRunAt(p, run, i, left, right);
                const bool leftHoldsFirst = left.first == run.first;
                run = leftHoldsFirst ? left : right;
                slot.runs[slot.runCount++] = leftHoldsFirst ? right : left;
                break; // the part beyond is looked at in its turn
            }
        }
    }
    // Neighbouring runs within the join distance.
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        ProfileRun& a = slot.runs[r];
        for (uint32_t k = 0; k < slot.runCount; ++k) {
            ProfileRun& b = slot.runs[k];
            const float gap = b.x0 - a.x1;
            if (k == r || gap <= kInnerGap || gap > static_cast<float>(settings_.packageDistance)) {
                continue;
            }
            const ProfilePoint& aEnd = a.x1 == p[a.first].x ? p[a.first] : p[a.first + a.count - 1];
            const ProfilePoint& bEnd = b.x0 == p[b.first].x ? p[b.first] : p[b.first + b.count - 1];
            if (shadowed(aEnd, bEnd)) {
                a.rightBound = RunBound::Seam;
                b.leftBound = RunBound::Seam;
            }
        }
    }
}

// Ends with nothing beyond them that the fan reached well past: their own laser shadow fell
// beyond the belt, so nothing could show there, and the object doesn't go on.
void CScanner::markOwnShadows(FrameSlot& slot) const {
    if (!fan_.known() || beltMinX_ > beltMaxX_) {
        return;
    }
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        ProfileRun& run = slot.runs[r];
        if (run.leftBound == RunBound::Open && fan_.shadowFallsPast(run.x0, run.leftH, false, beltMinX_)) {
            run.leftBound = RunBound::OwnShadow;
        }
        if (run.rightBound == RunBound::Open && fan_.shadowFallsPast(run.x1, run.rightH, true, beltMaxX_)) {
            run.rightBound = RunBound::OwnShadow;
        }
    }
}

bool CScanner::isReportable(const FittedBox& f) const {
    const ScanSettings& s = settings_;
    const LpmcBox& b = f.box;
    auto within = [](double v, double lo, double hi) { return v >= lo && (hi <= 0.0 || v <= hi); };
    return !f.object.touchesEdge && !f.object.cutOff && !f.object.framesLost && !f.object.incomplete() &&
           !f.lengthUnsure && within(b.length, s.minLength, s.maxLength) &&
           within(b.width, s.minWidth, s.maxWidth) && within(b.height, s.minHeight, s.maxHeight);
}

// Measures the objects this frame completed; noise goes, the rest waits to be reported.
void CScanner::finishObjects(uint64_t seq) {
    for (const TrackedObject& o : completed_) {
        const bool noise = static_cast<int32_t>(o.framesSeen) < std::max(1, settings_.noiseFactor) ||
                           o.pointCount < static_cast<uint64_t>(std::max(0, settings_.own.minObjectPoints));
        if (noise || queue_.size() >= kQueueCapacity) {
            continue;
        }
        Queued q;
        fitter_.fit(o, store_, q.fit);
        // Frames already overwritten: what is left can't be a measurement.
        if (store_.find(o.firstSeq) == nullptr) {
            q.fit.object.cutOff = true;
        }
        q.fit.object.framesLost = o.firstSeq < scannedBeforeLoss_;
        q.reportable = isReportable(q.fit);
        if (o.rearHidden && !q.reportable) {
            TrackedObject clean = o;
            clean.rearHidden = false;
            FittedBox f = q.fit;
            f.object = clean;
            if (isReportable(f)) {
                holdForRear(q, o);
                continue;
            }
        }
        const FrameSlot* first = store_.find(o.firstSeq);
        const FrameSlot* last = store_.find(o.lastSeq);
        q.enterMs = first != nullptr ? first->info.wallClockMs : 0;
        q.leaveMs = last != nullptr ? last->info.wallClockMs : 0;
        queue_.push_back(q);
    }
    (void)seq;
}

namespace {

// Board Y of the line over object `id` in `slot`: the mean of its runs' ends (`fallback` when
// the slot holds none of its runs).
double lineYOver(const FrameSlot& slot, int32_t id, double fallback) {
    double ySum = 0.0;
    uint32_t n = 0;
    for (uint32_t r = 0; r < slot.runCount; ++r) {
        const ProfileRun& run = slot.runs[r];
        if (run.object == id) {
            ySum += slot.points[run.first].y + slot.points[run.first + run.count - 1].y;
            n += 2;
        }
    }
    return n > 0 ? ySum / n : fallback;
}

} // namespace

void CScanner::holdForRear(const Queued& q, const TrackedObject& o) {
    const FrameSlot* last = store_.find(o.lastSeq);
    if (last == nullptr || pending_.size() >= kQueueCapacity) {
        queue_.push_back(q);
        return;
    }
    PendingRear p;
    p.q = q;
    p.x0 = o.lastX0;
    p.x1 = o.lastX1;
    // The line where it would have crossed the object's top: a tilted plane's last profiles walk
    // down its rear face, lower and elsewhere along the belt than the top.
    const double lastZ = o.lastH / models_[0].heightFactor - settings_.chessboardHeight;
    p.topZ = std::max(lastZ, q.fit.box.height / models_[0].heightFactor - settings_.chessboardHeight);
    p.lineY = lineYOver(*last, o.id, 0.0) + (p.topZ - lastZ) * laserPlaneYPerZ(models_[0]);
    p.lastSeq = o.lastSeq;
    // Its points must still be in the store when it goes out.
    p.deadline = o.firstSeq + store_.slotCount() - 4;
    pending_.push_back(p);
}

// The belt showing behind an object clears its rear. A package arriving there decides: if the
// camera's ray to the line at the object's top height, just after its last profile, passed above
// the newcomer's front (where it was then), the object's top would have shown had it gone on:
// its rear was seen. Otherwise, or when nothing decides in time, the object is unmeasurable.
void CScanner::decideRears(uint64_t seq) {
    for (size_t i = 0; i < pending_.size();) {
        PendingRear& p = pending_[i];
        int decided = 0; // 1: rear seen, 2: rear maybe hidden
        int32_t beltBins = 0, all = 0;
        belt_->count(p.x0, p.x1, beltBins, all);
        if (all > 0 && 10 * beltBins >= 3 * all) {
            decided = 1;
        }
        const FrameSlot* after = store_.find(p.lastSeq + 1);
        // Packages that arrived after its last profile, each as it was in its first frame (one
        // close behind may have come before this object was complete).
        for (const TrackedObject& o : tracker_.open()) {
            const FrameSlot* now = o.firstSeq > p.lastSeq ? store_.find(o.firstSeq) : nullptr;
            if (decided != 0 || o.lastX1 < p.x0 || o.lastX0 > p.x1 || now == nullptr || after == nullptr) {
                continue;
            }
            const Vec3& c = cameraCentre_;
            // Its front lay where its first profile did: under a tilted plane the line over its
            // top lies elsewhere along the belt than over this object's top.
            const double frontY =
                lineYOver(*now, o.id, p.lineY) - (now->info.travel[0].y - after->info.travel[0].y);
            const double frontZ = o.lastH / models_[0].heightFactor - settings_.chessboardHeight;
            if (c.y >= p.lineY || frontY >= p.lineY) {
                decided = 1; // nothing that follows stands between the camera and the line
                continue;
            }
            const double s = (p.lineY - frontY) / (p.lineY - c.y);
            const double rayZ = p.topZ + (c.z - p.topZ) * s;
            // One that came before this frame may clear it; hiding it is left to the belt, which
            // may still show behind it, or to the deadline.
            decided = rayZ > frontZ + 1.0 ? 1 : o.firstSeq == seq ? 2 : 0;
        }
        if (decided == 0 && seq >= p.deadline) {
            decided = 2;
        }
        if (decided == 0) {
            ++i;
            continue;
        }
        p.q.fit.object.rearHidden = decided == 2;
        p.q.reportable = isReportable(p.q.fit);
        if (queue_.size() < kQueueCapacity) {
            queue_.push_back(p.q);
        }
        pending_.erase(pending_.begin() + static_cast<ptrdiff_t>(i));
    }
}

// Something passed that showed no line at all: what is known of it is the stretch of belt it
// hid and how long it hid it. It is reported as unmeasurable, with no height and no points.
void CScanner::queueBlind(const BlindTrack& t) {
    const FrameSlot* first = store_.find(t.firstSeq);
    const FrameSlot* last = store_.find(t.lastSeq);
    const double spanX = t.x1 - t.x0;
    if (first == nullptr || last == nullptr || queue_.size() >= kQueueCapacity) {
        return;
    }
    const double travelY = last->info.travel[0].y - first->info.travel[0].y;
    const double travelX = last->info.travel[0].x - first->info.travel[0].x;
    const double spanY = std::fabs(travelY);
    // Shorter or narrower than any reportable box: a passing flicker of the line, not a package.
    if (std::max(spanX, spanY) < settings_.minLength || std::min(spanX, spanY) < settings_.minWidth) {
        return;
    }
    Queued q;
    q.fit.object.id = -1; // owns no run
    q.fit.object.firstSeq = t.firstSeq;
    q.fit.object.lastSeq = t.lastSeq;
    LpmcBox& box = q.fit.box;
    box.center[0] = static_cast<float>(0.5 * (t.x0 + t.x1) - 0.5 * travelX);
    box.center[1] = static_cast<float>(t.y - 0.5 * travelY);
    const bool alongBelt = spanY >= spanX;
    box.axis1[0] = alongBelt ? 0.0f : 1.0f;
    box.axis1[1] = alongBelt ? 1.0f : 0.0f;
    box.axis0[0] = box.axis1[1];
    box.axis0[1] = -box.axis1[0];
    box.axis2[2] = 1.0f;
    box.length = static_cast<float>(std::max(spanX, spanY));
    box.width = static_cast<float>(std::min(spanX, spanY));
    box.objEnterTime = first->info.timestamp;
    box.objLeaveTime = last->info.timestamp;
    q.reportable = false;
    q.enterMs = first->info.wallClockMs;
    q.leaveMs = last->info.wallClockMs;
    queue_.push_back(q);
}

// Results go out as soon as objects are complete, or, with scan_package_intime_flag 0, once the
// line is clear of every object, so that packages seen together are reported together; early
// when the queue is full or when its oldest frames are about to be overwritten.
bool CScanner::emitDue(uint64_t seq) const {
    if (queue_.empty()) {
        return false;
    }
    if (settings_.inTime || tracker_.openCount() == 0) {
        return true;
    }
    size_t reportable = 0;
    uint64_t oldest = seq;
    for (const Queued& q : queue_) {
        reportable += q.reportable ? 1 : 0;
        oldest = std::min(oldest, q.fit.object.firstSeq);
    }
    return reportable >= LPMC_MAX_BOXES || queue_.size() >= kQueueCapacity / 2 ||
           seq + 2 >= oldest + store_.slotCount();
}

void CScanner::emit(LpmcResult& result) {
    // Measured boxes first; objects that can't be reported as measured go out on their own.
    const bool anyReportable =
        std::any_of(queue_.begin(), queue_.end(), [](const Queued& q) { return q.reportable; });
    const int64_t nowMs = wallClockNowMs();
    int32_t n = 0;
    size_t pointCount = 0;
    float* pts = points_.get();
    float* aux = aux_.get();
    for (auto it = queue_.begin(); it != queue_.end() && n < LPMC_MAX_BOXES;) {
        if (it->reportable != anyReportable) {
            ++it;
            continue;
        }
        LpmcBox& box = boxes_[static_cast<size_t>(n)];
        box = it->fit.box;
        toLocalSysTime(it->enterMs, box.enter_sys_time);
        toLocalSysTime(it->leaveMs, box.leave_sys_time);
        toLocalSysTime(nowMs, box.output_sys_time);
        result.boxes[n++] = &box;
        const TrackedObject& o = it->fit.object;
        const FrameSlot* first = store_.find(o.firstSeq);
        for (uint64_t seq = o.firstSeq; first != nullptr && seq <= o.lastSeq; ++seq) {
            const FrameSlot* slot = store_.find(seq);
            if (slot == nullptr) {
                continue;
            }
            for (uint32_t r = 0; r < slot->runCount; ++r) {
                const ProfileRun& run = slot->runs[r];
                if (run.object != o.id) {
                    continue;
                }
                const double factor = models_[run.camera].heightFactor;
                for (uint32_t i = 0; i < run.count && pointCount < pointCapacity_; ++i) {
                    const ProfilePoint& p = slot->points[run.first + i];
                    const Point2 q = CBoxFitter::reported(p, *slot, *first, run.camera);
                    pts[3 * pointCount] = static_cast<float>(q.x);
                    pts[3 * pointCount + 1] = static_cast<float>(q.y);
                    pts[3 * pointCount + 2] = p.h;
                    aux[3 * pointCount] = p.x;
                    aux[3 * pointCount + 1] = p.y;
                    aux[3 * pointCount + 2] = static_cast<float>(p.h / factor - settings_.chessboardHeight);
                    ++pointCount;
                }
            }
        }
        it = queue_.erase(it);
    }
    result.volumeNum = n;
    result.resultState = anyReportable ? LPMC_STATE_BOXES : LPMC_STATE_UNMEASURED;
    result.pointCount = static_cast<int32_t>(pointCount);
}

int32_t CScanner::process(const LpmcInput& input, LpmcResult& result) {
    if (!configured_) {
        return LPMC_ERR_NOT_CONFIGURED;
    }
    const int32_t rc = checkInput(input);
    if (rc != LPMC_OK) {
        return rc;
    }
    result.points = points_.get();
    result.auxPoints = aux_.get();
    result.pointCount = 0;
    result.resultState = LPMC_STATE_NONE;
    result.volumeNum = 0;
    for (auto& b : result.boxes) {
        b = nullptr;
    }
    const uint64_t seq = nextSeq_++;
    noteLostFrames(input.missingFrames, seq);
    FrameSlot& slot = store_.begin(seq);
    slot.info.wallClockMs = wallClockNowMs();
    advanceTravel(input, slot.info);
    takeProfiles(input, slot);
    completed_.clear();
    tracker_.track(slot, completed_, belt_.get(), beltBefore_.get());
    tracker_.noteFronts(seq, beltHistory_);
    beltHistory_.update(*belt_, seq);
    finishObjects(seq);
    decideRears(seq);
    blind_.clear();
    holes_.track(seq, frameHoles_.data(), frameHoleCount_, slot.runs, slot.runCount, *belt_, blind_);
    for (const BlindTrack& t : blind_) {
        queueBlind(t);
    }
    if (emitDue(seq)) {
        emit(result);
    }
    return LPMC_OK;
}

} // namespace lpmc
