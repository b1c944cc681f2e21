// The one table of the features behind the control objects' positional accessors, by their
// standard feature names (SFNC):
//
// | control              | accessor              | node         | feature              |
// |----------------------|-----------------------|--------------|----------------------|
// | IAcquisitionControl  | acquisitionDoubleNode | CDoubleNode  | AcquisitionFrameRate |
// |                      | triggerSelectorNode   | CEnumNode    | TriggerSelector      |
// |                      | triggerModeNode       | CEnumNode    | TriggerMode          |
// |                      | triggerSourceNode     | CEnumNode    | TriggerSource        |
// |                      | triggerCommandNode    | CCmdNode     | TriggerSoftware      |
// | IImageFormatControl  | imageFormatIntNode1   | CIntNode     | Width                |
// |                      | imageFormatIntNode2   | CIntNode     | Height               |
// |                      | imageFormatIntNode3   | CIntNode     | OffsetX              |
// |                      | imageFormatIntNode4   | CIntNode     | OffsetY              |
// |                      | pixelFormatNode       | CEnumNode    | PixelFormat          |
// | IAnalogControl       | analogDoubleNode1     | CDoubleNode  | Gain                 |
// |                      | analogDoubleNode2     | CDoubleNode  | BlackLevel           |
// | IISPControl          | ispIntNode1           | CIntNode     | Brightness           |
// |                      | ispIntNode2           | CIntNode     | Sharpness            |
// | IUserSetControl      | userSetCallOne(n)     | CEnumNode    | UserSetSelector := "UserSet<n>" |
// |                      | userSetCallTwo(n)     | CCmdNode     | UserSetSelector := "UserSet<n>", then
// UserSetSave | | IDeviceControl       | labelNode             | CStringNode  | DeviceUserID         |
#pragma once

namespace Orvia::GenICam::FeatureNames {

inline constexpr const char* kAcquisitionFrameRate = "AcquisitionFrameRate";
inline constexpr const char* kTriggerSelector = "TriggerSelector";
inline constexpr const char* kTriggerMode = "TriggerMode";
inline constexpr const char* kTriggerSource = "TriggerSource";
inline constexpr const char* kTriggerSoftware = "TriggerSoftware";
inline constexpr const char* kWidth = "Width";
inline constexpr const char* kHeight = "Height";
inline constexpr const char* kOffsetX = "OffsetX";
inline constexpr const char* kOffsetY = "OffsetY";
inline constexpr const char* kPixelFormat = "PixelFormat";
inline constexpr const char* kGain = "Gain";
inline constexpr const char* kBlackLevel = "BlackLevel";
inline constexpr const char* kBrightness = "Brightness";
inline constexpr const char* kSharpness = "Sharpness";
inline constexpr const char* kUserSetSelector = "UserSetSelector";
inline constexpr const char* kUserSetSave = "UserSetSave";
inline constexpr const char* kDeviceUserId = "DeviceUserID";
inline constexpr const char* kTimestampTickFrequency = "GevTimestampTickFrequency";

} // namespace Orvia::GenICam::FeatureNames
