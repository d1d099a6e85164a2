#include "scene.h"

#include <stdio.h>  // jpeglib.h needs it before itself

#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace camsim {
namespace {

constexpr std::uint64_t kCrossing = 200;  // frames
constexpr double kPeriod = 10;            // seconds
constexpr double kBegin = 2;
constexpr double kDuration = 3;
constexpr int kWeakGrain = 2;
constexpr int kStrongGrain = 8;
constexpr int kLightShade = 50;
constexpr int kChannels = 3;

struct Pixel {
  unsigned char y, cb, cr;
};

constexpr Pixel kBlock{225, 90, 190};
constexpr Pixel kInk{250, 128, 128};
constexpr Pixel kPaper{16, 128, 128};
constexpr Pixel kCoat{45, 150, 110};
constexpr Pixel kFace{190, 105, 155};

// Digits of 3 by 5 dots, row by row, the leftmost dot in the highest of three bits.
constexpr std::array<std::array<unsigned char, 5>, 10> kDigits{{
    {7, 5, 5, 5, 7},
    {2, 6, 2, 2, 7},
    {7, 1, 7, 4, 7},
    {7, 1, 7, 1, 7},
    {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7},
    {7, 4, 7, 5, 7},
    {7, 1, 1, 1, 1},
    {7, 5, 7, 5, 7},
    {7, 5, 7, 1, 7},
}};

class Picture {
 public:
  Picture(int width, int height)
      : width_(width),
        height_(height),
        bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * kChannels) {}

  void Set(int x, int y, Pixel pixel) {
    unsigned char* to = Row(y) + x * kChannels;
    to[0] = pixel.y;
    to[1] = pixel.cb;
    to[2] = pixel.cr;
  }

  void Fill(int left, int top, int width, int height, Pixel pixel) {
    for (int y = std::max(top, 0); y < std::min(top + height, height_); ++y) {
      for (int x = std::max(left, 0); x < std::min(left + width, width_); ++x) Set(x, y, pixel);
    }
  }

  [[nodiscard]] unsigned char* Row(int y) {
    return bytes_.data() +
           static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) * kChannels;
  }
  [[nodiscard]] int Width() const { return width_; }
  [[nodiscard]] int Height() const { return height_; }

 private:
  int width_;
  int height_;
  std::vector<unsigned char> bytes_;
};

// A grain that looks the same on every machine, so that frames compress as real pictures do.
Picture DrawBackground(int width, int height) {
  Picture picture(width, height);
  std::uint32_t state = 12345;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      state = state * 1664525 + 1013904223;
      const int shade = 60 + 80 * y / height + 40 * x / width + static_cast<int>(state >> 28);
      picture.Set(x, y, {static_cast<unsigned char>(shade), 130, 122});
    }
  }
  return picture;
}

void DrawNumber(Picture& picture, std::uint64_t number) {
  std::string text = std::to_string(number);
  text.insert(0, text.size() < 6 ? 6 - text.size() : 0, '0');
  const int dot = std::max(1, picture.Height() / 160);
  picture.Fill(dot, dot, (4 * static_cast<int>(text.size()) + 1) * dot, 7 * dot, kPaper);
  int left = 2 * dot;
  for (const char digit : text) {
    const auto& dots = kDigits[static_cast<std::size_t>(digit - '0')];
    for (int row = 0; row < 5; ++row) {
      for (int column = 0; column < 3; ++column) {
        if ((dots[static_cast<std::size_t>(row)] >> (2 - column) & 1) == 0) continue;
        picture.Fill(left + column * dot, (2 + row) * dot, dot, dot, kInk);
      }
    }
    left += 4 * dot;
  }
}

unsigned char Clamp(int shade) {
  return static_cast<unsigned char>(std::clamp(shade, 0, 255));
}

// Another grain for each picture, up to `strength` shades.
void AddGrain(Picture& picture, std::uint64_t number, int strength) {
  auto state = static_cast<std::uint32_t>(number * 2654435761U + 1);
  for (int y = 0; y < picture.Height(); ++y) {
    unsigned char* row = picture.Row(y);
    for (int x = 0; x < picture.Width(); ++x) {
      state = state * 1664525 + 1013904223;
      const int grain = static_cast<int>(state >> 24) * (2 * strength + 1) / 256 - strength;
      row[x * kChannels] = Clamp(row[x * kChannels] + grain);
    }
  }
}

void AddLight(Picture& picture) {
  for (int y = 0; y < picture.Height(); ++y) {
    unsigned char* row = picture.Row(y);
    for (int x = 0; x < picture.Width(); ++x)
      row[x * kChannels] = Clamp(row[x * kChannels] + kLightShade);
  }
}

