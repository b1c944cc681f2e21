/* A C99 caller of the sheet-of-light library: the header compiles as C, and the five functions
 * link and run from C. A flat camera looking straight down at a laser plane across the belt. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Lpmc.h"

#define WIDTH 64
#define HEIGHT 32

static int fail(const char* what, int32_t code) {
    fprintf(stderr, "%s: %d\n", what, (int)code);
    return 1;
}

int main(void) {
    double intrinsics[9] = {100.0, 0.0, 31.5, 0.0, 100.0, 15.5, 0.0, 0.0, 1.0};
    double distortion[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
    /* Camera 1000 mm above the board, looking down: a half turn about x. */
    double extrinsics[6] = {3.14159265358979323846, 0.0, 0.0, 0.0, 0.0, 1000.0};
    LpmcLensModel lens = {intrinsics, distortion, extrinsics, NULL};
    LpmcLightPlane plane = {0.0, 0.002, 0.001, 1.0};
    LpmcMotion motion = {0.0, 0.5};
    LpmcCameraCalib calib = {&lens, &plane, &motion};
    LpmcCreateParam param;
    LpmcImageRegion region;
    LpmcConfig config;
    LpmcImageDesc desc;
    LpmcInput input;
    LpmcResult result;
    void* handle = NULL;
    uint8_t* pixels = (uint8_t*)calloc(WIDTH * HEIGHT, 1);
    int32_t rc;
    int frame;

    memset(&param, 0, sizeof param);
    param.frameNum = 100;
    param.cameraCount = 1;
    param.imageSize[0].width = WIDTH;
    param.imageSize[0].height = HEIGHT;
    param.calib[0] = &calib;
    param.reserved1 = 2;
    if ((rc = lpmcCreate(&handle, &param)) != LPMC_OK) {
        return fail("lpmcCreate", rc);
    }
    memset(&config, 0, sizeof config);
    config.region[0] = &region;
    if ((rc = lpmcGetConfig(handle, &config)) != LPMC_OK) {
        return fail("lpmcGetConfig", rc);
    }
    if (region.width != WIDTH || config.thresh[0] != 16) {
        return fail("defaults", region.width);
    }
    if ((rc = lpmcSetConfig(handle, &config)) != LPMC_OK) {
        return fail("lpmcSetConfig", rc);
    }
    memset(&desc, 0, sizeof desc);
    desc.sourceTag = 256;
    desc.width = WIDTH;
    desc.height = HEIGHT;
    desc.pixels = pixels;
    for (frame = 0; frame < 20; ++frame) {
        memset(&input, 0, sizeof input);
        input.imageType[0] = LPMC_IMAGE_MONO8;
        input.image[0] = &desc;
        input.timestamp[0] = 1.0 + 2.0 * frame;
        memset(&result, 0, sizeof result);
        if ((rc = lpmcProcess(handle, &input, &result)) != LPMC_OK) {
            return fail("lpmcProcess", rc);
        }
        if (result.resultState != LPMC_STATE_NONE || result.volumeNum != 0) {
            return fail("a box on a dark image", result.resultState);
        }
    }
    lpmcRelease(handle);
    free(pixels);
    puts("ok");
    return 0;
}
