// The window along the belt over which one profile gathers its light: the laser sheet's
// Gaussian profile along the belt seen through the exposure, during which the belt moves. A
// profile whose window straddles an edge of a surface shows that surface's line at the share of
// the window that lies on it.
#pragma once

namespace lpmc {

class CLightWindow {
public:
    CLightWindow() = default;
    // sheetFwhm: the sheet's full width at half maximum along the belt, mm; travel: mm the belt
    // moves while a frame is exposed, the exposure centred on the frame's stamp.
    CLightWindow(double sheetFwhm, double travel);

    bool known() const { return sigma_ > 0.0 || travel_ > 0.0; }
    // Share of the light that falls at most `t` mm ahead of the profile's own position.
    double share(double t) const;
    // The `t` at which share(t) == f, for 0 < f < 1.
    double offsetOfShare(double f) const;
    // Beyond this many mm either way the window holds less than a millionth of its light.
    double reach() const;

private:
    double sigma_ = 0.0;
    double travel_ = 0.0;
};

} // namespace lpmc