// A head on a body, a third of the picture high. `share` of the way is done.
void DrawPerson(Picture& picture, double share) {
  const int tall = std::max(9, picture.Height() / 3);
  const int wide = tall / 3;
  const int left = static_cast<int>(share * (picture.Width() + wide)) - wide;
  const int top = picture.Height() / 2;
  picture.Fill(left, top + tall / 4, wide, tall - tall / 4, kCoat);
  picture.Fill(left + wide / 4, top, wide / 2, tall / 4, kFace);
}

// How much of what happens every 10 s has passed; nothing while it does not happen.
std::optional<double> ShareOfEvent(const SceneOptions& options, std::uint64_t number) {
  const double seconds = std::fmod(static_cast<double>(number) / options.fps, kPeriod) - kBegin;
  if (seconds < 0 || seconds >= kDuration) return std::nullopt;
  return seconds / kDuration;
}

void DrawBlock(Picture& picture, std::uint64_t number) {
  const int size = std::max(8, picture.Height() / 6);
  const auto travel = static_cast<std::uint64_t>(picture.Width() + size);
  const int left = static_cast<int>(number % kCrossing * travel / kCrossing) - size;
  picture.Fill(left, (picture.Height() - size) / 2, size, size, kBlock);
  DrawNumber(picture, number);
}

// Errors of the encoder end the program, as running out of memory does: nothing foreign reaches it.
Jpeg Encode(Picture& picture, int quality, const std::string& comment) {
  jpeg_compress_struct encoder;
  jpeg_error_mgr errors;
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&encoder, &bytes, &size);
  encoder.image_width = static_cast<JDIMENSION>(picture.Width());
  encoder.image_height = static_cast<JDIMENSION>(picture.Height());
  encoder.input_components = kChannels;
  encoder.in_color_space = JCS_YCbCr;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, quality, TRUE);
  jpeg_start_compress(&encoder, TRUE);
  jpeg_write_marker(&encoder,
                    JPEG_COM,
                    reinterpret_cast<const JOCTET*>(comment.data()),
                    static_cast<unsigned int>(comment.size()));
  for (int y = 0; y < picture.Height(); ++y) {
    JSAMPROW row = picture.Row(y);
    (void)jpeg_write_scanlines(&encoder, &row, 1);
  }
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  Jpeg jpeg(bytes, bytes + size);
  std::free(bytes);
  return jpeg;
}

// What a moved lens sees of it; the edges go on for ever.
Picture LookFrom(Picture& scene, const Lens::Position& position) {
  constexpr double kCloser = 0.75;
  const int width = scene.Width();
  const int height = scene.Height();
  const double scale = std::pow(kCloser, position.zoom);
  const double left = width * (0.5 - scale / 2 + position.pan / 8.0);
  const double top = height * (0.5 - scale / 2 + position.tilt / 8.0);
  Picture view(width, height);
  for (int y = 0; y < height; ++y) {
    const int from_y = std::clamp(static_cast<int>(top + y * scale), 0, height - 1);
    for (int x = 0; x < width; ++x) {
      const int from_x = std::clamp(static_cast<int>(left + x * scale), 0, width - 1);
      std::copy_n(scene.Row(from_y) + from_x * kChannels, kChannels, view.Row(y) + x * kChannels);
    }
  }
  return view;
}

class Scene : public FrameSource {
 public:
  Scene(const SceneOptions& options, std::shared_ptr<const Lens> lens)
      : options_(options),
        lens_(std::move(lens)),
        background_(DrawBackground(options.width, options.height)) {}

  [[nodiscard]] Jpeg Frame(std::uint64_t number) const override {
    Picture picture = background_;
    const std::optional<double> share = ShareOfEvent(options_, number);
    switch (options_.kind) {
      case SceneKind::kBlock:
        DrawBlock(picture, number);
        break;
      case SceneKind::kStill:
        break;
      case SceneKind::kNoise:
        AddGrain(picture, number, kStrongGrain);
        break;
      case SceneKind::kLight:
        if (share) AddLight(picture);
        AddGrain(picture, number, kWeakGrain);
        break;
      case SceneKind::kPerson:
        if (share) DrawPerson(picture, *share);
        AddGrain(picture, number, kWeakGrain);
        break;
    }
    const std::string truth =
        "frame " + std::to_string(number) + " motion " + (HasMotion(options_, number) ? "1" : "0");
    const Lens::Position position = lens_ == nullptr ? Lens::Position{} : lens_->Get();
    if (!(position == Lens::Position{})) picture = LookFrom(picture, position);
    return Encode(picture, options_.quality, truth);
  }

 private:
  SceneOptions options_;
  std::shared_ptr<const Lens> lens_;
  Picture background_;
};

}  // namespace

bool HasMotion(const SceneOptions& options, std::uint64_t number) {
  if (options.kind == SceneKind::kBlock) return true;
  return options.kind == SceneKind::kPerson && ShareOfEvent(options, number).has_value();
}

std::unique_ptr<FrameSource> MakeScene(const SceneOptions& options,
                                       std::shared_ptr<const Lens> lens) {
  return std::make_unique<Scene>(options, std::move(lens));
}

}  // namespace camsim
