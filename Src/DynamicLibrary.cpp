#include "DynamicLibrary.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace Orvia::VisionSystem {

#if defined(_WIN32)
const char* dynamicLibrarySuffix() {
    return ".dll";
}
void* loadDynamicLibrary(const char* name) {
    return reinterpret_cast<void*>(LoadLibraryA(name));
}
void* findLibrarySymbol(void* library, const char* symbol) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), symbol));
}
void unloadDynamicLibrary(void* library) {
    FreeLibrary(static_cast<HMODULE>(library));
}
#else
const char* dynamicLibrarySuffix() {
    return ".so";
}
void* loadDynamicLibrary(const char* name) {
    return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}
void* findLibrarySymbol(void* library, const char* symbol) {
    return dlsym(library, symbol);
}
void unloadDynamicLibrary(void* library) {
    dlclose(library);
}
#endif

} // namespace Orvia::VisionSystem
