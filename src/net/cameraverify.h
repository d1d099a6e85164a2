// Does a camera's address deliver Motion-JPEG of the expected size? One thread uses an object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/export.h"
#include "camera/camera.h"
#include "net/multipartfetch.h"

enum CV_STATUS : int {
  CV_OK = 0,
  CV_ERR_FAILED = 1,        ///< no first part, or a picture that is not fetched or not decodable
  CV_ERR_CONNECT = 2,       ///< no connection
  CV_ERR_BAD_RESPONSE = 3,  ///< an HTTP answer that is not acceptable
  CV_ERR_UNAUTHORIZED = 4,  ///< user name and password are refused
  CV_ERR_NOT_MJPEG = 5,     ///< not multipart/x-mixed-replace
  CV_ERR_NOT_JPEG = 6,      ///< the first part is not image/jpeg
  CV_ERR_DIMENSION = 7,     ///< the expected size is not above 0, or the picture has another
  CV_ERR_NO_MEMORY = 8,     ///< no memory for the reader or the picture
};

/// The CV_STATUS that an MF_STATUS comes to.
WATCHPOST_API int MFStatusToCVStatus(MF_STATUS status) noexcept;

/// Reads the size in pixels from the header of a JPEG picture of `size` bytes. Returns 0; 1, with
/// lines on standard error, when it cannot be decoded.
WATCHPOST_API int ObtainImageDimension(int& width,
                                       int& height,
                                       unsigned char* data,
                                       unsigned int size) noexcept;

/// Whether both are exactly equal.
WATCHPOST_API bool DimensionIsCompatible(int width,
                                         int height,
                                         int actualWidth,
                                         int actualHeight) noexcept;

class WATCHPOST_API CameraVerify {
 public:
  explicit CameraVerify(Camera& camera) noexcept;

  /// The host and the path must not be empty and the port not negative; otherwise a line goes to
  /// standard error and the verification fails.
  CameraVerify(std::string host,
               int port,
               std::string user,
               std::string password,
               std::string path) noexcept;
  ~CameraVerify();
  CameraVerify(const CameraVerify&) = delete;
  CameraVerify& operator=(const CameraVerify&) = delete;

  /// The whole verification, a CV_STATUS. Blocks as the stream's reader does. `width` and `height`
  /// are the expected size in pixels and, with CV_ERR_DIMENSION after a picture, the camera's.
  int CVVerifyCameraStatus(int& width, int& height) noexcept;

  /// Its three steps, within a verification. `length` is the size of the first part in bytes.
  int VerifyConnection() noexcept;
  int VerifyVideoOfMJPEG(unsigned int& length) noexcept;
  int VerifyPicDimOfMJPEG(int& width, int& height, unsigned int length) noexcept;

 private:
  std::unique_ptr<MultipartFetch> fetcher_;  // of a verification in progress
  std::string host_;
  std::string user_;
  std::string password_;
  std::string path_;
  std::int32_t port_ = 0;
};
