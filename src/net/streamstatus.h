// Results of reading a camera's stream.
#pragma once

/// Results of the reader's operations.
enum MF_STATUS : int {
  MF_OK = 0,
  MF_ERR_HTTP = 1,      ///< no client, no content type in the head, or an unexpected HTTP result
  MF_ERR_PARAM = 2,     ///< null or empty output buffer
  MF_ERR_NOT_INIT = 3,  ///< the object was made from a null host or a negative port
  MF_ERR_CONNECT = 4,   ///< connection, write or read failed
  MF_ERR_BAD_RESPONSE = 5,   ///< bad status line, or a status other than 2xx and 401
  MF_ERR_UNAUTHORIZED = 6,   ///< the camera answered 401
  MF_ERR_BUFFER_SMALL = 7,   ///< the caller's buffer is shorter than the part
  MF_ERR_NOT_MULTIPART = 8,  ///< not multipart/x-mixed-replace with a boundary
  MF_ERR_PART_TYPE = 9,      ///< no usable Content-Type in a part header
  MF_ERR_PART_LENGTH = 10,   ///< another line stands where Content-Length should
  /// no boundary within the limits, or a part without length above 262,143 bytes
  MF_ERR_BOUNDARY = 11,
};
