#include "net/cameraverify.h"

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>

#include "media/jpegmemsrc.h"

// Debugging lines name the function they come from.
#define VERIFY_PRINT(message)                                                \
  do {                                                                       \
    (void)std::fflush(stderr);                                               \
    (void)std::fprintf(stderr, "[debug]%s:%d:" message, __func__, __LINE__); \
  } while (false)

namespace {

constexpr char kJpegType[] = "image/jpeg";
constexpr int kTypeSize = 128;
// No camera's picture is larger; one that claims to be costs no memory.
constexpr unsigned int kLargestPicture = 64U << 20;

}  // namespace

int MFStatusToCVStatus(MF_STATUS status) noexcept {
  switch (status) {
    case MF_OK:
      return CV_OK;
    case MF_ERR_CONNECT:
      return CV_ERR_CONNECT;
    case MF_ERR_BAD_RESPONSE:
      return CV_ERR_BAD_RESPONSE;
    case MF_ERR_UNAUTHORIZED:
      return CV_ERR_UNAUTHORIZED;
    case MF_ERR_NOT_MULTIPART:
      return CV_ERR_NOT_MJPEG;
    default:
      return CV_ERR_FAILED;
  }
}

int ObtainImageDimension(int& width, int& height, unsigned char* data, unsigned int size) noexcept {
  jpeg_decompress_struct cinfo{};
  JPEG_JUMP_ERROR_MGR errors{};
  (void)SetJpegExit(&cinfo, &errors);  // `errors`
  jpeg_create_decompress(&cinfo);
  volatile int result = 0;
  if (setjmp(errors.jump) != 0) {
    result = 1;
    VERIFY_PRINT("Jpeg-6b internal error!\n");
    VERIFY_PRINT("Error occurs, aborting.\n");
    jpeg_abort_decompress(&cinfo);
  } else {
    JpegMemSrc(&cinfo, data, static_cast<int>(size));
    (void)jpeg_read_header(&cinfo, TRUE);  // an error jumps
    width = static_cast<int>(cinfo.image_width);
    height = static_cast<int>(cinfo.image_height);
  }
  jpeg_destroy_decompress(&cinfo);
  return result;
}

bool DimensionIsCompatible(int width, int height, int actualWidth, int actualHeight) noexcept {
  return width == actualWidth && height == actualHeight;
}

// Unlike the one below, this one takes an empty path: a camera's stream may be its root page.
CameraVerify::CameraVerify(Camera& camera) noexcept {
  if (camera.GetHost().empty() || camera.GetPort() < 0) {
    VERIFY_PRINT("Parameters are incorrect! (constructor)\n");
    return;
  }
  host_ = camera.GetHost();
  user_ = camera.GetUsername();
  password_ = camera.GetPassword();
  path_ = camera.GetPath();
  port_ = camera.GetPort();
}

CameraVerify::CameraVerify(
    std::string host, int port, std::string user, std::string password, std::string path) noexcept {
  if (host.empty() || port < 0 || path.empty()) {
    VERIFY_PRINT("Parameters are incorrect! (constructor)\n");
    return;
  }
  host_ = std::move(host);
  user_ = std::move(user);
  password_ = std::move(password);
  path_ = std::move(path);
  port_ = port;
}

CameraVerify::~CameraVerify() = default;

int CameraVerify::CVVerifyCameraStatus(int& width, int& height) noexcept {
  if (width <= 0 || height <= 0) return CV_ERR_DIMENSION;
  fetcher_.reset(new (std::nothrow) MultipartFetch(
      host_.c_str(), port_, path_.c_str(), user_.c_str(), password_.c_str()));
  if (fetcher_ == nullptr) return CV_ERR_NO_MEMORY;
  unsigned int length = 0;
  int status = VerifyConnection();
  if (status == CV_OK) status = VerifyVideoOfMJPEG(length);
  if (status == CV_OK) status = VerifyPicDimOfMJPEG(width, height, length);
  fetcher_.reset();
  return status;
}

int CameraVerify::VerifyConnection() noexcept {
  return fetcher_ == nullptr ? CV_ERR_FAILED : MFStatusToCVStatus(fetcher_->TestConnect());
}

int CameraVerify::VerifyVideoOfMJPEG(unsigned int& length) noexcept {
  char type[kTypeSize] = "";
  if (fetcher_ == nullptr || fetcher_->NextPartInfo(length, type, sizeof type) != MF_OK)
    return CV_ERR_FAILED;
  return std::strncmp(type, kJpegType, sizeof kJpegType - 1) == 0 ? CV_OK : CV_ERR_NOT_JPEG;
}

int CameraVerify::VerifyPicDimOfMJPEG(int& width, int& height, unsigned int length) noexcept {
  if (fetcher_ == nullptr) return CV_ERR_FAILED;
  if (length > kLargestPicture) return CV_ERR_NO_MEMORY;
  const std::unique_ptr<unsigned char[]> picture(new (std::nothrow) unsigned char[length]);
  if (picture == nullptr) return CV_ERR_NO_MEMORY;
  if (fetcher_->FetchContent(picture.get(), length) != MF_OK) return CV_ERR_FAILED;
  int actual_width = 0;
  int actual_height = 0;
  if (ObtainImageDimension(actual_width, actual_height, picture.get(), length) != 0)
    return CV_ERR_FAILED;
  if (DimensionIsCompatible(width, height, actual_width, actual_height)) return CV_OK;
  width = actual_width;
  height = actual_height;
  return CV_ERR_DIMENSION;
}
