// What the database is to know of one recording at some moment.
#pragma once

#include <cstdint>
#include <string>

namespace wpd {

struct RecordingRow {
  int camera_id = 0;
  int width = 0;   ///< pixels
  int height = 0;  ///< pixels
  long start = 0;  ///< of the first frame, seconds since the epoch
  long stop = 0;   ///< of the last frame
  int frames = 0;
  int cause = 0;     ///< an EVENT_CAUSE
  int size = 0;      ///< bytes
  std::string path;  ///< name of the file below the camera's folder
  std::string file;  ///< its full path; empty when it is not known
  bool finished = false;
};

}  // namespace wpd
