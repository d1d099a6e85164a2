// Motion detection beside the least that its work could cost: reading the coefficients of the same
// picture, or decoding it to grey and differencing pixels.

#include <benchmark/benchmark.h>
#include <watchpost/media/jpegmemsrc.h>
#include <watchpost/motion/motionsequence.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "camsim/scene.h"
#include "ratios.h"

namespace {

using Pictures = std::vector<camsim::Jpeg>;

struct Size {
  int width, height, quality;
};

// Pictures of a scene with some grain, so that they compress as those of cameras do.
const Pictures& PicturesOf(const Size& size) {
  static std::map<std::pair<int, int>, Pictures> made;
  Pictures& pictures = made[{size.width, size.quality}];
  if (!pictures.empty()) return pictures;
  camsim::SceneOptions scene;
  scene.kind = camsim::SceneKind::kPerson;
  scene.width = size.width;
  scene.height = size.height;
  scene.quality = size.quality;
  scene.fps = 10;
  const auto source = camsim::MakeScene(scene);
  for (std::uint64_t i = 20; i < 30; ++i) pictures.push_back(source->Frame(i));
  return pictures;
}

class Decoder {
 public:
  Decoder() {
    info_.err = jpeg_std_error(&errors_);
    jpeg_create_decompress(&info_);
  }
  ~Decoder() { jpeg_destroy_decompress(&info_); }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  void ReadHeader(const camsim::Jpeg& picture) {
    jpeg_mem_src(&info_, picture.data(), picture.size());
    (void)jpeg_read_header(&info_, TRUE);
  }
  void ReadCoefficients(const camsim::Jpeg& picture, bool dc_only) {
    ReadHeader(picture);
    for (int i = 0; dc_only && i < info_.num_components; ++i)
      info_.comp_info[i].DCT_scaled_size = 1;
    benchmark::DoNotOptimize(jpeg_read_coefficients(&info_));
    (void)jpeg_finish_decompress(&info_);
  }
  void DecodeGrey(const camsim::Jpeg& picture, std::vector<unsigned char>& pixels) {
    ReadHeader(picture);
    info_.out_color_space = JCS_GRAYSCALE;
    (void)jpeg_start_decompress(&info_);
    pixels.resize(std::size_t{info_.output_width} * info_.output_height);
    while (info_.output_scanline < info_.output_height) {
      JSAMPROW row = pixels.data() + std::size_t{info_.output_scanline} * info_.output_width;
      (void)jpeg_read_scanlines(&info_, &row, 1);
    }
    (void)jpeg_finish_decompress(&info_);
  }

 private:
  jpeg_decompress_struct info_{};
  jpeg_error_mgr errors_{};
};

void Sequence(benchmark::State& state, Size size, bool fast) {
  const Pictures& pictures = PicturesOf(size);
  watchpost::MotionSequence motion({}, 90, fast);
  std::size_t i = 0;
  for ([[maybe_unused]] const auto _ : state) {
    const camsim::Jpeg& picture = pictures[i++ % pictures.size()];
    benchmark::DoNotOptimize(motion.Compare(picture.data(), static_cast<int>(picture.size())));
  }
}

void BareCoefficients(benchmark::State& state, Size size, bool dc_only) {
  const Pictures& pictures = PicturesOf(size);
  Decoder decoder;
  std::size_t i = 0;
  for ([[maybe_unused]] const auto _ : state)
    decoder.ReadCoefficients(pictures[i++ % pictures.size()], dc_only);
}

void GreyDifference(benchmark::State& state, Size size) {
  const Pictures& pictures = PicturesOf(size);
  Decoder decoder;
  std::vector<unsigned char> before;
  std::vector<unsigned char> now;
  std::size_t i = 0;
  for ([[maybe_unused]] const auto _ : state) {
    std::swap(before, now);
    decoder.DecodeGrey(pictures[i++ % pictures.size()], now);
    before.resize(now.size());
    unsigned long sum = 0;
    for (std::size_t k = 0; k < now.size(); ++k)
      sum += static_cast<unsigned long>(std::abs(now[k] - before[k]));
    benchmark::DoNotOptimize(sum);
  }
}

void Register(const Size& size) {
  const std::size_t bytes = PicturesOf(size)[0].size();
  const std::string title = std::to_string(size.width) + "x" + std::to_string(size.height) + ", " +
                            std::to_string(bytes / 1000) + " KB";
  const auto pair = [](const std::string& name, auto ours, auto bare) {
    benchmark::RegisterBenchmark((name + "/ours").c_str(), ours);
    benchmark::RegisterBenchmark((name + "/bare").c_str(), bare);
  };
  const auto normal = [size](benchmark::State& state) { Sequence(state, size, false); };
  const auto fast = [size](benchmark::State& state) { Sequence(state, size, true); };
  pair(title + ", to coefficients", normal, [size](benchmark::State& state) {
    BareCoefficients(state, size, false);
  });
  pair(title + ", fast to DC", fast, [size](benchmark::State& state) {
    BareCoefficients(state, size, true);
  });
  pair(title + ", to grey", normal, [size](benchmark::State& state) {
    GreyDifference(state, size);
  });
}

long ResidentKib() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  statm >> pages >> pages;
  return pages * 4;
}

// Every other picture is cut somewhere, or has bytes that do not belong there.
void MeasureMemory(int pictures) {
  const Pictures& good = PicturesOf({640, 480, 30});
  std::mt19937 random(1);
  watchpost::MotionSequence motion({}, 90, false);
  long early = 0;
  for (int i = 0; i < pictures; ++i) {
    camsim::Jpeg picture = good[static_cast<std::size_t>(i) % good.size()];
    if (i % 2 == 1) {
      if (i % 4 == 1)
        picture.resize(1 + random() % picture.size());
      else
        for (int k = 0; k < 20; ++k)
          picture[random() % picture.size()] = static_cast<unsigned char>(random());
    }
    (void)motion.Compare(picture.data(), static_cast<int>(picture.size()));
    if (i == pictures / 10) early = ResidentKib();
  }
  std::printf(
      "memory over %d pictures, every other one broken: %ld KiB after a tenth, %ld KiB at the "
      "end\n",
      pictures,
      early,
      ResidentKib());
}

}  // namespace

int main(int argc, char** argv) {
  for (const Size& size : {Size{640, 480, 55}, Size{640, 480, 78}, Size{1920, 1080, 60}})
    Register(size);
  const int status = bench::RunRatios(argc, argv);
  MeasureMemory(100000);
  return status;
}
