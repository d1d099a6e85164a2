#include "media/mjd.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "media/avlibraries_internal.h"

struct MJD_STATE {
  std::uint8_t valid;
  std::uint8_t fps;
  std::int16_t stream_index;
  std::uint16_t width;
  std::uint16_t height;
  std::uint32_t frame_count;
  std::uint32_t next_frame;
  AVFormatContext* format;
  AVPacket* packet;
  const watchpost::AvLibraries* av;
};

namespace {

// Anything but a regular file could keep a reader waiting, or be somebody's device.
bool IsRegularFile(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

// libavformat's messages are no code of ours. A program that has set a level of its own keeps it.
void StaySilent(const watchpost::AvLibraries& av) {
  if (av.log_get_level() == AV_LOG_INFO) av.log_set_level(AV_LOG_QUIET);
}

int FindStream(const AVFormatContext& format) {
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    if (format.streams[i]->codecpar->codec_id == AV_CODEC_ID_MJPEG) return static_cast<int>(i);
  }
  return -1;
}

// Frames a second: in recordings a tick of the stream is a frame; elsewhere it is a part of one.
AVRational FrameRate(const AVStream& stream) {
  const AVRational ticks = av_inv_q(stream.time_base);
  const AVRational rate = stream.avg_frame_rate;
  return rate.num > 0 && rate.den > 0 && av_q2d(ticks) > 1.5 * av_q2d(rate) ? rate : ticks;
}

bool InitializeCodec(MJD_STATE& state, const char* path) {
  if (!IsRegularFile(path)) return false;
  const watchpost::AvLibraries& av = *state.av;
  StaySilent(av);
  // Named as a file: a path such as "http://..." must not open a connection.
  const std::string url = std::string("file:") + path;
  if (av.open_input(&state.format, url.c_str(), nullptr, nullptr) != 0) return false;
  if (av.find_stream_info(state.format, nullptr) < 0) return false;
  const int index = FindStream(*state.format);
  if (index < 0 || index > INT16_MAX) return false;
  for (unsigned i = 0; i < state.format->nb_streams; ++i) {
    if (static_cast<int>(i) != index) state.format->streams[i]->discard = AVDISCARD_ALL;
  }
  const AVStream& stream = *state.format->streams[index];
  const AVRational rate = FrameRate(stream);
  state.stream_index = static_cast<std::int16_t>(index);
  state.width = static_cast<std::uint16_t>(stream.codecpar->width);
  state.height = static_cast<std::uint16_t>(stream.codecpar->height);
  if (rate.den != 0)
    state.fps = static_cast<std::uint8_t>(rate.den == -1 ? -rate.num : rate.num / rate.den);
  state.frame_count = static_cast<std::uint32_t>(stream.nb_frames);
  state.packet = av.packet_alloc();
  return state.packet != nullptr;
}

void Free(MJD_STATE* state) {
  const watchpost::AvLibraries& av = *state->av;
  av.packet_free(&state->packet);
  av.close_input(&state->format);
  av.free(state);
}

// Whether the packet is frame `wanted` of the stream: in a damaged file, seeking silently ends
// elsewhere.
bool IsFrame(const MJD_STATE& state, std::int64_t wanted, std::int64_t frame_ticks) {
  const AVPacket& packet = *state.packet;
  const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  return packet.stream_index == state.stream_index && time != AV_NOPTS_VALUE && packet.size > 0 &&
         2 * std::llabs(time - wanted) < frame_ticks;
}

// Reads frame `number`. Sets `size` to 0 when the buffer is too small.
bool ReadRandomVideoFrame(MJD_STATE& state,
                          unsigned number,
                          unsigned char* buffer,
                          unsigned& size) {
  const watchpost::AvLibraries& av = *state.av;
  const AVStream& stream = *state.format->streams[state.stream_index];
  const AVRational frame = av_inv_q(FrameRate(stream));
  const std::int64_t wanted = av.rescale_q(number, frame, stream.time_base);
  const std::int64_t ticks = std::max<std::int64_t>(1, av.rescale_q(1, frame, stream.time_base));
  if (av.seek_frame(state.format, state.stream_index, wanted, AVSEEK_FLAG_ANY) < 0) return false;
  if (av.read_frame(state.format, state.packet) < 0) return false;
  bool read = IsFrame(state, wanted, ticks);
  if (read && static_cast<unsigned>(state.packet->size) > size) {
    size = 0;
    read = false;
  }
  if (read) {
    size = static_cast<unsigned>(state.packet->size);
    std::memcpy(buffer, state.packet->data, size);
    state.next_frame = number + 1;
  }
  av.packet_unref(state.packet);
  return read;
}

int Read(MJD_STATE& state, unsigned number, unsigned char* buffer, unsigned* size) {
  if (state.valid == 0) return MJD_ERR_CLOSED;
  if (ReadRandomVideoFrame(state, number, buffer, *size)) return MJD_OK;
  return *size == 0 ? MJD_ERR_SMALL : MJD_ERR_READ;
}

}  // namespace

int MJD_CreateDecompress(MJD_HANDLE* handle, const char* path) noexcept {
  if (handle == nullptr || path == nullptr) return MJD_ERR_PARAM;
  const watchpost::AvLibraries* av = watchpost::AvLibraries::Get();
  if (av == nullptr) return MJD_ERR_READ;
  auto* state = static_cast<MJD_STATE*>(av->mallocz(sizeof(MJD_STATE)));
  if (state == nullptr) return MJD_ERR_MEMORY;
  state->av = av;
  state->stream_index = -1;
  if (!InitializeCodec(*state, path)) {
    Free(state);
    return MJD_ERR_READ;
  }
  state->valid = 1;
  *handle = state;
  return MJD_OK;
}

int MJD_FinishDecompress(MJD_HANDLE handle) noexcept {
  if (handle == nullptr) return MJD_ERR_PARAM;
  if (handle->valid == 0) return MJD_ERR_CLOSED;
  Free(handle);
  return MJD_OK;
}

int MJD_GetAttribute(MJD_HANDLE handle, MJD_ATTRIBUTE* attributes) noexcept {
  if (handle == nullptr || attributes == nullptr) return MJD_ERR_PARAM;
  if (handle->valid == 0) return MJD_ERR_CLOSED;
  *attributes = {handle->fps, handle->width, handle->height, handle->frame_count};
  return MJD_OK;
}

int MJD_ReadNextFrame(MJD_HANDLE handle, unsigned char* buffer, unsigned* size) noexcept {
  if (handle == nullptr || buffer == nullptr || size == nullptr || *size == 0) return MJD_ERR_PARAM;
  if (handle->next_frame == handle->frame_count) return MJD_ERR_END;
  return Read(*handle, handle->next_frame, buffer, size);
}

int MJD_ReadRandomFrame(MJD_HANDLE handle,
                        unsigned index,
                        unsigned char* buffer,
                        unsigned* size) noexcept {
  if (handle == nullptr || buffer == nullptr || size == nullptr || *size == 0) return MJD_ERR_PARAM;
  if (index >= handle->frame_count) return MJD_ERR_PARAM;
  return Read(*handle, index, buffer, size);
}
