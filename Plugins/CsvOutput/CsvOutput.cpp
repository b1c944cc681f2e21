// CsvOutput: an output plug-in that appends one row per box to a CSV file. Its argument text is
// the file's path. Every row is flushed at once, so a box that was reported is on disk even if
// the process dies right after. Rows of measuring objects that share the file never interleave.
#include <cstdio>
#include <mutex>
#include <string>

#include "LocalTimeText.h"
#include "V3dPlugin.h"

namespace {

constexpr const char* kHeader = "time,length_mm,width_mm,height_mm,volume_mm3\n";

// One for the whole process: objects writing to the same file must not mix their rows.
std::mutex writeMutex;

struct CsvFile {
    std::FILE* file = nullptr;
};

bool isEmpty(std::FILE* file) {
    std::fseek(file, 0, SEEK_END);
    return std::ftell(file) == 0;
}

} // namespace

extern "C" {

V3D_PLUGIN_EXPORT int32_t v3dPluginInit(const char* args, void** context) {
    if (args == nullptr || *args == '\0')
        return 1;
    std::lock_guard lock(writeMutex);
    std::FILE* file = std::fopen(args, "a");
    if (file == nullptr)
        return 2;
    if (isEmpty(file)) {
        std::fputs(kHeader, file);
        std::fflush(file);
    }
    *context = new CsvFile{file};
    return 0;
}

V3D_PLUGIN_EXPORT int32_t v3dPluginProc(void* context, const void* record, uint32_t size) {
    if (context == nullptr || record == nullptr || size < sizeof(V3dPluginRecord))
        return 1;
    const auto* box = static_cast<const V3dPluginRecord*>(record);
    const std::string time = quboid3d::csv::localTimeWithMilliseconds();
    std::lock_guard lock(writeMutex);
    std::FILE* file = static_cast<CsvFile*>(context)->file;
    std::fprintf(file, "%s,%.2f,%.2f,%.2f,%.1f\n", time.c_str(), box->length, box->width, box->height,
                 box->volume);
    return std::fflush(file) == 0 ? 0 : 3;
}

V3D_PLUGIN_EXPORT void v3dPluginFini(void* context) {
    auto* csv = static_cast<CsvFile*>(context);
    if (csv == nullptr)
        return;
    {
        std::lock_guard lock(writeMutex);
        std::fclose(csv->file);
    }
    delete csv;
}

} // extern "C"
