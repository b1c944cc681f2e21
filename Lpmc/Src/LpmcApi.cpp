// The five exported functions: argument checks, then the instance does the work.
#include <new>

#include "Lpmc.h"
#include "Scanner.h"

namespace {

lpmc::CScanner* scannerOf(void* handle) {
    return static_cast<lpmc::CScanner*>(handle);
}

} // namespace

extern "C" {

LPMC_API int32_t lpmcCreate(void** handle, LpmcCreateParam* param) {
    if (handle == nullptr) {
        return LPMC_ERR_NULL_HANDLE;
    }
    *handle = nullptr;
    if (param == nullptr) {
        return LPMC_ERR_NULL_ARGUMENT;
    }
    auto* scanner = new (std::nothrow) lpmc::CScanner();
    if (scanner == nullptr) {
        return LPMC_ERR_NO_MEMORY;
    }
    const int32_t rc = scanner->create(*param);
    if (rc != LPMC_OK) {
        delete scanner;
        return rc;
    }
    *handle = scanner;
    return LPMC_OK;
}

LPMC_API int32_t lpmcGetConfig(void* handle, LpmcConfig* config) {
    if (handle == nullptr) {
        return LPMC_ERR_NULL_HANDLE;
    }
    if (config == nullptr) {
        return LPMC_ERR_NULL_ARGUMENT;
    }
    return scannerOf(handle)->getConfig(*config);
}

LPMC_API int32_t lpmcSetConfig(void* handle, LpmcConfig* config) {
    if (handle == nullptr) {
        return LPMC_ERR_NULL_HANDLE;
    }
    if (config == nullptr) {
        return LPMC_ERR_NULL_ARGUMENT;
    }
    return scannerOf(handle)->setConfig(*config);
}

LPMC_API int32_t lpmcProcess(void* handle, LpmcInput* input, LpmcResult* result) {
    if (handle == nullptr) {
        return LPMC_ERR_NULL_HANDLE;
    }
    if (input == nullptr || result == nullptr) {
        return LPMC_ERR_NULL_ARGUMENT;
    }
    return scannerOf(handle)->process(*input, *result);
}

LPMC_API int32_t lpmcRelease(void* handle) {
    delete scannerOf(handle);
    return LPMC_OK;
}

} // extern "C"
