/* Uses the library from C99 through its public header: the header compiles as C, the
 * functions link with C names, and the basic codes come back. */
#include <stdio.h>
#include <string.h>

#include "Quboid3DSdk.h"

static int failures = 0;

static void expectCode(const char* what, int32_t actual, int32_t expected) {
    if (actual != expected) {
        fprintf(stderr, "%s: got %d, expected %d\n", what, (int)actual, (int)expected);
        ++failures;
    }
}

int main(void) {
    const char* version = NULL;
    VslbHandle handle;
    VslbVolumeResult record;

    expectCode("get version", vslbQuboid3DGetVersion(&version), VSLB_OK);
    if (version == NULL || strcmp(version, "1.3.5.62917(2018/09/14)") != 0) {
        fprintf(stderr, "unexpected version text\n");
        ++failures;
    }

    handle = vslbQuboid3DCreate();
    if (handle == 0) {
        fprintf(stderr, "create gave handle 0\n");
        ++failures;
    }
    expectCode("init with null dir", vslbQuboid3DInit(handle, NULL), VSLB_ERR_NULL_ARGUMENT);
    expectCode("camera status callback", vslbSetCameraStatusCallback(handle, NULL), VSLB_OK);
    expectCode("image output", vslbEnableImageOutput(handle, 1), VSLB_ERR_NOT_IMPLEMENTED);
    expectCode("image option", vslbSetImageOutputOption(handle, 1, "x"), VSLB_ERR_NOT_IMPLEMENTED);
    vslbQuboid3DDestroy(handle);
    expectCode("stop after destroy", vslbQuboid3DStop(handle), VSLB_ERR_BAD_HANDLE);

    memset(&record, 0, sizeof record);
    if (sizeof record != 552 || sizeof(VslbCameraStatus) != 272) {
        fprintf(stderr, "record sizes differ\n");
        ++failures;
    }

    printf("CApiFromC: %d failure(s)\n", failures);
    return failures == 0 ? 0 : 1;
}
