// Export macro of the camera library.
#pragma once

#if defined(_WIN32)
#if defined(ORVIA_CAMERA_BUILD)
#define ORVIA_CAMERA_API __declspec(dllexport)
#else
#define ORVIA_CAMERA_API __declspec(dllimport)
#endif
#else
#define ORVIA_CAMERA_API __attribute__((visibility("default")))
#endif
