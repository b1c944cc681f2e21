/* The interface of an output plug-in: a dynamic library named in the site file (setting
 * OutputPlugin = Name&arguments) that receives every finished box on the measurement thread.
 * It exports the three functions below with C linkage. Usable from C99 and C++. */
#ifndef V3D_PLUGIN_H
#define V3D_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define V3D_PLUGIN_EXPORT __declspec(dllexport)
#else
#define V3D_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One box, 560 bytes. Only the five named fields are written: the other bytes hold whatever
 * was there, so a plug-in must read nothing else. Valid during the call only. */
typedef struct V3dPluginRecord {
    uint32_t size; /* always 560 */
    uint8_t notWritten0[4];
    double length; /* mm */
    double width;  /* mm */
    double height; /* mm */
    double volume; /* mm^3 */
    uint8_t notWritten1[520];
} V3dPluginRecord;

/* Called once when a measuring object is initialised, with the text after the first '&' of the
 * setting; *context is null on entry, and the plug-in may store its own object there. 0 is
 * success; anything else keeps the measuring object from starting. */
typedef int32_t (*V3dPluginInitFn)(const char* args, void** context);
/* Called on the measurement thread for each finished box; the result is ignored. Two measuring
 * objects call their own contexts from their own threads at the same time. */
typedef int32_t (*V3dPluginProcFn)(void* context, const void* record, uint32_t size);
/* Called once when the measuring object is finalised, if init set a context. */
typedef void (*V3dPluginFiniFn)(void* context);

#ifdef __cplusplus
}
#endif

#if defined(__cplusplus)
static_assert(sizeof(V3dPluginRecord) == 560, "plug-in record size");
static_assert(offsetof(V3dPluginRecord, size) == 0, "plug-in record size field");
static_assert(offsetof(V3dPluginRecord, notWritten0) == 4, "plug-in record gap");
static_assert(offsetof(V3dPluginRecord, length) == 8, "plug-in record length");
static_assert(offsetof(V3dPluginRecord, width) == 16, "plug-in record width");
static_assert(offsetof(V3dPluginRecord, height) == 24, "plug-in record height");
static_assert(offsetof(V3dPluginRecord, volume) == 32, "plug-in record volume");
static_assert(offsetof(V3dPluginRecord, notWritten1) == 40, "plug-in record tail");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(V3dPluginRecord) == 560, "plug-in record size");
_Static_assert(offsetof(V3dPluginRecord, length) == 8, "plug-in record length");
_Static_assert(offsetof(V3dPluginRecord, volume) == 32, "plug-in record volume");
_Static_assert(offsetof(V3dPluginRecord, notWritten1) == 40, "plug-in record tail");
#endif

#endif /* V3D_PLUGIN_H */
