#include "BoxPrinter.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace quboid3d::measure {
namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

const char* cameraStatusName(int status) {
    switch (status) {
    case VSLB_CAMERA_OFFLINE:
        return "offline";
    case VSLB_CAMERA_RECONNECTING:
        return "reconnecting";
    case VSLB_CAMERA_RECONNECTED:
        return "reconnected";
    case VSLB_CAMERA_RECONNECT_TIMEOUT:
        return "reconnect timeout";
    default:
        return "unknown";
    }
}

template <class Writer>
void writeTriple(Writer& writer, const float (&v)[3]) {
    writer.StartArray();
    for (float value : v)
        writer.Double(value);
    writer.EndArray();
}

} // namespace

void printBoxText(std::FILE* out, int index, const VslbVolumeResult& box) {
    if (box.detailed == 0) {
        std::fprintf(out, "object %d (not measurable as a box): L %.1f  W %.1f  H %.1f mm\n", index,
                     box.length, box.width, box.height);
        return;
    }
    std::fprintf(out, "box %d: L %.1f  W %.1f  H %.1f mm  V %.1f cm3  slant %.2f deg\n", index, box.length,
                 box.width, box.height, box.volume / 1000.0, box.slantAngle * kDegreesPerRadian);
    std::fprintf(out, "  corners:");
    for (const auto& corner : box.corners)
        std::fprintf(out, " (%.1f, %.1f, %.1f)", corner[0], corner[1], corner[2]);
    std::fprintf(out, "\n  top centre: (%.1f, %.1f, %.1f)\n", box.topCenter[0], box.topCenter[1],
                 box.topCenter[2]);
    std::fprintf(
        out, "  enter %llu  leave %llu (frame time)  enter %llu  leave %llu  output %llu (ms since epoch)\n",
        static_cast<unsigned long long>(box.objEnterTime), static_cast<unsigned long long>(box.objLeaveTime),
        static_cast<unsigned long long>(box.enter_sys_time),
        static_cast<unsigned long long>(box.leave_sys_time),
        static_cast<unsigned long long>(box.output_sys_time));
    std::fflush(out);
}

void printBoxJson(std::FILE* out, int index, const VslbVolumeResult& box) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    writer.Key("index");
    writer.Int(index);
    writer.Key("detailed");
    writer.Bool(box.detailed != 0);
    writer.Key("length");
    writer.Double(box.length);
    writer.Key("width");
    writer.Double(box.width);
    writer.Key("height");
    writer.Double(box.height);
    writer.Key("volume");
    writer.Double(box.volume);
    if (box.detailed != 0) {
        writer.Key("corners");
        writer.StartArray();
        for (const auto& corner : box.corners)
            writeTriple(writer, corner);
        writer.EndArray();
        writer.Key("topCenter");
        writeTriple(writer, box.topCenter);
        writer.Key("slantAngleDeg");
        writer.Double(box.slantAngle * kDegreesPerRadian);
        writer.Key("objEnterTime");
        writer.Uint64(box.objEnterTime);
        writer.Key("objLeaveTime");
        writer.Uint64(box.objLeaveTime);
        writer.Key("enterSysTime");
        writer.Uint64(box.enter_sys_time);
        writer.Key("leaveSysTime");
        writer.Uint64(box.leave_sys_time);
        writer.Key("outputSysTime");
        writer.Uint64(box.output_sys_time);
    }
    writer.EndObject();
    std::fprintf(out, "%s\n", buffer.GetString());
    std::fflush(out);
}

void printCameraStatus(std::FILE* out, int status, bool json) {
    if (json)
        std::fprintf(out, "{\"cameraStatus\":%d,\"name\":\"%s\"}\n", status, cameraStatusName(status));
    else
        std::fprintf(out, "camera status: %s (%d)\n", cameraStatusName(status), status);
    std::fflush(out);
}

const char* codeName(int code) {
    switch (code) {
    case VSLB_OK:
        return "VSLB_OK";
    case VSLB_ERR_FAILED:
        return "VSLB_ERR_FAILED";
    case VSLB_ERR_NO_CAMERA:
        return "VSLB_ERR_NO_CAMERA";
    case VSLB_ERR_OPEN_CAMERA:
        return "VSLB_ERR_OPEN_CAMERA";
    case VSLB_ERR_OPEN_LOCAL_DIR:
        return "VSLB_ERR_OPEN_LOCAL_DIR";
    case VSLB_ERR_LPMC_REFUSED:
        return "VSLB_ERR_LPMC_REFUSED";
    case VSLB_ERR_READ_CFG:
        return "VSLB_ERR_READ_CFG";
    case VSLB_ERR_LPMC_CREATE:
        return "VSLB_ERR_LPMC_CREATE";
    case VSLB_ERR_SET_CONFIG:
        return "VSLB_ERR_SET_CONFIG";
    case VSLB_ERR_WRITE_CALIB:
        return "VSLB_ERR_WRITE_CALIB";
    case VSLB_ERR_OUTPUT_PLUGIN:
        return "VSLB_ERR_OUTPUT_PLUGIN";
    case VSLB_ERR_RECONNECT_TIMEOUT:
        return "VSLB_ERR_RECONNECT_TIMEOUT";
    case VSLB_ERR_NULL_ARGUMENT:
        return "VSLB_ERR_NULL_ARGUMENT";
    case VSLB_ERR_BAD_HANDLE:
        return "VSLB_ERR_BAD_HANDLE";
    case VSLB_ERR_NOT_IMPLEMENTED:
        return "VSLB_ERR_NOT_IMPLEMENTED";
    default:
        return "unknown code";
    }
}

const char* codeMeaning(int code) {
    switch (code) {
    case VSLB_ERR_NO_CAMERA:
        return "no usable camera found";
    case VSLB_ERR_OPEN_CAMERA:
        return "the camera could not be opened";
    case VSLB_ERR_OPEN_LOCAL_DIR:
        return "./LocalImages/ could not be opened (local mode)";
    case VSLB_ERR_LPMC_REFUSED:
        return "the sheet-of-light library refused the calibration";
    case VSLB_ERR_READ_CFG:
        return "calibration or scan files missing or unreadable in the configuration directory";
    case VSLB_ERR_LPMC_CREATE:
        return "the sheet-of-light library could not be created";
    case VSLB_ERR_SET_CONFIG:
        return "the scan configuration was refused";
    case VSLB_ERR_WRITE_CALIB:
        return "calibration from the camera could not be written";
    case VSLB_ERR_OUTPUT_PLUGIN:
        return "the output plug-in could not be loaded or started";
    default:
        return "failure";
    }
}

} // namespace quboid3d::measure
