/* The stb decoders and encoders that the virtual station, the simulated cameras and the tests
 * call, compiled once for targets where no stb library is installed. */
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>
