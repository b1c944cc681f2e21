// Loading a dynamic library by name, the platform's way.
#pragma once

namespace Orvia::VisionSystem {

// The file suffix of a dynamic library on this platform: ".dll" or ".so".
const char* dynamicLibrarySuffix();
// Loads through the system's search order; null on failure.
void* loadDynamicLibrary(const char* name);
// Null if the library lacks the symbol.
void* findLibrarySymbol(void* library, const char* symbol);
void unloadDynamicLibrary(void* library);

} // namespace Orvia::VisionSystem
