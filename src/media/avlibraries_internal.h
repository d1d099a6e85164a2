// libavformat, loaded when the first recording is read: a recorder never reads one, and need not
// carry demultiplexers for every format there is. Thread-safe.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace watchpost {

/// The functions of libavformat, libavcodec and libavutil that the reader calls.
struct AvLibraries {
  decltype(&avformat_open_input) open_input;
  decltype(&avformat_find_stream_info) find_stream_info;
  decltype(&avformat_close_input) close_input;
  decltype(&av_seek_frame) seek_frame;
  decltype(&av_read_frame) read_frame;
  decltype(&av_packet_alloc) packet_alloc;
  decltype(&av_packet_free) packet_free;
  decltype(&av_packet_unref) packet_unref;
  decltype(&av_rescale_q) rescale_q;
  decltype(&av_mallocz) mallocz;
  decltype(&av_free) free;
  decltype(&av_log_get_level) log_get_level;
  decltype(&av_log_set_level) log_set_level;

  /// Null when the libraries of the version that this was built with are not there.
  static const AvLibraries* Get() noexcept;
};

}  // namespace watchpost
