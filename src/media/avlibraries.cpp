#include <dlfcn.h>

#include "media/avlibraries_internal.h"

namespace watchpost {
namespace {

constexpr char kLibrary[] = "libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR);

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

// The library stays loaded until the process ends; those that it depends on are searched as well.
bool Load(AvLibraries& av) {
  void* library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  return library != nullptr && Find(library, "avformat_open_input", av.open_input) &&
         Find(library, "avformat_find_stream_info", av.find_stream_info) &&
         Find(library, "avformat_close_input", av.close_input) &&
         Find(library, "av_seek_frame", av.seek_frame) &&
         Find(library, "av_read_frame", av.read_frame) &&
         Find(library, "av_packet_alloc", av.packet_alloc) &&
         Find(library, "av_packet_free", av.packet_free) &&
         Find(library, "av_packet_unref", av.packet_unref) &&
         Find(library, "av_rescale_q", av.rescale_q) && Find(library, "av_mallocz", av.mallocz) &&
         Find(library, "av_free", av.free) && Find(library, "av_log_get_level", av.log_get_level) &&
         Find(library, "av_log_set_level", av.log_set_level);
}

}  // namespace

const AvLibraries* AvLibraries::Get() noexcept {
  static AvLibraries libraries{};
  static const bool loaded = Load(libraries);
  return loaded ? &libraries : nullptr;
}

}  // namespace watchpost
