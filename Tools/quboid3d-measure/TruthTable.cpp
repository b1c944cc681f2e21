#include "TruthTable.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include <rapidjson/document.h>

namespace quboid3d::measure {
namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

double number(const rapidjson::Value& object, const char* key) {
    const auto found = object.FindMember(key);
    return found != object.MemberEnd() && found->value.IsNumber() ? found->value.GetDouble() : 0.0;
}

// Slant angles of a rectangle repeat every 180 degrees, of a square every 90.
double slantDifference(double measured, double truth, bool square) {
    const double period = square ? 90.0 : 180.0;
    double d = std::fmod(measured - truth, period);
    if (d > period / 2)
        d -= period;
    if (d < -period / 2)
        d += period;
    return d;
}

} // namespace

bool loadTruth(const std::string& path, std::vector<TruthObject>& objects, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "can't open " + path;
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    rapidjson::Document document;
    document.Parse(text.str().c_str());
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("objects") ||
        !document["objects"].IsArray()) {
        error = path + " is not a truth file";
        return false;
    }
    for (const auto& item : document["objects"].GetArray()) {
        if (!item.IsObject() || (item.HasMember("seen") && item["seen"].IsBool() && !item["seen"].GetBool()))
            continue;
        TruthObject object;
        object.name = item.HasMember("name") && item["name"].IsString() ? item["name"].GetString() : "?";
        object.length = number(item, "length");
        object.width = number(item, "width");
        object.height = number(item, "height");
        object.slantDeg = number(item, "slantAngle");
        object.enterTime = number(item, "enterTime");
        objects.push_back(object);
    }
    return true;
}

MeasuredBox measuredFrom(const VslbVolumeResult& result) {
    return MeasuredBox{result.length, result.width, result.height, result.slantAngle * kDegreesPerRadian,
                       static_cast<double>(result.objEnterTime)};
}

int printComparison(std::FILE* out, const std::vector<TruthObject>& truth,
                    const std::vector<MeasuredBox>& measured) {
    std::fprintf(out, "\n%-12s %-24s %-24s %7s %7s %7s %16s\n", "object", "true L x W x H (mm)",
                 "measured L x W x H", "dL", "dW", "dH", "slant true/meas");
    std::vector<bool> used(measured.size(), false);
    double worst[3] = {0, 0, 0};
    int missed = 0;
    for (const TruthObject& object : truth) {
        std::size_t best = measured.size();
        double bestGap = std::numeric_limits<double>::max();
        for (std::size_t i = 0; i < measured.size(); ++i) {
            const double gap = std::abs(measured[i].enterTime - object.enterTime);
            if (!used[i] && gap < bestGap) {
                best = i;
                bestGap = gap;
            }
        }
        char trueText[64];
        std::snprintf(trueText, sizeof trueText, "%.1f x %.1f x %.1f", object.length, object.width,
                      object.height);
        if (best == measured.size()) {
            std::fprintf(out, "%-12s %-24s %-24s\n", object.name.c_str(), trueText, "(not measured)");
            ++missed;
            continue;
        }
        used[best] = true;
        const MeasuredBox& box = measured[best];
        const double d[3] = {box.length - object.length, box.width - object.width,
                             box.height - object.height};
        for (int i = 0; i < 3; ++i)
            worst[i] = std::max(worst[i], std::abs(d[i]));
        char measuredText[64];
        std::snprintf(measuredText, sizeof measuredText, "%.1f x %.1f x %.1f", box.length, box.width,
                      box.height);
        const bool square = std::abs(object.length - object.width) < 1.0;
        std::fprintf(out, "%-12s %-24s %-24s %+7.1f %+7.1f %+7.1f %7.1f/%-7.1f (%+.2f)\n",
                     object.name.c_str(), trueText, measuredText, d[0], d[1], d[2], object.slantDeg,
                     box.slantDeg, slantDifference(box.slantDeg, object.slantDeg, square));
    }
    std::fprintf(
        out, "largest difference: length %.1f mm, width %.1f mm, height %.1f mm; %d of %zu objects missed\n",
        worst[0], worst[1], worst[2], missed, truth.size());
    return missed;
}

} // namespace quboid3d::measure
