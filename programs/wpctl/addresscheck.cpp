#include "addresscheck.h"

#include <watchpost/media/jpegcheck.h>
#include <watchpost/net/cameraverify.h>
#include <watchpost/net/multipartfetch.h>

#include <cstring>
#include <vector>

namespace wpctl {

int VerifyAddress(const Camera& camera, int& width, int& height) {
  Camera asked = camera;
  if (width <= 0 || height <= 0) width = height = 1;
  return CameraVerify(asked).CVVerifyCameraStatus(width, height);
}

bool IsJpegType(const char* type) {
  constexpr char kJpeg[] = "image/jpeg";
  return std::strncmp(type, kJpeg, sizeof kJpeg - 1) == 0;
}

int InspectFrames(const Camera& camera) {
  constexpr int kFrames = 3;
  constexpr unsigned int kLargest = 64U << 20;
  MultipartFetch fetch(camera.GetHost().c_str(),
                       camera.GetPort(),
                       camera.GetPath().c_str(),
                       camera.GetUsername().c_str(),
                       camera.GetPassword().c_str());
  std::vector<unsigned char> frame;
  for (int i = 0; i < kFrames; ++i) {
    unsigned int length = 0;
    char type[64];
    const MF_STATUS status = fetch.NextPartInfo(length, type, sizeof type);
    if (fetch.IsChunked()) return kStreamChunked;
    if (status != MF_OK) return MFStatusToCVStatus(status);
    if (!IsJpegType(type)) return CV_ERR_NOT_JPEG;
    if (length > kLargest) return CV_ERR_NO_MEMORY;
    frame.resize(length);
    if (const MF_STATUS got = fetch.FetchContent(frame.data(), length); got != MF_OK)
      return MFStatusToCVStatus(got);
    if (!watchpost::IsWholeJpeg(frame.data(), length)) return kStreamDamaged;
  }
  return CV_OK;
}

std::string VerifyText(int status) {
  switch (status) {
    case kStreamChunked:
      return "it sends its stream in HTTP chunks, which cannot be recorded; is there an HTTP/1.0 "
             "path, or a proxy in between?";
    case kStreamDamaged:
      return "its frames are damaged: cut off, or changed on the way";
    case kStreamSlow:
      return "it sends too slowly: nothing came of it in 20 s";
    case CV_OK:
      return "delivers frames";
    case CV_ERR_CONNECT:
      return "nothing answers at its address, or it stopped sending; are host and port right, and "
             "is it switched on?";
    case CV_ERR_BAD_RESPONSE:
      return "it refuses the stream; is the path right? \"wpctl camera add --probe\" tries the "
             "known ones";
    case CV_ERR_UNAUTHORIZED:
      return "it refuses user name and password; \"wpctl camera set CAMERA --user U --password P\" "
             "corrects them";
    case CV_ERR_NOT_MJPEG:
      return "the path leads to something that is no stream, such as a page or a single picture";
    case CV_ERR_NOT_JPEG:
      return "its stream holds no JPEG frames; is it set to Motion-JPEG?";
    case CV_ERR_DIMENSION:
      return "its pictures have another size";
    case CV_ERR_NO_MEMORY:
      return "there is no memory for its frames";
    default:
      return "its stream holds no frame that can be read, or is written in a way this client does "
             "not take: a boundary in capitals, or other lines between type and length";
  }
}

}  // namespace wpctl
