// Reading recordings frame by frame, beside a bare libavformat loop that does the same seeks.

#include <benchmark/benchmark.h>
#include <watchpost/media/mjd.h>
#include <watchpost/media/mje.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "camsim/scene.h"
#include "ratios.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

const std::string& FileOf(unsigned frames) {
  static std::map<unsigned, std::string> files;
  std::string& path = files[frames];
  if (!path.empty()) return path;
  const char* folder = std::getenv("BENCH_DIR");
  path = std::string(folder == nullptr ? "/tmp" : folder) + "/reader-" + std::to_string(frames) +
         ".avi";
  camsim::SceneOptions scene;
  scene.width = 160;
  scene.height = 120;
  const auto source = camsim::MakeScene(scene);
  std::vector<camsim::Jpeg> pictures;
  for (std::uint64_t i = 0; i < 50; ++i) pictures.push_back(source->Frame(i));
  MJE_HANDLE writer = nullptr;
  if (MJE_CreateCompress(&writer, path.c_str(), 160, 120, 25) != MJE_OK) std::exit(1);
  for (unsigned i = 0; i < frames; ++i) {
    const camsim::Jpeg& picture = pictures[i % pictures.size()];
    if (MJE_WriteFrame(&writer, picture.data(), static_cast<unsigned>(picture.size())) != MJE_OK)
      std::exit(1);
  }
  if (MJE_FinishCompress(&writer) != MJE_OK) std::exit(1);
  return path;
}

unsigned NextIndex(bool at_random, unsigned before, unsigned frames, std::mt19937& random) {
  return at_random ? static_cast<unsigned>(random()) % frames : (before + 1) % frames;
}

void Ours(benchmark::State& state, unsigned frames, bool at_random) {
  MJD_HANDLE reader = nullptr;
  if (MJD_CreateDecompress(&reader, FileOf(frames).c_str()) != MJD_OK) std::exit(1);
  std::vector<unsigned char> buffer(1 << 20);
  std::mt19937 random(1);
  unsigned index = 0;
  for ([[maybe_unused]] const auto _ : state) {
    auto size = static_cast<unsigned>(buffer.size());
    if (MJD_ReadRandomFrame(reader, index, buffer.data(), &size) != MJD_OK)
      state.SkipWithError("read");
    index = NextIndex(at_random, index, frames, random);
  }
  (void)MJD_FinishDecompress(reader);
}

void Bare(benchmark::State& state, unsigned frames, bool at_random) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, FileOf(frames).c_str(), nullptr, nullptr) != 0 ||
      avformat_find_stream_info(format, nullptr) < 0) {
    std::exit(1);
  }
  AVPacket* packet = av_packet_alloc();
  std::vector<unsigned char> buffer(1 << 20);
  std::mt19937 random(1);
  unsigned index = 0;
  for ([[maybe_unused]] const auto _ : state) {
    (void)av_seek_frame(format, 0, index, AVSEEK_FLAG_ANY);
    if (av_read_frame(format, packet) < 0) state.SkipWithError("read");
    std::copy_n(packet->data, packet->size, buffer.data());
    av_packet_unref(packet);
    index = NextIndex(at_random, index, frames, random);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
}

// Opening a file and reading all of it, for each of its frames.
void OpenAndRead(benchmark::State& state, unsigned frames) {
  std::vector<unsigned char> buffer(1 << 20);
  const std::string& path = FileOf(frames);
  double seconds = 0;
  for ([[maybe_unused]] const auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    MJD_HANDLE reader = nullptr;
    if (MJD_CreateDecompress(&reader, path.c_str()) != MJD_OK) std::exit(1);
    for (unsigned i = 0; i < frames; ++i) {
      auto size = static_cast<unsigned>(buffer.size());
      if (MJD_ReadNextFrame(reader, buffer.data(), &size) != MJD_OK) state.SkipWithError("read");
    }
    (void)MJD_FinishDecompress(reader);
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    state.SetIterationTime(seconds / frames);
  }
}

constexpr unsigned kLong = 50000;
constexpr unsigned kShort = 500;

BENCHMARK_CAPTURE(Ours, sequential, kLong, false)->Name("in order/ours");
BENCHMARK_CAPTURE(Bare, sequential, kLong, false)->Name("in order/bare");
BENCHMARK_CAPTURE(Ours, random, kLong, true)->Name("at random/ours");
BENCHMARK_CAPTURE(Bare, random, kLong, true)->Name("at random/bare");
BENCHMARK_CAPTURE(OpenAndRead, long_file, kLong)
    ->Name("50000 against 500 frames/ours")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(OpenAndRead, short_file, kShort)
    ->Name("50000 against 500 frames/bare")
    ->UseManualTime()
    ->Iterations(20);

}  // namespace

int main(int argc, char** argv) {
  av_log_set_level(AV_LOG_QUIET);
  return bench::RunRatios(argc, argv);
}
