#include "LightWindow.h"

#include <algorithm>
#include <cmath>

namespace lpmc {
namespace {

constexpr double kSqrt2 = 1.4142135623730951;
constexpr double kInvSqrt2Pi = 0.3989422804014327;

double normalCdf(double z) {
    return 0.5 * std::erfc(-z / kSqrt2);
}

// An antiderivative of normalCdf(x / sigma) in x.
double integratedCdf(double x, double sigma) {
    const double z = x / sigma;
    return x * normalCdf(z) + sigma * kInvSqrt2Pi * std::exp(-0.5 * z * z);
}

} // namespace

CLightWindow::CLightWindow(double sheetFwhm, double travel)
    : sigma_(std::max(0.0, sheetFwhm) / (2.0 * std::sqrt(2.0 * std::log(2.0)))),
      travel_(std::max(0.0, travel)) {}

double CLightWindow::share(double t) const {
    if (sigma_ <= 0.0) {
        return travel_ > 0.0 ? std::clamp((t + 0.5 * travel_) / travel_, 0.0, 1.0) : (t >= 0.0 ? 1.0 : 0.0);
    }
    if (travel_ <= 1e-9) {
        return normalCdf(t / sigma_);
    }
    const double h = 0.5 * travel_;
    return std::clamp((integratedCdf(t + h, sigma_) - integratedCdf(t - h, sigma_)) / travel_, 0.0, 1.0);
}

double CLightWindow::reach() const {
    return 0.5 * travel_ + 5.0 * sigma_;
}

double CLightWindow::offsetOfShare(double f) const {
    double lo = -reach(), hi = reach();
    for (int i = 0; i < 60 && hi - lo > 1e-6; ++i) {
        const double mid = 0.5 * (lo + hi);
        (share(mid) < f ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

} // namespace lpmc
