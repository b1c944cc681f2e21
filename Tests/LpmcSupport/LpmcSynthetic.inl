// Template part of LpmcSynthetic.h.
#pragma once

namespace lpmctest {

template <typename Edit>
int32_t openInstance(const Station& st, const Calibration& cal, int32_t frameNum, Instance& inst, Edit edit) {
    LpmcCreateParam p{};
    p.frameNum = frameNum;
    p.cameraCount = 1;
    p.imageSize[0] = {st.design.width, st.design.height};
    p.calib[0] = const_cast<LpmcCameraCalib*>(&cal.calib);
    p.reserved0 = 0;
    p.reserved1 = 2;
    int32_t rc = lpmcCreate(&inst.handle, &p);
    if (rc != 0) {
        return rc;
    }
    inst.config = LpmcConfig{};
    inst.config.region[0] = &inst.region;
    rc = lpmcGetConfig(inst.handle, &inst.config);
    if (rc != 0) {
        return rc;
    }
    inst.config.scan_chessboard_height = st.design.chessboardHeight;
    edit(inst.config);
    return lpmcSetConfig(inst.handle, &inst.config);
}

} // namespace lpmctest
