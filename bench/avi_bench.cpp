// Writing recordings, beside the same bytes through plain write() calls of one frame each.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>
#include <watchpost/base/uniquefd.h>
#include <watchpost/media/mje.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "ratios.h"

namespace {

constexpr int kFrames = 1000;
constexpr unsigned int kFrameSize = 40000;
const std::string kFolder = std::getenv("BENCH_DIR") == nullptr ? "/tmp" : std::getenv("BENCH_DIR");
const std::string kPath = kFolder + "/watchpost-bench.avi";

void WriteFrames(benchmark::State& state) {
  const std::vector<unsigned char> frame(kFrameSize, 0x5A);
  for (auto _ : state) {
    MJE_HANDLE file = nullptr;
    if (MJE_CreateCompress(&file, kPath.c_str(), 640, 480, 25) != MJE_OK)
      return state.SkipWithError("create");
    for (int i = 0; i < kFrames; ++i) {
      if (MJE_WriteFrame(&file, frame.data(), kFrameSize) != MJE_OK)
        return state.SkipWithError("write");
    }
    if (MJE_FinishCompress(&file) != MJE_OK) return state.SkipWithError("finish");
  }
}

void WritePlainly(benchmark::State& state) {
  const std::vector<unsigned char> chunk(kFrameSize + 8, 0x5A);
  const std::vector<unsigned char> rest(240 + 8 + 16 * kFrames, 0x5A);
  for (auto _ : state) {
    const watchpost::UniqueFd file(open(kPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
    for (int i = 0; i < kFrames; ++i) {
      if (write(file.Get(), chunk.data(), chunk.size()) < 0) return state.SkipWithError("write");
    }
    if (write(file.Get(), rest.data(), rest.size()) < 0) return state.SkipWithError("write");
  }
}

// Time of a hundred thousand frames of 1 KB: the first ones of a recording, or those that make the
// million full.
void FrameOfAMillion(benchmark::State& state, int before) {
  constexpr int kMeasured = 100000;
  const std::vector<unsigned char> frame(1024, 0x5A);
  for (auto _ : state) {
    MJE_HANDLE file = nullptr;
    if (MJE_CreateCompress(&file, kPath.c_str(), 640, 480, 25) != MJE_OK)
      return state.SkipWithError("create");
    bool written = true;
    for (int i = 0; i < before; ++i)
      written = MJE_WriteFrame(&file, frame.data(), 1024) == MJE_OK && written;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kMeasured; ++i)
      written = MJE_WriteFrame(&file, frame.data(), 1024) == MJE_OK && written;
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(taken.count());
    if (MJE_FinishCompress(&file) != MJE_OK || !written) return state.SkipWithError("write");
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("write-1000-frames/ours", WriteFrames)->Iterations(10);
  benchmark::RegisterBenchmark("write-1000-frames/bare", WritePlainly)->Iterations(10);
  benchmark::RegisterBenchmark("last-of-a-million/ours", FrameOfAMillion, 900000)
      ->Iterations(1)
      ->UseManualTime();
  benchmark::RegisterBenchmark("last-of-a-million/bare", FrameOfAMillion, 0)
      ->Iterations(1)
      ->UseManualTime();
  const int status = bench::RunRatios(argc, argv);
  (void)unlink(kPath.c_str());
  return status;
}
