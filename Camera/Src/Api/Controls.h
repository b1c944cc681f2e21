// The control objects CSystem makes: each builds its nodes on the device by the names of
// Orvia/GenICam/FeatureNames.h.
#pragma once

#include "Orvia/GenICam/Controls.h"
#include "Orvia/GenICam/FeatureNames.h"

namespace Orvia::GenICam::Detail {

using CameraPtr = Memory::TSharedPtr<ICamera>;

class CAcquisitionControl : public IAcquisitionControl {
public:
    explicit CAcquisitionControl(CameraPtr camera) : camera_(std::move(camera)) {}
    CDoubleNode acquisitionDoubleNode() const override {
        return {camera_, FeatureNames::kAcquisitionFrameRate};
    }
    CEnumNode triggerSelectorNode() const override { return {camera_, FeatureNames::kTriggerSelector}; }
    CEnumNode triggerModeNode() const override { return {camera_, FeatureNames::kTriggerMode}; }
    CEnumNode triggerSourceNode() const override { return {camera_, FeatureNames::kTriggerSource}; }
    CCmdNode triggerCommandNode() const override { return {camera_, FeatureNames::kTriggerSoftware}; }

private:
    CameraPtr camera_;
};

class CImageFormatControl : public IImageFormatControl {
public:
    explicit CImageFormatControl(CameraPtr camera) : camera_(std::move(camera)) {}
    CIntNode imageFormatIntNode1() const override { return {camera_, FeatureNames::kWidth}; }
    CIntNode imageFormatIntNode2() const override { return {camera_, FeatureNames::kHeight}; }
    CIntNode imageFormatIntNode3() const override { return {camera_, FeatureNames::kOffsetX}; }
    CIntNode imageFormatIntNode4() const override { return {camera_, FeatureNames::kOffsetY}; }
    CEnumNode pixelFormatNode() const override { return {camera_, FeatureNames::kPixelFormat}; }

private:
    CameraPtr camera_;
};

class CAnalogControl : public IAnalogControl {
public:
    explicit CAnalogControl(CameraPtr camera) : camera_(std::move(camera)) {}
    CDoubleNode analogDoubleNode1() const override { return {camera_, FeatureNames::kGain}; }
    CDoubleNode analogDoubleNode2() const override { return {camera_, FeatureNames::kBlackLevel}; }

private:
    CameraPtr camera_;
};

class CIspControl : public IISPControl {
public:
    explicit CIspControl(CameraPtr camera) : camera_(std::move(camera)) {}
    CIntNode ispIntNode1() const override { return {camera_, FeatureNames::kBrightness}; }
    CIntNode ispIntNode2() const override { return {camera_, FeatureNames::kSharpness}; }

private:
    CameraPtr camera_;
};

class CUserSetControl : public IUserSetControl {
public:
    explicit CUserSetControl(CameraPtr camera) : camera_(std::move(camera)) {}
    bool userSetCallOne(int32_t number) override;
    bool userSetCallTwo(int32_t number) override;

private:
    CameraPtr camera_;
};

class CDeviceControl : public IDeviceControl {
public:
    explicit CDeviceControl(CameraPtr camera) : camera_(std::move(camera)) {}
    CStringNode labelNode() const override { return {camera_, FeatureNames::kDeviceUserId}; }

private:
    CameraPtr camera_;
};

} // namespace Orvia::GenICam::Detail
